#include "Catalog.h"
#include "HBColorDocument.h"
#include "KDScriptedDevice.h"
#include "TestSupport.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

// Fandecks are parsed side by side; what the manager holds afterwards must read as if they had
// been opened one after another: the records' order, failures left out, the map complete.
TEST(FandeckLoading, KeepsTheRecordsOrderAndLeavesOutWhatCannotBeOpened)
{
    ScopedDataFolder data;
    KDScriptedDevice device(QStringLiteral("SN-LOAD"));
    device.plugIn();
    VLSyncManager *manager = VLSyncManager::syncManagerWithDevice(device.device());
    ASSERT_NE(manager, nullptr);
    manager->updateDevice(device.device());
    manager->deviceBecameAvailable();

    // Fandeck i has i + 2 colours, so each loaded document says which record it came from.
    VLSyncFileList local, onDevice;
    for (int i = 0; i < 8; ++i) {
        const QString id = QStringLiteral("FD-%1").arg(i);
        const QString sku = i == 4 ? QStringLiteral("../FD-4") : id;
        const QString folder = manager->pathForGlobalFandecksFolder() + QLatin1Char('/') + id;
        QDir().mkpath(folder);
        QFile payload(folder + QStringLiteral("/payload.cxf"));
        ASSERT_TRUE(payload.open(QIODevice::WriteOnly));
        payload.write(i == 2 ? QByteArray("<CxF truncated") : largeFandeckData(i + 2));
        payload.close();
        const QVariantMap record{{"FileType", "Fandeck"}, {"FileID", id}, {"SKU", sku}, {"VersionString", "1.0"}};
        local << VLSyncFileInfo::initWithDictionary(record);
        if (i % 2 == 1) {
            QVariantMap deviceRecord = record;
            deviceRecord.insert("DeviceFileID", QStringLiteral("D-%1").arg(i));
            onDevice << VLSyncFileInfo::initWithDictionary(deviceRecord);
        }
    }
    manager->syncInfo()->setLocalFiles(local);
    manager->syncInfo()->setDeviceFiles(onDevice);

    for (int round = 0; round < 3; ++round) {
        manager->loadFandecksIntoMemory();
        QList<qsizetype> colourCounts;
        for (const HBColorDocumentPtr &document : manager->memoryFandecks())
            colourCounts << document->colors().size();
        // FD-2 does not parse, FD-4's SKU is no plain name.
        EXPECT_EQ(colourCounts, QList<qsizetype>({2, 3, 5, 7, 8, 9})) << "round " << round;
    }

    // What the manager holds from files that have not changed is not parsed again; a file
    // rewritten since is, and so is one that comes back after it could not be read.
    const QList<HBColorDocumentPtr> held = manager->memoryFandecks();
    const QString rewritten = manager->pathForGlobalFandecksFolder() + QStringLiteral("/FD-3/payload.cxf");
    QFile::remove(rewritten);
    QFile payload(rewritten);
    ASSERT_TRUE(payload.open(QIODevice::WriteOnly));
    payload.write(largeFandeckData(12));
    payload.close();
    QFile broken(manager->pathForGlobalFandecksFolder() + QStringLiteral("/FD-2/payload.cxf"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly | QIODevice::Truncate));
    broken.write(largeFandeckData(4));
    broken.close();
    manager->loadFandecksIntoMemory();
    const QList<HBColorDocumentPtr> reloaded = manager->memoryFandecks();
    ASSERT_EQ(reloaded.size(), 7);
    QList<qsizetype> colourCounts;
    for (const HBColorDocumentPtr &document : reloaded)
        colourCounts << document->colors().size();
    EXPECT_EQ(colourCounts, QList<qsizetype>({2, 3, 4, 12, 7, 8, 9}));
    EXPECT_EQ(reloaded.at(0), held.at(0));
    EXPECT_EQ(reloaded.at(1), held.at(1));
    EXPECT_NE(reloaded.at(3), held.at(2));
    EXPECT_EQ(reloaded.at(6), held.at(5));

    // Once let go, every file is read again, to the same result.
    ASSERT_TRUE(manager->releaseLoadedFandecks());
    EXPECT_TRUE(manager->memoryFandecks().isEmpty());
    manager->loadFandecksIntoMemory();
    ASSERT_EQ(manager->memoryFandecks().size(), 7);
    EXPECT_NE(manager->memoryFandecks().at(0), reloaded.at(0));
    EXPECT_EQ(manager->memoryFandecks().at(3)->colors().size(), 12);
    manager->deviceBecameUnavailable();
}
