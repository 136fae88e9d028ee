#include "KDDeviceDirectory.h"

#include "KDError.h"
#include "VLPrivateFolder.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

QString kdDeviceDirectory(VLError *error)
{
    const QString configured = qEnvironmentVariable("KALVEX_DEVICE_DIR");
    if (!configured.isEmpty())
        return QDir::cleanPath(configured);
    QString problem;
    const QString runtime = vlRuntimeFolder(&problem);
    if (runtime.isEmpty()) {
        if (error)
            *error = kdError(KDErrorDeviceFolderRefused, problem);
        return {};
    }
    return QDir::cleanPath(runtime + QStringLiteral("/kalvex/devices"));
}

bool kdPrepareDeviceDirectory(const QString &path, VLError *error)
{
    // Not repaired but refused: someone else may have put sockets in it already. Its parents are
    // safe when it is in the runtime folder, which kdDeviceDirectory() checked.
    const QString problem = vlPreparePrivateFolder(path, VLWiderPermissions::Refuse);
    if (problem.isEmpty())
        return true;
    if (error)
        *error = kdError(KDErrorDeviceFolderRefused, problem);
    return false;
}

QString kdDeviceSocketFileName(const QString &serialNumber)
{
    return serialNumber + QStringLiteral(".sock");
}

bool kdIsDeviceSocketFileName(const QString &fileName)
{
    return fileName.size() > 5 && !fileName.startsWith(QLatin1Char('.')) && fileName.endsWith(QStringLiteral(".sock"));
}

KDFileIdentity kdFileIdentity(const QString &path)
{
    struct stat info = {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    KDFileIdentity identity;
    identity.device = quint64(info.st_dev);
    identity.inode = quint64(info.st_ino);
#if defined(Q_OS_DARWIN)
    identity.changeTimeNs = qint64(info.st_ctimespec.tv_sec) * 1000000000 + info.st_ctimespec.tv_nsec;
#else
    identity.changeTimeNs = qint64(info.st_ctim.tv_sec) * 1000000000 + info.st_ctim.tv_nsec;
#endif
    return identity;
}
