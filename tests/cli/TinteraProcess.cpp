#include "TinteraProcess.h"

#include "TestSupport.h"

#include <QDeadlineTimer>
#include <QProcess>

TinteraRun runTintera(const QStringList &arguments, int timeoutMilliseconds,
                      const std::function<bool(const QString &out, qint64 pid)> &whileRunning)
{
    TinteraRun run;
    QProcess process;
    process.start(tinteraBuiltProgram(QStringLiteral("src/cli/tintera")), arguments);
    if (!process.waitForStarted(10000))
        return run;
    QByteArray out;
    bool watching = bool(whileRunning);
    const QDeadlineTimer deadline(timeoutMilliseconds);
    while (process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        process.waitForReadyRead(int(std::min<qint64>(deadline.remainingTime(), 200)));
        out += process.readAllStandardOutput();
        if (watching)
            watching = whileRunning(QString::fromUtf8(out), process.processId());
    }
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    out += process.readAllStandardOutput();
    run.out = QString::fromUtf8(out);
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.crashed = process.exitStatus() == QProcess::CrashExit;
    run.exitCode = run.crashed ? -1 : process.exitCode();
    return run;
}
