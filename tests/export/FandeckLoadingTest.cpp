#include "Catalog.h"
#include "HBColorDocument.h"
#include "KDScriptedDevice.h"
#include "TestSupport.h"
#include "VLMatchRecord.h"
#include "VLFandeckDocumentCache.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// A manager of its own (quitting is for good) with local fandecks FD-0... whose payloads hold the
// given numbers of colours (none: a file that does not parse).
VLSyncManager *managerWithLocalFandecks(KDScriptedDevice &device, const QList<int> &colours)
{
    device.plugIn();
    VLSyncManager *manager = VLSyncManager::syncManagerWithDevice(device.device());
    manager->updateDevice(device.device());
    manager->deviceBecameAvailable();
    VLSyncFileList local;
    for (qsizetype i = 0; i < colours.size(); ++i) {
        const QString id = QStringLiteral("FD-%1").arg(i);
        const QString folder = manager->pathForGlobalFandecksFolder() + QLatin1Char('/') + id;
        writeFile(folder + QStringLiteral("/payload.cxf"), colours[i] ? largeFandeckData(colours[i]) : QByteArray("<CxF truncated"));
        local << VLSyncFileInfo::initWithDictionary({{"FileType", "Fandeck"}, {"FileID", id}, {"SKU", id}, {"VersionString", "1.0"}});
    }
    manager->syncInfo()->setLocalFiles(local);
    return manager;
}

bool writeMarker(const QString &path)
{
    QFile marker(path);
    return marker.open(QIODevice::WriteOnly) && marker.write("x") == 1;
}

} // namespace

// Fandecks are parsed side by side; what the manager holds afterwards must read as if they had
// been opened one after another: the records' order, failures left out, the map complete.
TEST(FandeckLoading, KeepsTheRecordsOrderAndLeavesOutWhatCannotBeOpened)
{
    ScopedDataFolder data;
    KDScriptedDevice device(QStringLiteral("SN-LOAD"));
    // Fandeck i has i + 2 colours, so each loaded document says which record it came from; FD-2 does
    // not parse, FD-4's SKU is no plain name, the odd ones are on the device too.
    VLSyncManager *manager = managerWithLocalFandecks(device, {2, 3, 0, 5, 6, 7, 8, 9});
    VLSyncFileList local = manager->syncInfo()->localFiles(), onDevice;
    local[4]->updateWithNewInfo({{"SKU", "../FD-4"}});
    for (int i = 1; i < 8; i += 2) {
        QVariantMap deviceRecord = local[i]->info();
        deviceRecord.insert("DeviceFileID", QStringLiteral("D-%1").arg(i));
        onDevice << VLSyncFileInfo::initWithDictionary(deviceRecord);
    }
    manager->syncInfo()->setDeviceFiles(onDevice);

    for (int round = 0; round < 3; ++round) {
        manager->loadFandecksIntoMemory();
        QList<qsizetype> colourCounts;
        for (const HBColorDocumentPtr &document : manager->memoryFandecks())
            colourCounts << document->colors().size();
        EXPECT_EQ(colourCounts, QList<qsizetype>({2, 3, 5, 7, 8, 9})) << "round " << round;
    }

    // What the manager holds from files that have not changed is not parsed again; a file
    // rewritten since is, and so is one that comes back after it could not be read.
    const QList<HBColorDocumentPtr> held = manager->memoryFandecks();
    const QString rewritten = manager->pathForGlobalFandecksFolder() + QStringLiteral("/FD-3/payload.cxf");
    QFile::remove(rewritten);
    writeFile(rewritten, largeFandeckData(12));
    writeFile(manager->pathForGlobalFandecksFolder() + QStringLiteral("/FD-2/payload.cxf"), largeFandeckData(4));
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

// An export on a worker when the program quits: quitting neither hangs on it nor leaves it
// running. Whatever moment the quit comes at, the worker is done with the manager once
// finishExportsForQuit returns, and an export either ran whole or wrote nothing.
TEST(FandeckLoading, QuittingWaitsForExportWorkersWithoutHangingOnThem)
{
    ScopedDataFolder data;
    const QStringList moments{QStringLiteral("during the load"), QStringLiteral("waiting for the main thread")};
    for (const QString &moment : moments) {
        KDScriptedDevice device(QStringLiteral("SN-QUIT-%1").arg(moments.indexOf(moment)));
        VLSyncManager *manager = managerWithLocalFandecks(device, QList<int>(6, 400));
        // An export of no matches removes the file at its path: the marker says whether it ran.
        const QString path = data.path() + QStringLiteral("/quit-%1.cxf").arg(moments.indexOf(moment));
        ASSERT_TRUE(writeMarker(path));
        std::atomic<bool> workerDone{false};
        std::thread worker([&] {
            manager->loadFandecksAndExportMatches({{}, path, false});
            workerDone = true;
        });
        if (moment == moments.last()) {
            // The worker's first call (the inventory) is answered; then the main thread stops
            // answering, as it does once its event loop has ended, while the load finishes.
            QElapsedTimer answering;
            answering.start();
            while (answering.elapsed() < 10)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
            std::this_thread::sleep_for(std::chrono::milliseconds(400));
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        manager->finishExportsForQuit();
        worker.join();
        EXPECT_TRUE(workerDone) << qPrintable(moment);
        if (!QFile::exists(path)) {
            EXPECT_EQ(manager->memoryFandecks().size(), 6) << "an export that ran had every fandeck: " << qPrintable(moment);
        }
        manager->deviceBecameUnavailable();
    }

    // After the quit, an export starts nothing.
    KDScriptedDevice device(QStringLiteral("SN-QUIT-AFTER"));
    VLSyncManager *manager = managerWithLocalFandecks(device, {400});
    manager->finishExportsForQuit();
    const QString path = data.path() + QStringLiteral("/after.cxf");
    ASSERT_TRUE(writeMarker(path));
    manager->loadFandecksAndExportMatches({{}, path, false});
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_TRUE(manager->memoryFandecks().isEmpty());
    manager->deviceBecameUnavailable();
}

// The prefetch and the load fill one cache: a load takes what the prefetch parsed while the file
// is still the one it read (here its bytes are overwritten under the same size, time and inode, so
// only a document taken from the cache can come back), and parses a file changed since.
TEST(FandeckLoading, TakesWhatThePrefetchParsedWhileItsFileIsUnchanged)
{
    ScopedDataFolder data;
    const auto write = [](const QString &path, const QByteArray &bytes) {
        QFile file(path);
        return file.open(QIODevice::ReadWrite) && file.write(bytes) == bytes.size();
    };
    const QStringList paths{data.filePath(QStringLiteral("kept.cxf")), data.filePath(QStringLiteral("changed.cxf"))};
    for (const QString &path : paths)
        ASSERT_TRUE(write(path, largeFandeckData(3)));
    VLFandeckDocumentCache cache;
    cache.prefetch(paths);
    cache.waitForPrefetch();

    struct stat before{};
    ASSERT_EQ(::stat(QFile::encodeName(paths.at(0)).constData(), &before), 0);
    ASSERT_TRUE(write(paths.at(0), QByteArray(before.st_size, 'x')));
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(paths.at(0)).constData(), times, 0), 0);
    QFile::remove(paths.at(1));
    ASSERT_TRUE(write(paths.at(1), largeFandeckData(5)));

    const std::atomic<bool> stop{false};
    const QList<VLFandeckDocumentCache::Loaded> loaded = cache.load(paths, stop);
    ASSERT_EQ(loaded.size(), 2);
    ASSERT_TRUE(loaded.at(0).document) << "taken from the prefetch, not parsed again";
    EXPECT_EQ(loaded.at(0).document->colors().size(), 3);
    ASSERT_TRUE(loaded.at(1).document);
    EXPECT_EQ(loaded.at(1).document->colors().size(), 5);
}
