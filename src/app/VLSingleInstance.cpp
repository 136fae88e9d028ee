#include "VLSingleInstance.h"

#include "TSLogger.h"
#include "VLDataFolder.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>

VLSingleInstance::VLSingleInstance(const QString &serverName, QObject *parent)
    : QObject(parent)
    , m_serverName(serverName)
{
}

VLSingleInstance::~VLSingleInstance()
{
    if (m_server)
        m_server->close();
}

QString VLSingleInstance::defaultServerName()
{
    const QByteArray folder = QDir::cleanPath(vlApplicationDataFolder()).toUtf8();
    const QByteArray hash = QCryptographicHash::hash(folder, QCryptographicHash::Sha1).toHex().left(12);
    return QStringLiteral("VelmoraSync-%1-%2").arg(vlCurrentUserIdentifier(), QString::fromLatin1(hash));
}

bool VLSingleInstance::sendMessages(const QString &serverName, const QStringList &messages, int timeoutMs)
{
    QLocalSocket socket;
    vlConfigureSingleInstanceSocket(socket);
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    for (const QString &message : messages) {
        QString line = message;
        line.remove(QLatin1Char('\n'));
        socket.write(line.toUtf8() + '\n');
    }
    socket.flush();
    while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(timeoutMs)) {
    }
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(timeoutMs);
    return true;
}

VLSingleInstance::Role VLSingleInstance::claim(const QStringList &messagesForRunningInstance)
{
    // Two attempts: a launch that loses the race to listen finds the winner on the second one.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (sendMessages(m_serverName, messagesForRunningInstance, 500))
            return Role::Secondary;
        if (listen())
            return Role::Primary;
    }
    VL_LOG("Cannot listen for other launches on %@: %@", m_serverName, m_errorString);
    return Role::Failed;
}

bool VLSingleInstance::listen()
{
    auto *server = new QLocalServer(this);
    vlConfigureSingleInstanceServer(*server);
    bool listening = server->listen(m_serverName);
    if (!listening && server->serverError() == QAbstractSocket::AddressInUseError && vlSingleInstanceSocketMayBeStale()) {
        // Nobody answered on it (sendMessages failed first), so the socket file is a crashed
        // instance's leftover.
        QLocalServer::removeServer(m_serverName);
        listening = server->listen(m_serverName);
    }
    if (!listening) {
        m_errorString = server->errorString();
        delete server;
        return false;
    }
    m_server = server;
    connect(server, &QLocalServer::newConnection, this, &VLSingleInstance::acceptConnections);
    return true;
}

void VLSingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto readLines = [this, socket] {
            while (socket->canReadLine()) {
                const QString line = QString::fromUtf8(socket->readLine()).trimmed();
                if (!line.isEmpty())
                    emit messageReceived(line);
            }
        };
        connect(socket, &QLocalSocket::readyRead, this, readLines);
        readLines();
    }
}
