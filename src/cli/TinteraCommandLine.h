#pragma once

#include <QCommandLineParser>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <cstdio>

// Exit statuses of the command line.
enum TinteraExitStatus : int {
    TinteraExitSuccess = 0,
    TinteraExitFailure = 1,   // the work failed, or a sync collected errors
    TinteraExitUsage = 2,     // the command line itself is wrong
    TinteraExitCancelled = 3, // the run was cancelled (device gone, interrupted, no progress)
};

// One parsed invocation: the command, its parser (with the options every command shares) and
// the streams it writes to.
struct TinteraInvocation
{
    QString command;
    QCommandLineParser parser;
    bool runsSyncs = false; // the command takes --stall-timeout
    bool json = false;      // --json: JSON objects on out, one a line, instead of text
    FILE *out = stdout;
    FILE *err = stderr;

    QString deviceSerialNumber() const;
    int deviceWaitMilliseconds() const;
    bool deviceWaitGiven() const; // --wait on the command line
    int stallTimeoutMilliseconds() const;
    QStringList positional() const { return parser.positionalArguments(); }

    void print(const QString &text) const;   // to out, as given
    void println(const QString &line) const; // to out, with a line end
    void fail(const QString &line) const;    // to err, prefixed with the program name
    void printJson(const QJsonObject &object) const; // to out, compact, on one line
    // {"error": <the last failure>, "exitCode": status}; for sync a summary of a failed run.
    void printJsonFailure(int status) const;

    // What the run wrote, so that a --json run that fails before any object still prints one.
    mutable QString lastFailure;
    mutable bool jsonPrinted = false;
};

// Parses the arguments (program name first), runs the command and returns the exit status.
int tinteraMain(const QStringList &arguments);
