#include "VLDesktopOpener.h"

#include "TSLogger.h"

#include <QFileInfo>
#include <QMimeDatabase>
#include <QPointer>
#include <QProcess>
#include <QTimer>

#include <memory>

namespace {

// A viewer that stays in the foreground keeps xdg-open running; still running after this long,
// it has started.
constexpr int kStillRunningMeansOpenedMs = 4000;

// Runs the program and calls back once with its exit code and output (-1: it could not run, or
// -2: still running after the limit, left to run).
void runTool(const QString &program, const QStringList &arguments, int limitMs,
             std::function<void(int exitCode, const QByteArray &output)> done)
{
    auto *process = new QProcess;
    auto answered = std::make_shared<bool>(false);
    auto answer = [process, answered, done](int code) {
        if (std::exchange(*answered, true))
            return;
        done(code, code >= 0 ? process->readAllStandardOutput() : QByteArray());
    };
    QObject::connect(process, &QProcess::finished, process, [process, answer](int exitCode, QProcess::ExitStatus status) {
        answer(status == QProcess::NormalExit ? exitCode : -1);
        process->deleteLater();
    });
    QObject::connect(process, &QProcess::errorOccurred, process, [process, answer](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            answer(-1);
            process->deleteLater();
        }
    });
    QTimer::singleShot(limitMs, process, [answer] { answer(-2); });
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->start(program, arguments);
}

} // namespace

void vlOpenWithDesktop(const QString &path, QObject *context, VLOpenedHandler done)
{
    const QPointer<QObject> guard(context);
    auto finish = [guard, done, path](bool opened) {
        VL_LOG("%@ %@", opened ? QStringLiteral("opened") : QStringLiteral("no application opened"), path);
        if (guard && done)
            done(opened);
    };
    const QString type = QMimeDatabase().mimeTypeForFile(path).name();
    runTool(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"), type}, 10000,
            [path, finish](int code, const QByteArray &application) {
                if (code != 0 || application.trimmed().isEmpty()) {
                    finish(false);
                    return;
                }
                // xdg-open refuses "--" and every argument that begins with "-"; an absolute path
                // never does.
                runTool(QStringLiteral("xdg-open"), {QFileInfo(path).absoluteFilePath()}, kStillRunningMeansOpenedMs,
                        [finish](int openCode, const QByteArray &) { finish(openCode == 0 || openCode == -2); });
            });
}
