#include "KDSocketDirectory.h"

#include "KDDevice.h"
#include "KDError.h"
#include "KDSocketLink.h"
#include "TSLogger.h"

#include <QDir>
#include <QFile>
#include <QTimer>

namespace {
constexpr int kRetryStep = 100;
}

KDSocketDirectory::KDSocketDirectory(const QString &path, QObject *parent)
    : QObject(parent)
    , m_path(path)
{
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &KDSocketDirectory::rescan);
    rescan();
}

void KDSocketDirectory::rescan()
{
    if (m_watcher.directories().isEmpty() && QFileInfo::exists(m_path))
        m_watcher.addPath(m_path);

    QHash<QString, KDFileIdentity> present;
    const QStringList names = QDir(m_path).entryList(QDir::System | QDir::Files | QDir::Hidden);
    for (const QString &name : names) {
        if (!kdIsDeviceSocketFileName(name))
            continue;
        const QString socketPath = QDir(m_path).filePath(name);
        const KDFileIdentity identity = kdFileIdentity(socketPath);
        if (identity.exists())
            present.insert(socketPath, identity);
    }

    // Sockets that went away, or were replaced by new ones: their links are over.
    const QList<QString> live = m_live.keys();
    for (const QString &socketPath : live) {
        const Live entry = m_live.value(socketPath);
        if (present.value(socketPath) == entry.identity)
            continue;
        m_live.remove(socketPath);
        if (entry.link)
            entry.link->close(kdError(KDErrorDeviceDisconnected, QStringLiteral("(the device's socket is gone)")));
    }
    const QList<QString> handshaking = m_handshakes.keys();
    for (const QString &socketPath : handshaking) {
        if (present.value(socketPath) == m_handshakes.value(socketPath).identity)
            continue;
        const Handshake entry = m_handshakes.take(socketPath);
        if (entry.link)
            entry.link->deleteLater();
    }
    for (auto it = m_givenUp.begin(); it != m_givenUp.end();) {
        if (present.value(it.key()) == it.value())
            ++it;
        else
            it = m_givenUp.erase(it);
    }

    for (auto it = present.constBegin(); it != present.constEnd(); ++it) {
        const QString &socketPath = it.key();
        if (m_live.contains(socketPath) || m_handshakes.contains(socketPath) || m_givenUp.contains(socketPath)
            || m_retries.contains(socketPath))
            continue;
        connectTo(socketPath, it.value(), 1);
    }
    reportIfSettled();
}

void KDSocketDirectory::connectTo(const QString &socketPath, const KDFileIdentity &identity, int attempt)
{
    auto *link = new KDSocketLink(socketPath, this);
    m_handshakes.insert(socketPath, Handshake{link, identity, attempt});
    connect(link, &KDDeviceLink::frameReceived, this,
            [this, socketPath](const KDFrame &frame) { handshakeFrame(socketPath, frame); });
    connect(link, &KDDeviceLink::lost, this,
            [this, socketPath](const VLError &reason) { handshakeLost(socketPath, reason); });
    QTimer::singleShot(kHandshakeTimeLimit, link, [this, socketPath, link] {
        if (m_handshakes.value(socketPath).link != link)
            return;
        VL_LOG("%@: no introduction in time", socketPath);
        link->close(kdError(KDErrorCommandTimedOut, QStringLiteral("(no introduction)")));
    });
}

void KDSocketDirectory::handshakeFrame(const QString &socketPath, const KDFrame &frame)
{
    const Handshake entry = m_handshakes.take(socketPath);
    KDSocketLink *link = entry.link;
    if (!link)
        return;
    link->disconnect(this);
    if (!KDDevice::isValidHello(frame.header)) {
        VL_LOG("%@: the device did not introduce itself properly", socketPath);
        link->deleteLater();
        giveUp(socketPath, entry.identity);
        reportIfSettled();
        return;
    }
    m_live.insert(socketPath, Live{link, entry.identity});
    connect(link, &KDDeviceLink::lost, this,
            [this, socketPath, link](const VLError &reason) { liveLost(socketPath, link, reason); });
    emit deviceIntroduced(link, frame.header);
    reportIfSettled();
}

void KDSocketDirectory::handshakeLost(const QString &socketPath, const VLError &reason)
{
    const Handshake entry = m_handshakes.take(socketPath);
    if (!entry.link)
        return;
    const QLocalSocket::LocalSocketError socketError = entry.link->socketError();
    entry.link->deleteLater();
    if (kdIsProtocolError(reason))
        VL_LOG("%@: device refused: %@", socketPath, reason);
    // A socket file can exist a moment before anyone listens on it, or outlive its device.
    const bool refused = socketError == QLocalSocket::ConnectionRefusedError
                      || socketError == QLocalSocket::ServerNotFoundError;
    if (refused && entry.attempt < kConnectAttempts && !kdIsProtocolError(reason))
        scheduleRetry(socketPath, entry.identity, entry.attempt + 1);
    else
        giveUp(socketPath, entry.identity);
    reportIfSettled();
}

void KDSocketDirectory::liveLost(const QString &socketPath, KDSocketLink *link, const VLError &reason)
{
    if (m_live.value(socketPath).link != link)
        return;
    const KDFileIdentity identity = m_live.take(socketPath).identity;
    // The device closed the connection but its socket is still there: it may take a new one
    // (a device that dropped one client); otherwise the socket is stale and the retries run out.
    if (!kdIsProtocolError(reason) && kdFileIdentity(socketPath) == identity)
        scheduleRetry(socketPath, identity, 1);
    else if (kdIsProtocolError(reason))
        giveUp(socketPath, identity);
}

void KDSocketDirectory::scheduleRetry(const QString &socketPath, const KDFileIdentity &identity, int attempt)
{
    m_retries.insert(socketPath, identity);
    QTimer::singleShot(kRetryStep * attempt, this, [this, socketPath, identity, attempt] {
        m_retries.remove(socketPath);
        if (kdFileIdentity(socketPath) == identity && !m_live.contains(socketPath)
            && !m_handshakes.contains(socketPath))
            connectTo(socketPath, identity, attempt);
        else
            rescan();
        reportIfSettled();
    });
}

void KDSocketDirectory::giveUp(const QString &socketPath, const KDFileIdentity &identity)
{
    m_givenUp.insert(socketPath, identity);
}

void KDSocketDirectory::reportIfSettled()
{
    if (isSettled())
        emit settled();
}
