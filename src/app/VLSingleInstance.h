#pragma once

#include <QLocalServer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

// One running application per user and data folder. A later launch hands its messages (the URL it
// was started with) to the running instance over a local socket and ends; the running instance
// hears them through messageReceived. Messages are lines of UTF-8 text.
class VLSingleInstance : public QObject
{
    Q_OBJECT
public:
    enum class Role { Primary, Secondary, Failed };

    explicit VLSingleInstance(const QString &serverName, QObject *parent = nullptr);
    ~VLSingleInstance() override;

    // Becomes the running instance, or hands the messages to the one that runs already.
    Role claim(const QStringList &messagesForRunningInstance);
    QString serverName() const { return m_serverName; }
    QString errorString() const { return m_errorString; }

    // "VelmoraSync-<user>-<hash of the data folder>": the demo with its own data folder runs beside
    // the user's own instance.
    static QString defaultServerName();
    static bool sendMessages(const QString &serverName, const QStringList &messages, int timeoutMs = 1000);

signals:
    void messageReceived(const QString &message);

private:
    bool listen();
    void acceptConnections();

    QString m_serverName;
    QString m_errorString;
    QPointer<QLocalServer> m_server;
};

// Platform parts (VLSingleInstance_<platform>.cpp).
class QLocalSocket;
void vlConfigureSingleInstanceServer(QLocalServer &server);
void vlConfigureSingleInstanceSocket(QLocalSocket &socket);
// Whether a crashed instance can leave a socket file behind that must be removed before listening.
bool vlSingleInstanceSocketMayBeStale();
QString vlCurrentUserIdentifier();
