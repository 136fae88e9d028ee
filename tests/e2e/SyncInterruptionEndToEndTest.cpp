#include "E2EFixture.h"
#include "VLSyncStallWatchdog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

QStringList skusOf(const QList<VLFileDownloadPtr> &downloads)
{
    QStringList skus;
    for (const VLFileDownloadPtr &download : downloads) {
        const auto file = qSharedPointerObjectCast<VLSyncFileInfo>(download->userData());
        skus << (file ? file->SKU() : QString());
    }
    return skus;
}

} // namespace

// The device goes while fandecks are being uploaded: unplugged, as a user pulling the cable would,
// or its emulator's process dies, so that the connection drops in the middle of a command.
class DeviceGoingMidSync : public E2EFixture, public ::testing::WithParamInterface<bool>
{
};

TEST_P(DeviceGoingMidSync, EndsTheRunExactlyOnce)
{
    const bool dies = GetParam();
    bool gone = false;
    delegate.onStatus = [&](qint32 status) {
        if (status == VLSyncManagerStatusCopyFandecksToDevice && !gone)
            gone = dies ? environment.killDeviceEmulator() : environment.devsim({"unplug", "--serial", serial}, nullptr, nullptr);
    };
    observer->setDeviceRemovalBlock([this](const KDDevicePtr &left) {
        if (left->serialNumber() == serial)
            manager->deviceBecameUnavailable();
    });
    ASSERT_TRUE(runPreliminaryAndFullSync());
    ASSERT_TRUE(gone);
    QTest::qWait(500); // whatever the dead link still had under way would arrive meanwhile
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_TRUE(delegate.wasCancelledAtFinish);
    EXPECT_EQ(manager->status(), 0);
    EXPECT_FALSE(manager->isCancellingSync());
    EXPECT_EQ(manager->syncSession(), nullptr);
    EXPECT_FALSE(manager->hasErrorList());
    EXPECT_EQ(manager->runReport().ending, VLSyncRunReport::Ending::DeviceGone);
    EXPECT_FALSE(delegate.statuses.contains(VLSyncManagerStatusExportMatches));
    EXPECT_FALSE(device->isConnected());
    manager = nullptr; // already unavailable
}

INSTANTIATE_TEST_SUITE_P(Ways, DeviceGoingMidSync, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool> &way) { return way.param ? "EmulatorDies" : "Unplugged"; });

// A sync whose download step waits on a fandeck file the service refuses (HTTP 500): its download
// cancels itself without telling anyone.
class RefusedFandeck : public E2EFixture
{
protected:
    void syncUntilTheRefusal()
    {
        refused = environment.catalogFileName("VLM-FD-ACCENT");
        VLError error;
        ASSERT_TRUE(environment.cloudsimControl("fault?target=files/" + refused + "&http=500", nullptr, &error))
            << qPrintable(error.description());
        manager->gatherPrelimiaryInfo();
        ASSERT_TRUE(delegate.waitForFinish());
        delegate.events.clear();
        delegate.statuses.clear();
        manager->startSync();
        downloads = manager->downloadManager();
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return downloads->currentDownload() && downloads->currentDownload()->lastError().code() == 500; }, 60000))
            << "the refused download was never reached";
    }

    QString refused;
    VLFileDownloadManager *downloads = nullptr;
};

// The download step waits until the user cancels; that leaves nothing half-installed, and the next
// sync, once the service serves the file again, finishes the job.
TEST_F(RefusedFandeck, HoldsTheDownloadStepUntilTheUserCancels)
{
    ASSERT_NO_FATAL_FAILURE(syncUntilTheRefusal());
    QTest::qWait(1000); // long enough for anything that would move the sync on

    // Stalled in the download step, every step before it done.
    EXPECT_EQ(delegate.events, QStringList({"beginSync"}));
    EXPECT_EQ(manager->status(), VLSyncManagerStatusDownloadFandecksFromCloud);
    QList<qint32> stepsSoFar;
    for (qint32 step = VLSyncManagerResetSyncMode; step <= VLSyncManagerStatusDownloadFandecksFromCloud; ++step)
        stepsSoFar << step;
    EXPECT_EQ(delegate.statuses, stepsSoFar);
    const QStringList deviceFiles = localFolderEntries("Files"); // every device-file step ran;
    EXPECT_EQ(deviceFiles.size(), 8);                            // the settings come after the fandecks
    EXPECT_FALSE(deviceFiles.contains("TX350-SETTINGS"));
    EXPECT_TRUE(manager->errors().isEmpty());         // the refusal is reported to no one
    const QStringList waiting = skusOf(downloads->downloads());
    ASSERT_FALSE(waiting.isEmpty());
    EXPECT_EQ(waiting.first(), "VLM-FD-ACCENT");
    const QStringList installed = localFolderEntries("Fandecks");
    for (const QString &sku : waiting)
        EXPECT_FALSE(installed.contains(sku)) << qPrintable(sku);
    EXPECT_EQ(installed.size() + waiting.size(), 5);

    // The user cancels, as the tray's Cancel Sync and the command line's Ctrl-C do: the files still
    // waiting go with the run, so the next sync asks for what it then needs, nothing else.
    vlCancelSync(manager);
    ASSERT_TRUE(delegate.waitForFinish(5000));
    QTest::qWait(300);
    EXPECT_TRUE(downloads->downloads().isEmpty()) << "still queued: " << qPrintable(skusOf(downloads->downloads()).join(' '));
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_TRUE(delegate.wasCancelledAtFinish);
    EXPECT_EQ(delegate.statusAtFinish, 0);
    EXPECT_EQ(manager->status(), 0);
    EXPECT_FALSE(manager->wasCancelled());
    EXPECT_FALSE(manager->isCancellingSync());
    EXPECT_EQ(localFolderEntries("Fandecks"), installed);
    EXPECT_FALSE(QFileInfo::exists(environment.dataFolder() + "/Downloads/" + refused));
    EXPECT_TRUE(QDir(environment.dataFolder() + "/Downloads").entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    EXPECT_FALSE(manager->lastSyncDate().isValid());

    // Served again, the file arrives with the next sync, which ends normally.
    ASSERT_TRUE(environment.cloudsimControl("clear", nullptr, nullptr));
    ASSERT_TRUE(runPreliminaryAndFullSync());
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_FALSE(delegate.wasCancelledAtFinish);
    for (const VLError &e : manager->errors())
        ADD_FAILURE() << qPrintable(e.description());
    EXPECT_EQ(localFolderEntries("Fandecks").size(), 5);
    EXPECT_TRUE(QFileInfo::exists(environment.dataFolder() + "/Fandecks/VLM-FD-ACCENT/payload.cxf"));
}

// The user cancels the download step a refused fandeck holds, then pulls the device: the queue's
// completion that follows belongs to a run that has ended and must not start the steps again.
TEST_F(RefusedFandeck, PullingTheDeviceAfterCancellingItsDownloadLeavesTheManagerIdle)
{
    ASSERT_NO_FATAL_FAILURE(syncUntilTheRefusal());
    manager->setIsCancellingSync(true);
    manager->cancelSync();
    ASSERT_TRUE(delegate.waitForFinish(5000));

    manager->deviceBecameUnavailable();
    QTest::qWait(500);
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_EQ(manager->status(), 0);
    EXPECT_FALSE(manager->isInSync());
    EXPECT_FALSE(manager->isCancellingSync());
    manager = nullptr; // already unavailable
}
