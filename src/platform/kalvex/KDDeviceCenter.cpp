#include "KDDeviceCenter.h"

#include "KDDeviceDirectory.h"
#include "KDError.h"
#include "KDSocketDirectory.h"
#include "KDSocketLink.h"
#include "KDWireProtocol.h"
#include "TSLogger.h"

#include <QCoreApplication>
#include <QDir>

KDDeviceCenter *KDDeviceCenter::defaultCenter()
{
    static QPointer<KDDeviceCenter> center;
    if (!center)
        center = new KDDeviceCenter(QCoreApplication::instance());
    return center;
}

KDDeviceCenter::KDDeviceCenter(QObject *parent)
    : QObject(parent)
{
}

void KDDeviceCenter::watchDirectory(const QString &directory)
{
    VLError error;
    QString path = directory.isEmpty() ? kdDeviceDirectory(&error) : directory;
    if (!path.isEmpty())
        path = QDir::cleanPath(QDir(path).absolutePath());
    if (!path.isEmpty() && m_directories.contains(path))
        return;
    if (path.isEmpty() || !kdPrepareDeviceDirectory(path, &error)) {
        VL_LOG("%@", error.localizedDescription());
        m_directoryError = error;
        return;
    }
    auto *watcher = new KDSocketDirectory(path, this);
    m_directories.insert(path, watcher);
    connect(watcher, &KDSocketDirectory::deviceIntroduced, this, &KDDeviceCenter::deviceIntroduced);
    connect(watcher, &KDSocketDirectory::settled, this, [this] {
        if (isSettled())
            emit settled();
    });
}

bool KDDeviceCenter::containsDevice(const KDDevice *device) const
{
    for (const KDDevicePtr &known : m_devices) {
        if (known.data() == device)
            return true;
    }
    return false;
}

bool KDDeviceCenter::isSettled() const
{
    for (const KDSocketDirectory *watcher : m_directories) {
        if (!watcher->isSettled())
            return false;
    }
    return true;
}

void KDDeviceCenter::addDevice(const KDDevicePtr &device)
{
    if (!device || containsDevice(device.data()) || !device->isConnected())
        return;
    m_devices.append(device);
    const KDDeviceWeakPtr weak = device;
    connect(device.data(), &KDDevice::stateChanged, this, [this, weak] {
        if (const KDDevicePtr strong = weak.toStrongRef(); strong && containsDevice(strong.data()))
            emit deviceUpdated(strong);
    });
    connect(device.data(), &KDDevice::removed, this, [this, weak] {
        const KDDevicePtr strong = weak.toStrongRef();
        if (!strong || !containsDevice(strong.data()))
            return;
        m_devices.removeAll(strong);
        emit deviceRemoved(strong);
    });
    emit deviceArrived(device);
}

void KDDeviceCenter::deviceIntroduced(KDSocketLink *link, const QVariantMap &hello)
{
    const QString serialNumber = hello.value(KDWire::SerialNumberKey).toString();
    for (const KDDevicePtr &device : std::as_const(m_devices)) {
        if (device->serialNumber() != serialNumber)
            continue;
        if (device->attachLink(link, hello))
            return;
        VL_LOG("a second device claims the serial number %@; ignored", serialNumber);
        link->close(kdError(KDErrorBadFrame, QStringLiteral("(duplicate serial number)")));
        link->deleteLater();
        return;
    }
    VL_LOG("device %@ %@ arrived", hello.value(KDWire::NameKey), serialNumber);
    addDevice(KDDevice::createWithHello(hello, link));
}
