#include "TinteraDevices.h"

#include "KDDeviceCenter.h"
#include "KDDeviceDirectory.h"
#include "VLFormat.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QPointer>
#include <QTimer>

namespace {

const QString kDeviceName = QStringLiteral("Velmora");
const QString kCommandLineDomain = QStringLiteral("TINTERA Sync Domain");

qsizetype socketsInDeviceFolder()
{
    const QString folder = kdDeviceDirectory();
    return folder.isEmpty() ? 0 : QDir(folder).entryList(QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

TinteraDevices::TinteraDevices(QObject *parent)
    : QObject(parent)
    , m_observer(std::make_unique<KDDeviceObserver>(kDeviceName))
{
    m_observer->setDeviceArrivalBlock([this](const KDDevicePtr &device) { emit deviceArrived(device); });
    m_observer->setDeviceRemovalBlock([this](const KDDevicePtr &device) { emit deviceRemoved(device); });
}

TinteraDevices::~TinteraDevices() = default;

bool TinteraDevices::waitUntil(const std::function<bool()> &condition, int timeoutMilliseconds)
{
    // Devices only arrive from the event loop, so the condition can change only inside exec().
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &TinteraDevices::deviceArrived, &loop, &QEventLoop::quit);
    connect(KDDeviceCenter::defaultCenter(), &KDDeviceCenter::settled, &loop, &QEventLoop::quit);
    deadline.start(timeoutMilliseconds);
    while (!condition() && deadline.isActive())
        loop.exec();
    return condition();
}

QList<KDDevicePtr> TinteraDevices::connectedDevices(int timeoutMilliseconds)
{
    // Every socket in the folder either becomes a device or is given up on (a device that did not
    // introduce itself properly): counting devices alone would wait out the whole time for the second.
    const KDDeviceCenter *center = KDDeviceCenter::defaultCenter();
    waitUntil([this, center] { return m_observer->devices().size() >= socketsInDeviceFolder() || center->isSettled(); },
              timeoutMilliseconds);
    QCoreApplication::processEvents(); // arrivals queued behind the last introduction
    return m_observer->devices();
}

VLError TinteraDevices::deviceFolderError() const
{
    return KDDeviceCenter::defaultCenter()->directoryError();
}

KDDevicePtr TinteraDevices::waitForDevice(const QString &serialNumber, int timeoutMilliseconds, VLError *error)
{
    // No device can come from a folder that is not watched: no point in waiting.
    if (const VLError refused = deviceFolderError()) {
        if (error)
            *error = refused;
        return {};
    }
    KDDevicePtr found;
    const auto lookUp = [&] {
        for (const KDDevicePtr &device : m_observer->devices()) {
            if (serialNumber.isEmpty() || device->serialNumber() == serialNumber) {
                found = device;
                return true;
            }
        }
        return false;
    };
    if (waitUntil(lookUp, timeoutMilliseconds))
        return found;
    if (error) {
        const QString text = serialNumber.isEmpty()
            ? vlFormat(tr("No TINTERA device is connected (waited %d s)."), timeoutMilliseconds / 1000)
            : vlFormat(tr("The TINTERA device %@ is not connected (waited %d s)."), serialNumber,
                       timeoutMilliseconds / 1000);
        *error = VLError(kCommandLineDomain, 1, text);
    }
    return {};
}

VLSyncManager *TinteraDevices::syncManagerForDevice(const KDDevicePtr &device)
{
    VLSyncManager *manager = device ? VLSyncManager::syncManagerWithDevice(device) : nullptr;
    if (!manager)
        return nullptr;
    manager->updateDevice(device);
    manager->deviceBecameAvailable();
    const QString serial = device->serialNumber();
    const QPointer<VLSyncManager> weakManager(manager);
    connect(this, &TinteraDevices::deviceRemoved, manager, [weakManager, serial](const KDDevicePtr &removed) {
        if (!weakManager || !removed || removed->serialNumber() != serial)
            return;
        weakManager->updateDevice(KDDevicePtr());
        weakManager->deviceBecameUnavailable();
    });
    return manager;
}
