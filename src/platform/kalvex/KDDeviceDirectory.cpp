#include "KDDeviceDirectory.h"

#include <QDir>
#include <QFile>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// $XDG_RUNTIME_DIR, else the folder Qt falls back to ("runtime-<user>" in the temporary folder),
// so that programs of either kind meet in the same place. Decided here rather than through
// QStandardPaths, which warns on standard error on every call without XDG_RUNTIME_DIR (a cron job,
// a service, a login over ssh without a session): ordinary commands must keep standard error quiet.
QString runtimeDirectory()
{
    const QString configured = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!configured.isEmpty())
        return configured;
    const uid_t uid = ::geteuid();
    const struct passwd *account = ::getpwuid(uid);
    const QString user = account && account->pw_name && *account->pw_name ? QFile::decodeName(account->pw_name)
                                                                            : QString::number(uid);
    const QString fallback = QDir::tempPath() + QStringLiteral("/runtime-") + user;
    // Private, as a runtime folder is: the device sockets are the user's alone. An existing folder
    // is left as it is.
    ::mkdir(QFile::encodeName(fallback).constData(), 0700);
    return fallback;
}

} // namespace

QString kdDeviceDirectory()
{
    const QString configured = qEnvironmentVariable("KALVEX_DEVICE_DIR");
    if (!configured.isEmpty())
        return QDir::cleanPath(configured);
    return QDir::cleanPath(runtimeDirectory() + QStringLiteral("/kalvex/devices"));
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
