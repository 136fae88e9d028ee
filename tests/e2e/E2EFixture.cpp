#include "E2EFixture.h"

#include <QDir>
#include <QTest>

TinteraDemoEnvironment::Options E2EFixture::options() const
{
    TinteraDemoEnvironment::Options options;
    options.rebootMilliseconds = 0;
    return options;
}

void E2EFixture::SetUp()
{
    VLError error;
    ASSERT_TRUE(environment.start(options(), &error)) << qPrintable(error.description());
    serial = environment.serialNumbers().first();
    observer = std::make_unique<KDDeviceObserver>(QStringLiteral("Velmora"), environment.deviceFolder());
    observer->setDeviceArrivalBlock([this](const KDDevicePtr &arrived) {
        if (arrived->serialNumber() == serial)
            device = arrived;
    });
    ASSERT_TRUE(QTest::qWaitFor([this] { return !device.isNull(); }, 15000)) << "the emulated device did not arrive";
    manager = VLSyncManager::syncManagerWithDevice(device);
    ASSERT_NE(manager, nullptr);
    manager->updateDevice(device);
    manager->setDelegate(&delegate);
    manager->deviceBecameAvailable();
}

void E2EFixture::TearDown()
{
    if (manager) {
        manager->setDelegate(nullptr);
        manager->deviceBecameUnavailable();
    }
    environment.stop();
    // The framework keeps devices process-wide: wait until it has seen this one go, so the next
    // test's observer is not offered it.
    EXPECT_TRUE(QTest::qWaitFor([this] { return !device || !device->isConnected(); }, 10000));
    observer.reset();
    device.reset();
}

bool E2EFixture::runFullSync()
{
    delegate.events.clear();
    delegate.statuses.clear();
    manager->startSync();
    return delegate.waitForFinish(120000);
}

bool E2EFixture::runPreliminaryAndFullSync()
{
    delegate.events.clear();
    if (!manager->canStartPreliminaryDataGathering()) {
        ADD_FAILURE() << "the manager refuses to start";
        return false;
    }
    manager->gatherPrelimiaryInfo();
    if (!delegate.waitForFinish(60000))
        return false;
    return runFullSync();
}

bool E2EFixture::syncOnlyTheFandeck(const QString &sku)
{
    const VLSyncFileInfoPtr onDevice = manager->syncInfo()->deviceFileWithSKU(sku);
    const VLSyncFileInfoPtr local = onDevice ? manager->syncInfo()->localFandeckWithFandeckID(onDevice->fileID()) : nullptr;
    if (!local) {
        ADD_FAILURE() << "no fandeck " << qPrintable(sku) << " on the device and the computer";
        return false;
    }
    manager->setUserWantsSyncForFandeckWithID(true, local->fileID());
    manager->setSyncSelectedFandecksOnly(true);
    return runPreliminaryAndFullSync();
}

QStringList E2EFixture::localFolderEntries(const QString &store) const
{
    return QDir(environment.dataFolder() + QLatin1Char('/') + store).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}
