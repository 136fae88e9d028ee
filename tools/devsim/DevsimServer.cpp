#include "DevsimServer.h"

#include "DevsimStore.h"

#include <QDir>

DevsimServer::DevsimServer(const QString &stateFolder, const QString &deviceDirectory, QObject *parent)
    : QObject(parent)
    , m_stateFolder(stateFolder)
    , m_deviceDirectory(deviceDirectory)
{
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &DevsimServer::rescan);
}

bool DevsimServer::start(VLError *error)
{
    QDir().mkpath(DevsimStore::devicesFolder(m_stateFolder));
    m_watcher.addPath(DevsimStore::devicesFolder(m_stateFolder));
    const QStringList serials = DevsimStore::serialNumbers(m_stateFolder);
    for (const QString &serial : serials) {
        auto *device = new DevsimDevice(m_stateFolder, serial, m_deviceDirectory, this);
        connect(device, &DevsimDevice::announcement, this, &DevsimServer::announcement);
        if (!device->start(error)) {
            delete device;
            return false;
        }
        m_devices.insert(serial, device);
        m_watcher.addPath(device->model().store().folder());
    }
    return true;
}

void DevsimServer::stop()
{
    for (DevsimDevice *device : std::as_const(m_devices))
        device->stop();
}

void DevsimServer::rescan()
{
    const QStringList serials = DevsimStore::serialNumbers(m_stateFolder);
    for (const QString &serial : serials) {
        if (DevsimDevice *known = m_devices.value(serial)) {
            known->refreshPlugState();
            continue;
        }
        auto *device = new DevsimDevice(m_stateFolder, serial, m_deviceDirectory, this);
        connect(device, &DevsimDevice::announcement, this, &DevsimServer::announcement);
        VLError error;
        if (!device->start(&error)) {
            emit announcement(error.localizedDescription());
            delete device;
            continue;
        }
        m_devices.insert(serial, device);
        m_watcher.addPath(device->model().store().folder());
    }
}
