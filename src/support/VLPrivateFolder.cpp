#include "VLPrivateFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <cstring>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Missing folders are made top-down with mode 0700 (narrowed further by the umask, never widened).
QString createMissing(const QString &path)
{
    QStringList missing;
    QString folder = path;
    while (!QFileInfo::exists(folder)) {
        missing.prepend(folder);
        const QString parent = QFileInfo(folder).path();
        if (parent == folder)
            break;
        folder = parent;
    }
    for (const QString &step : std::as_const(missing)) {
        if (::mkdir(QFile::encodeName(step).constData(), 0700) != 0 && errno != EEXIST)
            return QStringLiteral("The folder %1 cannot be created: %2.").arg(step, systemError(errno));
    }
    return {};
}

} // namespace

QString vlPreparePrivateFolder(const QString &path, VLWiderPermissions wider)
{
    const QString folder = QDir::cleanPath(QDir(path).absolutePath());
    if (const QString failure = createMissing(folder); !failure.isEmpty())
        return failure;
    const QByteArray encoded = QFile::encodeName(folder);
    struct stat info = {};
    if (::lstat(encoded.constData(), &info) != 0)
        return QStringLiteral("The folder %1 cannot be used: %2.").arg(folder, systemError(errno));
    if (S_ISLNK(info.st_mode))
        return QStringLiteral("The folder %1 is not used: it is a symbolic link, which another user may have put there.").arg(folder);
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("The folder %1 is not used: it is not a folder.").arg(folder);
    if (info.st_uid != ::geteuid())
        return QStringLiteral("The folder %1 is not used: it belongs to another user (uid %2), not to this one (uid %3).")
            .arg(folder)
            .arg(info.st_uid)
            .arg(::geteuid());
    const mode_t mode = info.st_mode & 07777;
    if ((mode & 077) == 0)
        return {};
    const QString octal = QString::number(mode, 8).rightJustified(4, QLatin1Char('0'));
    // A folder with the sticky bit is shared by design (/tmp): never ours to close, whoever owns it.
    if (wider == VLWiderPermissions::Refuse || (mode & S_ISVTX))
        return QStringLiteral("The folder %1 is not used: other users may enter it (mode %2, it must be 0700).").arg(folder, octal);
    if (::chmod(encoded.constData(), 0700) != 0)
        return QStringLiteral("The folder %1 is open to other users (mode %2) and cannot be made private: %3.")
            .arg(folder, octal, systemError(errno));
    return {};
}

QString vlRuntimeFolder(QString *problem)
{
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty()) {
        // Decided here rather than through QStandardPaths, which warns on standard error on every
        // call without XDG_RUNTIME_DIR (a cron job, a service, a login over ssh): ordinary commands
        // keep standard error quiet. The name is predictable, so another user may have made it
        // first: the ownership check is what keeps it the user's.
        const uid_t uid = ::geteuid();
        const struct passwd *account = ::getpwuid(uid);
        const QString user = account && account->pw_name && *account->pw_name ? QFile::decodeName(account->pw_name)
                                                                                : QString::number(uid);
        folder = QDir::tempPath() + QStringLiteral("/runtime-") + user;
    }
    folder = QDir::cleanPath(folder);
    const QString failure = vlPreparePrivateFolder(folder, VLWiderPermissions::Tighten);
    if (failure.isEmpty())
        return folder;
    if (problem)
        *problem = failure;
    return {};
}

bool vlCopyOutOfPrivateFolder(const QString &from, const QString &to)
{
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    constexpr qint64 kChunk = 64 * 1024;
    bool ok = true;
    while (ok && !source.atEnd()) {
        const QByteArray chunk = source.read(kChunk);
        ok = !chunk.isEmpty() && target.write(chunk) == chunk.size();
    }
    ok = ok && target.flush();
    target.close();
    if (!ok)
        target.remove();
    return ok;
}
