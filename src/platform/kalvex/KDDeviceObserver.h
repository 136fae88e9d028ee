#pragma once

#include "KDDevice.h"

#include <QObject>
#include <QSet>

#include <functional>

// Tells its owner about devices of one name as they arrive, change and leave. A device is reported
// as arrived once it is available (devices already present when the observer starts included);
// updates (availability, attributes) and the removal follow only for devices reported as arrived.
// Every callback is made on the main thread from the event loop, never from inside a call into the
// framework. Destroying the observer stops the callbacks.
class KDDeviceObserver : public QObject
{
    Q_OBJECT
public:
    using DeviceBlock = std::function<void(const KDDevicePtr &device)>;

    // An empty name observes every device. The folder defaults to kdDeviceDirectory().
    explicit KDDeviceObserver(const QString &deviceName, const QString &deviceDirectory = {}, QObject *parent = nullptr);
    static QSharedPointer<KDDeviceObserver> initWithDeviceName(const QString &deviceName);
    ~KDDeviceObserver() override;

    void setDeviceArrivalBlock(DeviceBlock block);
    void setDeviceUpdateBlock(DeviceBlock block);
    void setDeviceRemovalBlock(DeviceBlock block);

    const QString &deviceName() const { return m_deviceName; }
    // The devices reported as arrived and not yet removed.
    QList<KDDevicePtr> devices() const { return m_announced; }

private:
    bool wants(const KDDevicePtr &device) const;
    void later(std::function<void()> work);
    void considerArrival(const KDDevicePtr &device);
    void considerUpdate(const KDDevicePtr &device);
    void considerRemoval(const KDDevicePtr &device);
    void replay();

    QString m_deviceName;
    DeviceBlock m_arrival;
    DeviceBlock m_update;
    DeviceBlock m_removal;
    QList<KDDevicePtr> m_announced;
};
