#pragma once

#include "DevsimDeviceModel.h"
#include "DevsimLink.h"
#include "KDDeviceDirectory.h"

#include <QList>
#include <QLocalServer>
#include <QObject>

class DevsimConnection;

// One emulated device on its socket in the device folder. The socket file appears only once the
// device listens (it is bound under a hidden name and renamed into place), and goes when the device
// reboots, is unplugged or stops.
class DevsimDevice : public QObject
{
    Q_OBJECT
public:
    DevsimDevice(const QString &stateFolder, const QString &serialNumber, const QString &deviceDirectory,
                 const DevsimLink &defaultLink, QObject *parent = nullptr);
    ~DevsimDevice() override;

    bool start(VLError *error);
    void stop();
    // Goes away for the configured time and comes back (unless unplugged meanwhile).
    void reboot();
    // Follows the "unplugged" marker of the state folder.
    void refreshPlugState();
    // Follows the device's link.plist: connections open and to come take the link at once.
    void refreshLink();
    const DevsimLink &link() const { return m_link; }
    int rebootMilliseconds() const;

    DevsimDeviceModel &model() { return m_model; }
    QString serialNumber() const { return m_model.serialNumber(); }
    QString socketPath() const;
    bool isListening() const { return m_server.isListening(); }
    QVariantMap hello() const;

signals:
    void announcement(const QString &line);

private:
    bool publish(VLError *error);
    void unpublish();
    void acceptConnections();

    DevsimDeviceModel m_model;
    QString m_deviceDirectory;
    QLocalServer m_server;
    QList<DevsimConnection *> m_connections;
    KDFileIdentity m_published;
    DevsimLink m_defaultLink;
    DevsimLink m_link;
    quint64 m_connectionCount = 0;
    bool m_rebooting = false;
    bool m_started = false;
};
