#pragma once

#include "KDDevice.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>

class KDSocketDirectory;
class KDSocketLink;

// The process-wide registry of devices: those found in the device folders being watched and those
// added in-process (scripted devices). Observers listen to it; it lives on the main thread.
class KDDeviceCenter : public QObject
{
    Q_OBJECT
public:
    static KDDeviceCenter *defaultCenter();

    // Starts watching a device folder (once per folder; empty for kdDeviceDirectory()). A folder
    // that is not the user's alone is not watched: directoryError() then says why.
    void watchDirectory(const QString &directory);
    VLError directoryError() const { return m_directoryError; }
    // Devices from arrival until removal, rebooting ones included.
    QList<KDDevicePtr> devices() const { return m_devices; }
    bool containsDevice(const KDDevice *device) const;
    // A device whose link is made elsewhere.
    void addDevice(const KDDevicePtr &device);
    // No watched folder is still setting up a connection.
    bool isSettled() const;

signals:
    void deviceArrived(const KDDevicePtr &device);
    void deviceUpdated(const KDDevicePtr &device);
    void deviceRemoved(const KDDevicePtr &device);
    void settled();

private:
    explicit KDDeviceCenter(QObject *parent);
    void deviceIntroduced(KDSocketLink *link, const QVariantMap &hello);

    QList<KDDevicePtr> m_devices;
    QHash<QString, KDSocketDirectory *> m_directories;
    VLError m_directoryError;
};
