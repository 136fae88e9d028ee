#include "KDDeviceDirectory.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <sys/stat.h>

QString kdDeviceDirectory()
{
    const QString configured = qEnvironmentVariable("KALVEX_DEVICE_DIR");
    if (!configured.isEmpty())
        return QDir::cleanPath(configured);
    return QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)
                           + QStringLiteral("/kalvex/devices"));
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
