#include "DevsimServer.h"

#include "DevsimStore.h"

#include <QDir>

DevsimServer::DevsimServer(const QString &stateFolder, const QString &deviceDirectory, const DevsimLink &defaultLink,
                           QObject *parent)
    : QObject(parent)
    , m_stateFolder(stateFolder)
    , m_deviceDirectory(deviceDirectory)
    , m_defaultLink(defaultLink)
{
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &DevsimServer::rescan);
}

DevsimDevice *DevsimServer::startDevice(const QString &serial, VLError *error)
{
    auto *device = new DevsimDevice(m_stateFolder, serial, m_deviceDirectory, m_defaultLink, this);
    connect(device, &DevsimDevice::announcement, this, &DevsimServer::announcement);
    if (!device->start(error)) {
        delete device;
        return nullptr;
    }
    m_devices.insert(serial, device);
    m_watcher.addPath(device->model().store().folder());
    return device;
}

bool DevsimServer::start(VLError *error)
{
    QDir().mkpath(DevsimStore::devicesFolder(m_stateFolder));
    m_watcher.addPath(DevsimStore::devicesFolder(m_stateFolder));
    const QStringList serials = DevsimStore::serialNumbers(m_stateFolder);
    for (const QString &serial : serials) {
        if (!startDevice(serial, error))
            return false;
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
            known->refreshLink();
            known->refreshPlugState();
            continue;
        }
        VLError error;
        if (!startDevice(serial, &error))
            emit announcement(error.localizedDescription());
    }
}
