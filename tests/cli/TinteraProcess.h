#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// One run of the built tintera program, with the environment of the test process (the demo
// environment's variables included).
struct TinteraRun
{
    int exitCode = -1;
    bool crashed = false;
    QString out;
    QString err;
};

// `whileRunning` is called each time the program writes to its standard output, with the output
// so far and the process id; it returns false once it has done its work.
TinteraRun runTintera(const QStringList &arguments, int timeoutMilliseconds = 120000,
                      const std::function<bool(const QString &out, qint64 pid)> &whileRunning = {});
