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
    manager->deviceBecameUnavailable();
}
