#pragma once

#include <QLocalServer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class QLocalSocket;

// One running application per user and data folder. A later launch hands its messages (the URL it
// was started with) to the running instance over a local socket and ends; the running instance
// hears them through messageReceived. Messages are lines of UTF-8 text. A launch with nothing to
// hand over asks the running instance to show itself instead (activationRequested): a user who
// starts the application again is looking for its window.
//
// Other users reach none of it: the socket is a file in the user's runtime folder, which only the
// user may enter, and each end checks that the other runs as the same user. So nobody else can
// start a sync in this user's instance, nor take the name first and pass for a running instance
// so that the user's launch ends.
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

    // "VelmoraSync-<hash of the data folder>" in the user's runtime folder: the demo with its own
    // data folder runs beside the user's own instance. Empty with *problem when the runtime folder
    // is not the user's alone.
    static QString defaultServerName(QString *problem = nullptr);
    static bool sendMessages(const QString &serverName, const QStringList &messages, int timeoutMs = 1000);

    // A connection is dropped when a line grows longer than this, or when it stays silent for
    // longer than this: what a running instance holds for a client is bounded.
    static constexpr qint64 kMaxMessageBytes = 4096;
    static constexpr int kSilenceLimitMs = 3000;
    // The line of a launch without messages; no URL looks like it.
    static inline const QString kActivationMessage = QStringLiteral("--activate");

signals:
    void messageReceived(const QString &message);
    void activationRequested();

private:
    bool listen(bool replaceLeftover);
    void acceptConnections();
    void serve(QLocalSocket *socket);

    QString m_serverName;
    QString m_errorString;
    QPointer<QLocalServer> m_server;
};

// Platform part (VLSingleInstance_<platform>.cpp): whether the process at the other end of a
// connected local socket runs as this process's user.
bool vlPeerIsSameUser(qintptr socketDescriptor);
