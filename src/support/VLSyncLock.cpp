#include "VLSyncLock.h"

#include "TSLogger.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// The holder writes its name after it has the lock: a reader that comes between sees nothing yet.
QString holderOf(int fd)
{
    char text[512] = {};
    const ssize_t length = ::pread(fd, text, sizeof text - 1, 0);
    const QStringList lines = QString::fromUtf8(text, length > 0 ? length : 0).split(QLatin1Char('\n'));
    if (lines.size() < 2 || lines.at(0).isEmpty() || lines.at(1).toLongLong() <= 0)
        return QCoreApplication::translate("VLSyncLock", "another program");
    return QCoreApplication::translate("VLSyncLock", "%1, pid %2").arg(lines.at(0), lines.at(1));
}

} // namespace

VLSyncLock::~VLSyncLock()
{
    release();
}

QString VLSyncLock::folder()
{
    QString problem;
    const QString runtime = vlRuntimeFolder(&problem);
    if (runtime.isEmpty())
        return {};
    const QString locks = runtime + QStringLiteral("/TINTERA");
    return vlPreparePrivateFolder(locks, VLWiderPermissions::Tighten).isEmpty() ? locks : QString();
}

VLError VLSyncLock::acquire(const QString &serialNumber, const QString &scope)
{
    const QString fileName = serialNumber + QLatin1Char('-')
                             + QString::fromLatin1(QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256)
                                                       .toHex()
                                                       .left(12))
                             + QStringLiteral(".lock");
    if (isHeld() && fileName == m_fileName)
        return {};
    release();
    const QString locks = folder();
    if (locks.isEmpty() || !vlIsPlainPathComponent(serialNumber)) {
        VL_LOG("no sync lock for %@: the runtime folder cannot be used", serialNumber);
        return {};
    }
    const QByteArray path = QFile::encodeName(locks + QLatin1Char('/') + fileName);
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        VL_LOG("no sync lock for %@: %@", serialNumber, QString::fromLocal8Bit(std::strerror(errno)));
        return {};
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const QString holder = holderOf(fd);
        ::close(fd);
        return VLError(QStringLiteral("SyncManager"), 16,
            QCoreApplication::translate("VLSyncLock", "a sync of %1 is already running (%2)")
                .arg(serialNumber, holder));
    }
    const QByteArray holder = QCoreApplication::applicationName().toUtf8() + '\n'
        + QByteArray::number(QCoreApplication::applicationPid()) + '\n';
    if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, holder.constData(), size_t(holder.size()), 0) != holder.size())
        VL_LOG("the sync lock of %@ does not name its holder", serialNumber);
    m_fd = fd;
    m_serialNumber = serialNumber;
    m_fileName = fileName;
    return {};
}

void VLSyncLock::release()
{
    if (m_fd < 0)
        return;
    // Emptied, not removed: a file removed under a process that has just opened it would let two
    // processes hold two different files of the same name.
    if (::ftruncate(m_fd, 0) != 0)
        VL_LOG("the sync lock of %@ still names this process", m_serialNumber);
    ::close(m_fd);
    m_fd = -1;
}
