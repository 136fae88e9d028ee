#pragma once

#include "KDDeviceDirectory.h"
#include "KDFrame.h"
#include "VLError.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QPointer>

class KDSocketLink;

// Watches one device folder, prepared by kdPrepareDeviceDirectory() (through the file system's
// change notifications, no polling), connects
// to each device socket that appears and waits for the device's "Hello". A socket whose connection
// fails for good is left alone until a new socket file takes its name.
class KDSocketDirectory : public QObject
{
    Q_OBJECT
public:
    explicit KDSocketDirectory(const QString &path, QObject *parent = nullptr);

    const QString &path() const { return m_path; }
    // No connection is being set up.
    bool isSettled() const { return m_handshakes.isEmpty() && m_retries.isEmpty(); }

    static constexpr int kHandshakeTimeLimit = 5000;
    static constexpr int kConnectAttempts = 5;

signals:
    // A device introduced itself on the link. Whoever receives this takes the link over
    // (reparents it) or closes it.
    void deviceIntroduced(KDSocketLink *link, const QVariantMap &hello);
    void settled();

private:
    struct Handshake
    {
        QPointer<KDSocketLink> link;
        KDFileIdentity identity;
        int attempt = 1;
    };
    struct Live
    {
        QPointer<KDSocketLink> link;
        KDFileIdentity identity;
    };

    void rescan();
    void connectTo(const QString &socketPath, const KDFileIdentity &identity, int attempt);
    void handshakeFrame(const QString &socketPath, const KDFrame &frame);
    void handshakeLost(const QString &socketPath, const VLError &reason);
    void liveLost(const QString &socketPath, KDSocketLink *link, const VLError &reason);
    void scheduleRetry(const QString &socketPath, const KDFileIdentity &identity, int attempt);
    void giveUp(const QString &socketPath, const KDFileIdentity &identity);
    void reportIfSettled();

    const QString m_path;
    QFileSystemWatcher m_watcher;
    QHash<QString, Handshake> m_handshakes;
    QHash<QString, Live> m_live;
    QHash<QString, KDFileIdentity> m_givenUp;
    QHash<QString, KDFileIdentity> m_retries;
};
