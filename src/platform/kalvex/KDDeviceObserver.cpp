#include "KDDeviceObserver.h"

#include "KDDeviceCenter.h"

KDDeviceObserver::KDDeviceObserver(const QString &deviceName, const QString &deviceDirectory, QObject *parent)
    : QObject(parent)
    , m_deviceName(deviceName)
{
    KDDeviceCenter *center = KDDeviceCenter::defaultCenter();
    center->watchDirectory(deviceDirectory);
    connect(center, &KDDeviceCenter::deviceArrived, this,
            [this](const KDDevicePtr &device) { later([this, device] { considerArrival(device); }); });
    connect(center, &KDDeviceCenter::deviceUpdated, this,
            [this](const KDDevicePtr &device) { later([this, device] { considerUpdate(device); }); });
    connect(center, &KDDeviceCenter::deviceRemoved, this,
            [this](const KDDevicePtr &device) { later([this, device] { considerRemoval(device); }); });
    later([this] { replay(); });
}

QSharedPointer<KDDeviceObserver> KDDeviceObserver::initWithDeviceName(const QString &deviceName)
{
    return QSharedPointer<KDDeviceObserver>::create(deviceName);
}

KDDeviceObserver::~KDDeviceObserver() = default;

void KDDeviceObserver::setDeviceArrivalBlock(DeviceBlock block)
{
    m_arrival = std::move(block);
    // Devices that arrived while nobody listened are reported now.
    later([this] { replay(); });
}

void KDDeviceObserver::setDeviceUpdateBlock(DeviceBlock block)
{
    m_update = std::move(block);
}

void KDDeviceObserver::setDeviceRemovalBlock(DeviceBlock block)
{
    m_removal = std::move(block);
}

bool KDDeviceObserver::wants(const KDDevicePtr &device) const
{
    return device && (m_deviceName.isEmpty() || device->name() == m_deviceName);
}

void KDDeviceObserver::later(std::function<void()> work)
{
    // The observer is the context: callbacks die with it.
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

void KDDeviceObserver::considerArrival(const KDDevicePtr &device)
{
    // Decided when the callback runs, so that a device gone in between is not reported.
    if (!m_arrival || !wants(device) || m_announced.contains(device) || !device->isAvailable()
        || !KDDeviceCenter::defaultCenter()->containsDevice(device.data()))
        return;
    m_announced.append(device);
    const DeviceBlock block = m_arrival;
    block(device);
}

void KDDeviceObserver::considerUpdate(const KDDevicePtr &device)
{
    if (!m_announced.contains(device)) {
        considerArrival(device); // it may have become available only now
        return;
    }
    if (m_update) {
        const DeviceBlock block = m_update;
        block(device);
    }
}

void KDDeviceObserver::considerRemoval(const KDDevicePtr &device)
{
    if (!m_announced.removeOne(device))
        return;
    if (m_removal) {
        const DeviceBlock block = m_removal;
        block(device);
    }
}

void KDDeviceObserver::replay()
{
    const QList<KDDevicePtr> devices = KDDeviceCenter::defaultCenter()->devices();
    for (const KDDevicePtr &device : devices)
        considerArrival(device);
}
