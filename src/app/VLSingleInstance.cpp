#include "VLSingleInstance.h"

#include "TSLogger.h"
#include "VLDataFolder.h"
#include "VLPrivateFolder.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QTimer>

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

QString VLSingleInstance::defaultServerName(QString *problem)
{
    const QString runtime = vlRuntimeFolder(problem);
    if (runtime.isEmpty())
        return {};
    const QByteArray folder = QDir::cleanPath(vlApplicationDataFolder()).toUtf8();
    const QByteArray hash = QCryptographicHash::hash(folder, QCryptographicHash::Sha1).toHex().left(12);
    return runtime + QStringLiteral("/VelmoraSync-") + QString::fromLatin1(hash);
}

bool VLSingleInstance::sendMessages(const QString &serverName, const QStringList &messages, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    // Whatever another user listens on is not a running instance of this user's, and hears nothing.
    if (!vlPeerIsSameUser(socket.socketDescriptor())) {
        VL_LOG("%@ is served by another user: not a running instance", serverName);
        socket.abort();
        return false;
    }
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
    if (m_serverName.isEmpty()) {
        m_errorString = QStringLiteral("no place for the socket");
        return Role::Failed;
    }
    // Two attempts: a launch that loses the race to listen finds the winner on the second one. Only
    // then is a socket nobody of this user answers on taken for a leftover (a crashed instance's,
    // or another user's) and replaced.
    const QStringList messages =
        messagesForRunningInstance.isEmpty() ? QStringList{kActivationMessage} : messagesForRunningInstance;
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (sendMessages(m_serverName, messages, 500))
            return Role::Secondary;
        if (listen(attempt > 0))
            return Role::Primary;
    }
    VL_LOG("Cannot listen for other launches on %@: %@", m_serverName, m_errorString);
    return Role::Failed;
}

bool VLSingleInstance::listen(bool replaceLeftover)
{
    // No access options: with them Qt makes the socket elsewhere and renames it over the name,
    // replacing a running instance's socket instead of failing. The folder keeps others out.
    auto *server = new QLocalServer(this);
    bool listening = server->listen(m_serverName);
    if (!listening && replaceLeftover && server->serverError() == QAbstractSocket::AddressInUseError) {
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
        if (vlPeerIsSameUser(socket->socketDescriptor())) {
            serve(socket);
        } else {
            VL_LOG("Refused a connection from another user on %@", m_serverName);
            socket->abort();
            socket->deleteLater();
        }
    }
}

void VLSingleInstance::serve(QLocalSocket *socket)
{
    auto *silence = new QTimer(socket);
    silence->setSingleShot(true);
    silence->setInterval(kSilenceLimitMs);
    const auto drop = [this, socket](const char *why) {
        VL_LOG("Dropped a connection on %@: %@", m_serverName, QString::fromLatin1(why));
        socket->abort();
        socket->deleteLater();
    };
    connect(silence, &QTimer::timeout, socket, [drop] { drop("silent too long"); });
    auto readLines = [this, socket, silence, drop] {
        silence->start();
        while (socket->canReadLine()) {
            const QByteArray bytes = socket->readLine();
            if (bytes.size() > kMaxMessageBytes) {
                drop("line too long");
                return;
            }
            const QString line = QString::fromUtf8(bytes).trimmed();
            if (line == kActivationMessage)
                emit activationRequested();
            else if (!line.isEmpty())
                emit messageReceived(line);
        }
        if (socket->bytesAvailable() >= kMaxMessageBytes)
            drop("line too long");
    };
    socket->setReadBufferSize(kMaxMessageBytes);
    connect(socket, &QLocalSocket::readyRead, this, readLines);
    readLines();
}
