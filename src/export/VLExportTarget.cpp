#include "VLExportTarget.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

const QString VLExportTargetErrorDomain = QStringLiteral("VLExportTargetDomain");

namespace {

VLError folderError(const QString &folder, int error)
{
    return VLError(VLExportTargetErrorDomain, VLExportTargetFolderUnusable,
        QCoreApplication::translate("VLExportTarget", "The export cannot write in the folder %1: %2.")
            .arg(QDir::toNativeSeparators(folder), QString::fromLocal8Bit(std::strerror(error))));
}

// mkdir's own reason for the first folder of the path that cannot be made.
VLError makeFolder(const QString &folder)
{
    if (QFileInfo(folder).isDir())
        return {};
    if (QFileInfo::exists(folder) || QFileInfo(folder).isSymLink())
        return folderError(folder, EEXIST);
    if (const VLError parent = makeFolder(QFileInfo(folder).path()); !parent.isNull())
        return parent;
    if (::mkdir(QFile::encodeName(folder).constData(), 0777) != 0 && errno != EEXIST)
        return folderError(folder, errno);
    return {};
}

} // namespace

VLError vlPrepareExportTarget(const QString &documentPath, bool withAudioFolder, bool replaceExisting)
{
    const QFileInfo document(documentPath);
    if (!replaceExisting && (document.exists() || document.isSymLink()))
        return VLError(VLExportTargetErrorDomain, VLExportTargetExists,
            QCoreApplication::translate("VLExportTarget", "%1 already exists.")
                .arg(QDir::toNativeSeparators(document.absoluteFilePath())),
            { { QStringLiteral("path"), document.absoluteFilePath() } });
    if (document.isDir())
        return folderError(document.absoluteFilePath(), EISDIR);
    const QString folder = document.absolutePath();
    if (const VLError made = makeFolder(withAudioFolder ? folder + QStringLiteral("/Audio") : folder); !made.isNull())
        return made;
    if (::access(QFile::encodeName(folder).constData(), W_OK) != 0)
        return folderError(folder, errno);
    return {};
}
