#include "VLNotificationCenter.h"
#include "VLSyncInfo.h"

#include <gtest/gtest.h>

namespace {

VLSyncFileInfoPtr entry(const QString &type, const QString &id, const QString &version, QVariantMap extra = {})
{
    extra.insert("FileType", type);
    if (!id.isNull())
        extra.insert("FileID", id);
    extra.insert("VersionString", version);
    return VLSyncFileInfo::initWithDictionary(extra);
}

VLSyncFileInfoPtr fandeck(const QString &id, const QString &version, QVariantMap extra = {})
{
    return entry("Fandeck", id, version, std::move(extra));
}

// Counts change notifications posted by one inventory.
struct ChangeCounter
{
    explicit ChangeCounter(VLSyncInfo *info)
    {
        VLNotificationCenter::defaultCenter()->addObserver(VLSyncInfoFandecksDidChangeNotification, info, &context,
                                                           [this](const VLNotification &) { ++count; });
    }
    QObject context;
    int count = 0;
};

} // namespace

TEST(SyncInfo, FandeckDownloadAndTransferDecisions)
{
    VLSyncInfo info;
    info.setLocalFiles({fandeck("A", "1.2"), fandeck("B", "1.2"), fandeck("C", "2.0")});
    info.setDeviceFiles({fandeck("B", "1.2"), fandeck("C", "3.0")});
    info.webServiceFiles({fandeck("A", "1.2"), fandeck("B", "1.3"), fandeck("N", "1.0"), entry("Firmware", "A", "9.0")});

    EXPECT_FALSE(info.fandeckFromCloudNeedsToBeDownloaded(info.webServiceFandeckWithFandeckID("A"))); // same version
    EXPECT_TRUE(info.fandeckFromCloudNeedsToBeDownloaded(info.webServiceFandeckWithFandeckID("B")));  // 1.3 > 1.2
    QStringList download;
    for (const auto &f : info.fandecksNeedingDownload())
        download << f->fileID();
    EXPECT_EQ(download, QStringList({"B", "N"}));

    QStringList transfer;
    for (const auto &f : info.fandecksNeedingTransferToDevice())
        transfer << f->fileID();
    EXPECT_EQ(transfer, QStringList({"A"})); // B equal on device, C newer on device
    EXPECT_FALSE(info.fandeckFromLocalCacheNeedsToBeTransferedToDevice(fandeck("Z", "1.0"))); // not local at all
}

TEST(SyncInfo, NewDeviceFileRuleComparesTheLastEntriesOfAType)
{
    VLSyncInfo info;
    EXPECT_TRUE(info.isNewWallpaperImageAvailableForDevice()); // neither side has one
    info.webServiceFiles({entry("MeasurementScreen", "W", "1.0"), entry("Firmware", "FW", "2.0"),
                          entry("Bootloader", "BL", "1.0"), entry("InversionMatrix", "IM", "1.0")});
    EXPECT_TRUE(info.isNewWallpaperImageAvailableForDevice()); // nothing on the device

    info.setDeviceFiles({entry("Firmware", "FW", "1.9"), entry("Firmware", "FW", "2.0"),
                         entry("Bootloader", "BL", "1.1"), entry("InversionMatrix", "OTHER", "9.0")});
    EXPECT_FALSE(info.isNewFirmwareAvailableForDevice());     // the last device entry is 2.0
    EXPECT_FALSE(info.isNewBootloaderAvailableForDevice());   // device newer
    EXPECT_TRUE(info.isNewInversionMatriceAvailableForDevice()); // different file identifiers
    EXPECT_TRUE(info.isNewStartSoundAvailableForDevice());     // service offers none: still true
}

TEST(SyncInfo, ViewsAndLookUpsFollowListOrderAndTheirNarrowing)
{
    VLSyncInfo info;
    info.setDeviceFiles({entry("Firmware", "F1", "1.0", {{"SKU", "S"}, {"DeviceFileID", "9"}}),
                         fandeck("A", "1.0", {{"SKU", "S"}, {"DeviceFileID", "1"}}), fandeck("A", "2.0"),
                         entry("StartSound", "SS", "1.0"), entry("Fandeck", QString(), "1.0")});
    EXPECT_EQ(info.deviceFandecks().size(), 3);
    EXPECT_EQ(info.deviceStartSounds().size(), 1);
    EXPECT_TRUE(info.localFandecks().isEmpty());
    EXPECT_DOUBLE_EQ(info.deviceFandeckWithFandeckID("A")->version(), 100.0); // first match wins
    // The SKU and device-file look-ups search fandecks only, although a firmware matches too.
    EXPECT_EQ(info.deviceFileWithSKU("S")->fileID(), "A");
    EXPECT_TRUE(info.deviceFileWithDeviceFileID("9").isNull());
    EXPECT_EQ(info.deviceFileWithFileID("F1")->fileType(), "Firmware");
    EXPECT_TRUE(info.deviceFandeckWithFandeckID(QString()).isNull()); // absent keys never match
    EXPECT_TRUE(info.fandeckExistsOnDeviceWithFandeckID("A"));
    EXPECT_FALSE(info.fandeckExistsLocallyWithFandeckID("A"));
}

TEST(SyncInfo, ReplacingMergesOrAppendsAndEveryPatchNotifies)
{
    VLSyncInfo info;
    ChangeCounter changes(&info);
    VLSyncFileList device{fandeck("A", "1.0", {{"DeviceFileID", "1"}})};
    info.setDeviceFiles(device);
    EXPECT_EQ(changes.count, 1);

    info.replaceDeviceFile(fandeck("A", "1.1", {{"Extra", "x"}}));
    ASSERT_EQ(info.deviceFiles().size(), 1);
    EXPECT_EQ(info.deviceFiles().first()->versionString(), "1.1");
    EXPECT_EQ(info.deviceFiles().first()->deviceFileID(), "1"); // merged, not replaced
    EXPECT_EQ(device.first()->versionString(), "1.1");          // entries are shared by reference
    info.replaceDeviceFile(fandeck("B", "1.0"));
    EXPECT_EQ(info.deviceFiles().size(), 2);
    info.replaceLocalFile(fandeck("L", "1.0"));
    EXPECT_EQ(info.localFiles().size(), 1);
    EXPECT_EQ(changes.count, 4);

    info.removeDeviceFandeckWithFandeckID("A");
    info.removeDeviceFandeckWithFandeckID("none"); // notifies even when nothing was removed
    EXPECT_EQ(info.deviceFiles().size(), 1);
    EXPECT_EQ(changes.count, 6);
}

TEST(SyncInfo, SettingTheListAlreadyHeldIsSilentAndTheQuietSetterNeverNotifies)
{
    VLSyncInfo info;
    ChangeCounter changes(&info);
    const VLSyncFileList local{fandeck("A", "1.0")};
    info.setLocalFiles(local);
    info.setLocalFiles(info.localFiles());
    EXPECT_EQ(changes.count, 1);
    info.setLocalFiles(VLSyncFileList{fandeck("A", "1.0")}); // equal values, another list
    EXPECT_EQ(changes.count, 2);

    info.setWebServiceFiles({fandeck("W", "1.0")});
    EXPECT_EQ(changes.count, 2);
    info.webServiceFiles({fandeck("W", "1.0")});
    EXPECT_EQ(changes.count, 3);
    EXPECT_EQ(info.webServiceFandecks().size(), 1);
}

TEST(SyncInfo, UniqueFandecksPreferServiceThenLocalAndDebugInfoPrefersDevice)
{
    VLSyncInfo info;
    info.setDeviceFiles({fandeck("A", "1.0", {{"From", "device"}, {"DeviceFileID", "5"}}), fandeck("D", "1.0")});
    info.setLocalFiles({fandeck("A", "1.1", {{"From", "local"}, {"Path", "p"}}), fandeck("L", "1.0")});
    info.webServiceFiles({fandeck("A", "1.2", {{"From", "service"}}), fandeck(QString(), "1.0")});

    const VLSyncFileList unique = info.allUniqueFandecks();
    ASSERT_EQ(unique.size(), 3);
    for (const auto &f : unique) {
        if (f->fileID() == "A") {
            EXPECT_EQ(f->info().value("From").toString(), "service");
        }
    }

    const QVariantMap debug = info.debugInfoForFandeck(info.localFandeckWithFandeckID("A"));
    EXPECT_EQ(debug.value("From").toString(), "device");
    EXPECT_EQ(debug.value("Path").toString(), "p");
    EXPECT_EQ(debug.value("OnDevice").toBool(), true);
    EXPECT_EQ(debug.value("OnWebService").toBool(), true);
    EXPECT_EQ(debug.value("OnLocalCache").toBool(), true);
    const QVariantMap localOnly = info.debugInfoForFandeck(info.localFandeckWithFandeckID("L"));
    EXPECT_FALSE(localOnly.value("OnDevice").toBool());
    EXPECT_TRUE(localOnly.value("OnLocalCache").toBool());
}
