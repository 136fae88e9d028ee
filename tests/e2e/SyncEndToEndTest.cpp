#include "E2EFixture.h"

#include "HBColorDocument.h"
#include "TestSupport.h"
#include "TX350CustomResource.h"
#include "VLExportController.h"
#include "VLFileDigest.h"
#include "VLFileTrust.h"
#include "VLMatchRecord.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/stat.h>

TEST_F(E2EFixture, FirstFullSyncInstallsEverythingExportsTheMatchesAndASecondMovesNothing)
{
    // As an earlier version left it: open to other users.
    ASSERT_EQ(::chmod(QFile::encodeName(environment.dataFolder()).constData(), 0755), 0);
    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    EXPECT_EQ(delegate.events, QStringList({"beginPrelim", "finishPrelim"}));
    const QString syncImage = environment.devsimStateFolder() + "/devices/" + serial + "/syncimage.bmp";
    EXPECT_FALSE(QFileInfo::exists(syncImage)) << "the preliminary run must not begin sync mode";
    EXPECT_EQ(manager->syncInfo()->webServiceFiles().size(), kFandeckSKUs.size() + kDeviceFileSKUs.size());

    ASSERT_TRUE(runFullSync());
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    for (const VLError &error : manager->errors())
        ADD_FAILURE() << qPrintable(error.description());
    EXPECT_EQ(manager->status(), 0);
    EXPECT_TRUE(manager->lastSyncDate().isValid());
    EXPECT_TRUE(QFileInfo::exists(syncImage));

    // What the stores and the device hold afterwards the fault matrix checks after each of its
    // repairing syncs.
    EXPECT_EQ(device->attributeForKey("Firmware"), "2.4"); // the uploaded firmware runs after the reboot

    // The matches, written as valid CxF3.
    const QString exported = environment.dataFolder() + "/Measurements/LastMeasurements.cxf";
    ASSERT_TRUE(QFileInfo::exists(exported));
    const QString verdict = xmllintVerdict(exported);
    EXPECT_TRUE(verdict == "valid" || verdict == "skipped") << qPrintable(verdict);
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithFile(exported, nullptr, &error);
    ASSERT_TRUE(document) << qPrintable(error.description());
    EXPECT_EQ(document->colors().size(), 3);
    QSharedPointer<TX350CustomResource> matches;
    for (const auto &resource : document->customResources()) {
        if (auto tx = resource.dynamicCast<TX350CustomResource>())
            matches = tx;
    }
    ASSERT_TRUE(matches);
    ASSERT_EQ(matches->matches().size(), 3);
    EXPECT_EQ(matches->matches().first().value(TX350CustomResourceMatchTextKey).toString(), "Front door");
    EXPECT_EQ(matches->matches().first().value(TX350CustomResourceMatchDeviceSerialNumberKey).toString(), serial);

    // The report keeps the records it exported (the command line's JSON summary checks the rest).
    EXPECT_EQ(manager->runReport().ending, VLSyncRunReport::Ending::Completed);
    ASSERT_EQ(manager->runReport().matchesExported.size(), 3);
    EXPECT_EQ(manager->runReport().matchesExported.first().textTag, "Front door");

    // What the sync keeps on the computer is the user's alone.
    EXPECT_EQ(fileMode(environment.dataFolder()), 0700u);
    const auto filter = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (QDirIterator it(environment.dataFolder(), filter, QDirIterator::Subdirectories); it.hasNext();) {
        const QString path = it.next();
        EXPECT_EQ(fileMode(path), it.fileInfo().isDir() ? 0700u : 0600u) << qPrintable(path);
    }

    // A second sync finds nothing new: no download, no upload.
    const QJsonObject servedBefore = serviceStats().value("files").toObject();
    const QVariantList inventoryBefore = deviceInventory();
    ASSERT_TRUE(runFullSync());
    EXPECT_TRUE(manager->errors().isEmpty());
    EXPECT_EQ(serviceStats().value("files").toObject(), servedBefore);
    EXPECT_EQ(deviceInventory(), inventoryBefore);
    EXPECT_TRUE(manager->runReport().downloaded.isEmpty());
    EXPECT_TRUE(manager->runReport().installed.isEmpty());
    EXPECT_EQ(manager->runReport().matchesExported.size(), 3);
}

TEST_F(E2EFixture, TheNextEditionMovesOnlyTheFilesThatChanged)
{
    ASSERT_TRUE(runPreliminaryAndFullSync());
    ASSERT_TRUE(manager->errors().isEmpty());
    const QMap<QString, QVariantMap> before = bySKU(deviceInventory());

    VLError error;
    ASSERT_TRUE(environment.writeCatalog(2, &error)) << qPrintable(error.description());
    ASSERT_TRUE(runPreliminaryAndFullSync());
    for (const VLError &e : manager->errors())
        ADD_FAILURE() << qPrintable(e.description());
    const QMap<QString, QVariantMap> after = bySKU(deviceInventory());
    const QStringList changed{"VLM-FD-INT", "VLM-FD-ACCENT", "TX350-FW", "TX350-WALLPAPER", "TX350-SOUND-MULTI",
                              "TX350-SETTINGS"};
    for (auto it = after.constBegin(); it != after.constEnd(); ++it) {
        const bool replaced = it.value().value("DeviceFileID") != before.value(it.key()).value("DeviceFileID");
        EXPECT_EQ(replaced, changed.contains(it.key())) << qPrintable(it.key());
    }
    EXPECT_EQ(after.value("VLM-FD-INT").value("VersionString").toString(), "1.1");
    // The new settings name another preferred fandeck.
    EXPECT_EQ(deviceState().value("PreferredFandeck").toString(), after.value("VLM-FD-EXT").value("DeviceFileID").toString());
}

TEST_F(E2EFixture, SyncingASelectionDeletesTheRestAndSyncingEverythingNeverDeletes)
{
    ASSERT_TRUE(runPreliminaryAndFullSync());
    ASSERT_EQ(bySKU(deviceInventory()).size(), kFandeckSKUs.size() + kDeviceFileSKUs.size());

    ASSERT_TRUE(syncOnlyTheFandeck("VLM-FD-INT"));
    QStringList fandecksLeft;
    for (const QVariantMap &file : bySKU(deviceInventory())) {
        if (file.value("FileType") == "Fandeck")
            fandecksLeft << file.value("SKU").toString();
    }
    EXPECT_EQ(fandecksLeft, QStringList({"VLM-FD-INT"}));

    // Everything again: the other fandecks come back, and nothing is deleted.
    manager->setSyncSelectedFandecksOnly(false);
    ASSERT_TRUE(runPreliminaryAndFullSync());
    const QMap<QString, QVariantMap> all = bySKU(deviceInventory());
    for (const QString &sku : kFandeckSKUs)
        EXPECT_TRUE(all.contains(sku)) << qPrintable(sku);
}

TEST_F(E2EFixture, AStoredFandeckChangedOnDiskNeverReachesTheDeviceAndIsFetchedAgain)
{
    ASSERT_TRUE(runPreliminaryAndFullSync());
    // Only Interiors: the others leave the device and stay on the computer.
    ASSERT_TRUE(syncOnlyTheFandeck("VLM-FD-INT"));
    ASSERT_FALSE(bySKU(deviceInventory()).contains("VLM-FD-WHITES"));

    // The stored copy changes, its length kept.
    const QString payload = environment.dataFolder() + "/Fandecks/VLM-FD-WHITES/payload.cxf";
    QFile stored(payload);
    ASSERT_TRUE(stored.open(QIODevice::ReadWrite));
    stored.seek(stored.size() / 2);
    stored.write("tampered");
    stored.close();

    manager->setSyncSelectedFandecksOnly(false);
    ASSERT_TRUE(runPreliminaryAndFullSync());
    EXPECT_FALSE(bySKU(deviceInventory()).contains("VLM-FD-WHITES")) << "changed bytes were sent to the device";
    const QList<VLError> errors = manager->errors();
    EXPECT_TRUE(std::any_of(errors.cbegin(), errors.cend(), [](const VLError &error) {
        return error.domain() == VLFileTrustErrorDomain && error.localizedDescription().contains("not the one the service published");
    })) << "the refused upload is not among the sync's errors";
    EXPECT_FALSE(QFileInfo::exists(payload));

    ASSERT_TRUE(runPreliminaryAndFullSync());
    const QVariantMap whites = bySKU(deviceInventory()).value("VLM-FD-WHITES");
    ASSERT_FALSE(whites.isEmpty()) << "not fetched again";
    const VLSyncFileInfoPtr fetched = VLSyncFileInfo::initWithFilename(
        environment.dataFolder() + "/Fandecks/VLM-FD-WHITES/info.plist");
    EXPECT_EQ(vlSha256HexOfFile(environment.devsimStateFolder() + "/devices/" + serial + "/files/"
                                + whites.value("DeviceFileID").toString()),
              fetched->info().value(VLSyncFileInfoSHA256).toString().toLatin1());
}

TEST_F(E2EFixture, PullingTheDeviceWhileTheSessionOpensEndsTheRunOnce)
{
    QByteArray reply;
    VLError error;
    ASSERT_TRUE(environment.cloudsimControl("fault?target=OpenDeviceSession&delay=800", &reply, &error))
        << qPrintable(error.description());
    delegate.onStatus = [this](qint32 status) {
        if (status == VLSyncManagerStatusOpeningSessionWithCloud)
            QTimer::singleShot(200, manager, [this] { manager->deviceBecameUnavailable(); });
    };
    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    QTest::qWait(1500); // the open request's own late completion arrives meanwhile
    EXPECT_EQ(delegate.events, QStringList({"beginPrelim", "finishPrelim"}));
    EXPECT_TRUE(delegate.wasCancelledAtFinish);
    EXPECT_EQ(manager->status(), 0);
    manager = nullptr; // already unavailable
}

namespace {
struct ExportRecorder : VLExportControllerDelegate
{
    void exportControllerFinishedWithError(VLExportController *, const VLError &e) override
    {
        ++calls;
        error = e;
    }
    int calls = 0;
    VLError error;
};
} // namespace

TEST_F(E2EFixture, ClosingTheExportSheetMidExportIsSafeAndTheSyncsExportRunsBesideIt)
{
    ASSERT_TRUE(runPreliminaryAndFullSync());
    QTemporaryDir out;
    ExportRecorder recorder;
    auto *controller = new VLExportController(manager);
    controller->setDelegate(&recorder);
    controller->exportToFilename(out.filePath("closed.cxf"));
    // The matches are in and the worker loads the fandecks: the sheet goes (Escape) and takes the
    // controller with it, while a sync's export step loads the same fandecks.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !controller->matches().isEmpty(); }, 30000));
    delete controller;
    ASSERT_TRUE(runFullSync());
    EXPECT_TRUE(manager->errors().isEmpty());
    // The notes travel with the document, so it goes into a folder of its name.
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo::exists(out.filePath("closed/closed.cxf")); }, 30000));
    QTest::qWait(200);
    EXPECT_EQ(recorder.calls, 0); // no one is left to tell
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithFile(out.filePath("closed/closed.cxf"), nullptr, &error);
    ASSERT_TRUE(document) << qPrintable(error.description());
    EXPECT_EQ(document->colors().size(), 3);
    EXPECT_TRUE(QFileInfo::exists(environment.dataFolder() + "/Measurements/LastMeasurements.cxf"));
}
