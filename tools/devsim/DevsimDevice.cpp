#include "DevsimDevice.h"

#include "DevsimConnection.h"
#include "DevsimErrors.h"
#include "KDWireProtocol.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QTimer>

#include <cstdio>

namespace {
// sockaddr_un holds 108 bytes including the terminating zero.
constexpr qsizetype kMaxSocketPath = 107;
} // namespace

DevsimDevice::DevsimDevice(const QString &stateFolder, const QString &serialNumber, const QString &deviceDirectory,
                           const DevsimLink &defaultLink, QObject *parent)
    : QObject(parent)
    , m_model(DevsimStore(stateFolder, serialNumber))
    , m_deviceDirectory(QDir(deviceDirectory).absolutePath()) // a local server takes a relative name as a bare name
    , m_defaultLink(defaultLink)
    , m_link(defaultLink)
{
    connect(&m_server, &QLocalServer::newConnection, this, &DevsimDevice::acceptConnections);
}

DevsimDevice::~DevsimDevice()
{
    stop();
}

QString DevsimDevice::socketPath() const
{
    return QDir(m_deviceDirectory).filePath(kdDeviceSocketFileName(serialNumber()));
}

QVariantMap DevsimDevice::hello() const
{
    return {{KDWire::KindKey, KDWire::KindHello},
            {KDWire::ProtocolVersionKey, KDWire::kProtocolVersion},
            {KDWire::NameKey, m_model.name()},
            {KDWire::SerialNumberKey, m_model.serialNumber()},
            {KDWire::AttributesKey, m_model.attributes()}};
}

bool DevsimDevice::start(VLError *error)
{
    if (!m_model.load(error))
        return false;
    // Payloads that were still arriving when an earlier run ended are of no use.
    QDir incoming(m_model.store().incomingFolder());
    const QStringList leftovers = incoming.entryList(QDir::Files | QDir::Hidden);
    for (const QString &name : leftovers)
        incoming.remove(name);
    m_started = true;
    refreshLink();
    if (QFile::exists(m_model.store().unpluggedMarkerPath()))
        return true;
    return publish(error);
}

void DevsimDevice::stop()
{
    m_started = false;
    unpublish();
}

bool DevsimDevice::publish(VLError *error)
{
    if (m_server.isListening())
        return true;
    const QString target = socketPath();
    if (target.toUtf8().size() > kMaxSocketPath) {
        *error = devsimError(DevsimErrorBadArgument, QStringLiteral("The socket path %1 is too long.").arg(target));
        return false;
    }
    if (!kdPrepareDeviceDirectory(m_deviceDirectory, error))
        return false;
    if (QFile::exists(target)) {
        QLocalSocket probe;
        probe.connectToServer(target);
        if (probe.waitForConnected(200)) {
            *error = devsimError(DevsimErrorBadArgument, QStringLiteral("%1 is served by another emulator.").arg(target));
            return false;
        }
    }
    const QString hidden = QDir(m_deviceDirectory)
                               .filePath(QStringLiteral(".%1.%2.tmp").arg(serialNumber()).arg(QCoreApplication::applicationPid()));
    QLocalServer::removeServer(hidden);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(hidden)) {
        *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("Cannot listen on %1: %2").arg(hidden, m_server.errorString()));
        return false;
    }
    // rename() replaces a stale socket file in one step, and clients never see a socket that is
    // not listening yet.
    if (std::rename(QFile::encodeName(hidden).constData(), QFile::encodeName(target).constData()) != 0) {
        m_server.close();
        *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("Cannot publish %1").arg(target));
        return false;
    }
    m_published = kdFileIdentity(target);
    emit announcement(QStringLiteral("device %1 at %2").arg(serialNumber(), target));
    return true;
}

void DevsimDevice::unpublish()
{
    if (m_server.isListening()) {
        m_server.close();
        if (kdFileIdentity(socketPath()) == m_published)
            QFile::remove(socketPath());
        m_published = {};
    }
    const QList<DevsimConnection *> connections = m_connections;
    m_connections.clear();
    for (DevsimConnection *connection : connections) {
        connection->disconnect(this);
        connection->abort();
        connection->deleteLater();
    }
}

void DevsimDevice::acceptConnections()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        auto *connection = new DevsimConnection(socket, this);
        // Each connection's jitter has a sequence of its own, the same in every run.
        connection->setLink(m_link.profile, m_link.seed + m_connectionCount++);
        m_connections.append(connection);
        connect(connection, &DevsimConnection::closed, this, [this](DevsimConnection *closed) {
            m_connections.removeAll(closed);
            closed->deleteLater();
        });
        connection->sendHello();
    }
}

void DevsimDevice::reboot()
{
    if (m_rebooting)
        return;
    m_rebooting = true;
    refreshLink(); // the reboot time as set this moment, even if the folder watch has not told yet
    emit announcement(QStringLiteral("device %1 rebooting for %2 ms").arg(serialNumber()).arg(rebootMilliseconds()));
    unpublish();
    QTimer::singleShot(rebootMilliseconds(), this, [this] {
        m_rebooting = false;
        m_model.restart();
        refreshPlugState();
    });
}

void DevsimDevice::refreshPlugState()
{
    if (!m_started || m_rebooting)
        return;
    const bool unplugged = QFile::exists(m_model.store().unpluggedMarkerPath());
    if (unplugged && m_server.isListening()) {
        emit announcement(QStringLiteral("device %1 unplugged").arg(serialNumber()));
        unpublish();
    } else if (!unplugged && !m_server.isListening()) {
        VLError error;
        if (!publish(&error))
            emit announcement(error.localizedDescription());
    }
}

int DevsimDevice::rebootMilliseconds() const
{
    return m_link.rebootMilliseconds.value_or(m_model.rebootMilliseconds());
}

void DevsimDevice::refreshLink()
{
    const DevsimLink link = DevsimLink::load(m_model.store().linkPath(), m_defaultLink);
    if (link.profile.name == m_link.profile.name && link.seed == m_link.seed
        && link.rebootMilliseconds == m_link.rebootMilliseconds)
        return;
    m_link = link;
    emit announcement(QStringLiteral("device %1 on %2").arg(serialNumber(), m_link.profile.description()));
    for (DevsimConnection *connection : std::as_const(m_connections))
        connection->setLink(m_link.profile, m_link.seed + m_connectionCount++);
}
