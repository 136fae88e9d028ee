#pragma once

#include "KDDevice.h"
#include "KDDeviceObserver.h"
#include "VLError.h"

#include <QObject>

class VLSyncManager;

#include <functional>
#include <memory>

// The devices the command line works with: those the device framework reports under the device
// name the application uses.
class TinteraDevices : public QObject
{
    Q_OBJECT
public:
    explicit TinteraDevices(QObject *parent = nullptr);
    ~TinteraDevices() override;

    // The devices connected now. Devices announce themselves one by one, so this waits until every
    // device socket in the device folder has been announced, or until the time is up.
    QList<KDDevicePtr> connectedDevices(int timeoutMilliseconds);
    // The device with this serial number (the first to arrive when none is given), waiting for it
    // to arrive. Fails with a clear message when it does not.
    KDDevicePtr waitForDevice(const QString &serialNumber, int timeoutMilliseconds, VLError *error);
    // Why the device folder is not looked at (not the user's alone), if it is not.
    VLError deviceFolderError() const;

    // The device's sync manager, told that its device is here; told again when the device goes.
    VLSyncManager *syncManagerForDevice(const KDDevicePtr &device);

signals:
    void deviceArrived(const KDDevicePtr &device);
    void deviceRemoved(const KDDevicePtr &device);

private:
    bool waitUntil(const std::function<bool()> &condition, int timeoutMilliseconds);

    std::unique_ptr<KDDeviceObserver> m_observer;
};
