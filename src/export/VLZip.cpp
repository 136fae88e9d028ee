#include "VLZip.h"

#include "TSLogger.h"

#include <QFileInfo>
#include <QMutex>
#include <QProcess>

namespace {

QMutex g_toolMutex;
QString g_toolFolder;

QString toolFolder()
{
    QMutexLocker lock(&g_toolMutex);
    if (!g_toolFolder.isEmpty())
        return g_toolFolder;
    const QString configured = qEnvironmentVariable("TINTERA_ZIP_TOOLS");
    return configured.isEmpty() ? QStringLiteral("/usr/bin") : configured;
}

} // namespace

QString VLZip::sourceFilename() const { return m_sourceFilename; }
void VLZip::setSourceFilename(const QString &path) { m_sourceFilename = path; }
QString VLZip::password() const { return m_password; }
void VLZip::setPassword(const QString &password) { m_password = password; }

QString VLZip::zipTool() { return toolFolder() + QStringLiteral("/zip"); }
QString VLZip::unzipTool() { return toolFolder() + QStringLiteral("/unzip"); }
QString VLZip::zipinfoTool() { return toolFolder() + QStringLiteral("/zipinfo"); }

void VLZip::setToolFolder(const QString &folder)
{
    QMutexLocker lock(&g_toolMutex);
    g_toolFolder = folder;
}

bool VLZip::run(const QString &tool, const QStringList &arguments, QByteArray *standardOutput)
{
    QProcess process;
    if (!standardOutput)
        process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(tool, arguments, QIODevice::ReadOnly);
    // A missing tool is reported rather than thrown: the caller sees a failed operation.
    if (!process.waitForStarted(-1)) {
        VL_LOG("cannot start %@: %@", tool, process.errorString());
        return false;
    }
    process.waitForFinished(-1);
    if (standardOutput)
        *standardOutput = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// File names come from users and may begin with "-": each tool gets them after "--", and the
// archive, which zip and unzip do not take after "--", as an absolute path.
bool VLZip::zipToFilename(const QString &archivePath) const
{
    QStringList arguments{QStringLiteral("-r")};
    if (!m_password.isNull())
        arguments << QStringLiteral("-P") << m_password;
    arguments << QFileInfo(archivePath).absoluteFilePath() << QStringLiteral("--") << m_sourceFilename;
    return run(zipTool(), arguments);
}

bool VLZip::unzipToDirectory(const QString &folder) const
{
    QStringList arguments{QStringLiteral("-o")};
    if (!m_password.isNull())
        arguments << QStringLiteral("-P") << m_password;
    if (!folder.isNull())
        arguments << QStringLiteral("-d") << QFileInfo(folder).absoluteFilePath();
    arguments << QStringLiteral("--") << QFileInfo(m_sourceFilename).absoluteFilePath();
    return run(unzipTool(), arguments);
}

QStringList VLZip::contents() const
{
    QByteArray output;
    run(zipinfoTool(),
        {QStringLiteral("-1"), QStringLiteral("--"), QFileInfo(m_sourceFilename).absoluteFilePath(), QStringLiteral("-x"),
         QStringLiteral("__MACOSX*")},
        &output);
    QStringList entries = QString::fromUtf8(output).split(QLatin1Char('\n'));
    if (!entries.isEmpty() && entries.last().isEmpty())
        entries.removeAll(QString());
    return entries;
}
