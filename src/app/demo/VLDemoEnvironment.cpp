#include "VLDemoEnvironment.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

constexpr int kToolTimeoutMs = 60'000;
constexpr int kServerStartTimeoutMs = 20'000;

} // namespace

VLDemoEnvironment::VLDemoEnvironment(QObject *parent)
    : QObject(parent)
{
}

VLDemoEnvironment::~VLDemoEnvironment()
{
    stop();
}

QString VLDemoEnvironment::dataFolder() const
{
    return rootFolder() + QStringLiteral("/data");
}

QString VLDemoEnvironment::deviceFolder() const
{
    return rootFolder() + QStringLiteral("/devices");
}

QString VLDemoEnvironment::toolPath(const QString &name)
{
    const QString programFolder = QCoreApplication::applicationDirPath();
    const QString folderName = name.mid(name.indexOf(QLatin1Char('-')) + 1); // tintera-devsim -> devsim
    const QStringList candidates = {
        programFolder + QLatin1Char('/') + name,
        QDir::cleanPath(programFolder + QStringLiteral("/../../tools/") + folderName + QLatin1Char('/') + name),
    };
    for (const QString &candidate : candidates) {
        if (QFileInfo(candidate).isExecutable())
            return candidate;
    }
    return QStandardPaths::findExecutable(name);
}

bool VLDemoEnvironment::run(const QString &tool, const QStringList &arguments, QString *errorText)
{
    const QString path = toolPath(tool);
    if (path.isEmpty()) {
        *errorText = tr("%1 was not found").arg(tool);
        return false;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(path, arguments);
    if (!process.waitForFinished(kToolTimeoutMs) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        *errorText = tr("%1 failed: %2").arg(tool, QString::fromLocal8Bit(process.readAll()).trimmed());
        return false;
    }
    return true;
}

bool VLDemoEnvironment::startServer(QProcess &process, const QString &tool, const QStringList &arguments,
                                    const std::function<bool(const QString &line)> &isReady, QString *errorText)
{
    const QString path = toolPath(tool);
    if (path.isEmpty()) {
        *errorText = tr("%1 was not found").arg(tool);
        return false;
    }
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setReadChannel(QProcess::StandardOutput);
    process.start(path, arguments);
    const QDeadlineTimer deadline(kServerStartTimeoutMs);
    while (!deadline.hasExpired()) {
        while (process.canReadLine()) {
            if (isReady(QString::fromUtf8(process.readLine()).trimmed()))
                return true;
        }
        if (process.state() == QProcess::NotRunning || !process.waitForReadyRead(int(deadline.remainingTime())))
            break;
    }
    *errorText = tr("%1 did not start: %2").arg(tool, QString::fromLocal8Bit(process.readAllStandardError()).trimmed());
    process.kill();
    process.waitForFinished(1000);
    return false;
}

bool VLDemoEnvironment::start(QString *errorText)
{
    QString ignored;
    if (!errorText)
        errorText = &ignored;
    m_root = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/tintera-demo-XXXXXX"));
    if (!m_root->isValid()) {
        *errorText = tr("Cannot create a temporary folder: %1").arg(m_root->errorString());
        return false;
    }
    const QString catalog = rootFolder() + QStringLiteral("/catalog");
    const QString state = rootFolder() + QStringLiteral("/devsim");
    QDir().mkpath(dataFolder());
    QDir().mkpath(deviceFolder());

    if (!run(QStringLiteral("tintera-catalog"), {QStringLiteral("write"), catalog}, errorText))
        return false;
    if (!run(QStringLiteral("tintera-devsim"),
             {QStringLiteral("add-device"), QStringLiteral("--state"), state, QStringLiteral("--serial"), deviceSerialNumber()},
             errorText))
        return false;
    if (!startServer(
            m_service, QStringLiteral("tintera-cloudsim"), {catalog, QStringLiteral("--exit-with-parent")},
            [this](const QString &line) {
                if (!line.startsWith(QLatin1String("http")))
                    return false;
                m_serviceURL = line;
                return true;
            },
            errorText))
        return false;
    if (!startServer(
            m_devices, QStringLiteral("tintera-devsim"),
            {QStringLiteral("serve"), QStringLiteral("--state"), state, QStringLiteral("--device-dir"), deviceFolder()},
            [](const QString &line) { return line.endsWith(QLatin1String("ready")); }, errorText)) {
        stop();
        return false;
    }

    qputenv("TINTERA_DATA_DIR", dataFolder().toUtf8());
    qputenv("KALVEX_DEVICE_DIR", deviceFolder().toUtf8());
    qputenv("TINTERA_SERVICE_URL", m_serviceURL.toUtf8());
    return true;
}

void VLDemoEnvironment::stop()
{
    for (QProcess *process : {&m_devices, &m_service}) {
        if (process->state() == QProcess::NotRunning)
            continue;
        process->terminate();
        if (!process->waitForFinished(3000)) {
            process->kill();
            process->waitForFinished(1000);
        }
    }
}
