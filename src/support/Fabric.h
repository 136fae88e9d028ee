#pragma once

#include "VLFormat.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// Stand-in for the crash-reporting and usage-analytics kits. Nothing goes over the network:
// Crashlytics keeps the newest log lines in a fixed in-memory ring and writes them to
// <data folder>/CrashReports/crash-<pid>.log when the process dies of a fatal signal; Answers
// appends events as JSON lines to <data folder>/Analytics/events.jsonl.

class FabricKit
{
public:
    virtual ~FabricKit() = default;
    virtual void start() = 0;
};

class Fabric
{
public:
    // Starts each kit once, in the order given; later calls with the same kit do nothing.
    static void with(const QList<FabricKit *> &kits);
};

class Crashlytics final : public FabricKit
{
public:
    static Crashlytics *sharedInstance();
    void start() override; // installs the fatal-signal handlers

    void appendLogLine(const QString &line);
    QStringList recentLogLines() const; // oldest first; for diagnostics and tests
    QString crashReportPath() const;

    static constexpr int kRingLines = 256;
    static constexpr int kLineBytes = 512;

private:
    Crashlytics() = default;
};

class Answers final : public FabricKit
{
public:
    static Answers *sharedInstance();
    void start() override;
    bool isStarted() const;
    QString eventsFilePath() const;

    static void logCustomEventWithName(const QString &name, const QVariantMap &customAttributes);
    static void logSearchWithQuery(const QString &query, const QVariantMap &customAttributes);

private:
    Answers() = default;
    void append(const QString &type, const QString &nameKey, const QString &name, const QVariantMap &attributes);
};

// Appends one line to the crash reporter's log. The format is applied once; callers that already
// formatted their message pass it with "%@" so per-cent signs in it stay as they are.
template <typename... A>
void CLSLog(const char *format, const A &...arguments)
{
    Crashlytics::sharedInstance()->appendLogLine(vlFormat(QString::fromUtf8(format), arguments...));
}
