#include "KDDeviceDirectory.h"
#include "KDScriptedDevice.h"
#include "SyncTestSupport.h"
#include "TestSupport.h"
#include "VLApplicationInfo.h"
#include "VLDataFolder.h"
#include "VLPropertyList.h"
#include "VLSyncLock.h"

#include <QDir>
#include <QFile>
#include <QLocale>

#include <gtest/gtest.h>

namespace {

int g_serial = 0;

// A manager for a fresh scripted device, with a data folder and a service that refuses connections.
struct ManagerFixture : ::testing::Test
{
    ManagerFixture()
        : device(QStringLiteral("SN-UNIT-%1").arg(++g_serial), {{"ChipId", "CHIP-1"}})
    {
        vlSetSyncProductionURLOverride(QStringLiteral("http://127.0.0.1:1/sync"));
        device.plugIn();
        manager = VLSyncManager::syncManagerWithDevice(device.device());
        manager->setDelegate(&delegate);
        manager->deviceBecameAvailable();
    }
    ~ManagerFixture() override
    {
        manager->setDelegate(nullptr);
        manager->deviceBecameUnavailable();
        vlSetSyncProductionURLOverride(QString());
    }
    QStringList commandNames() const { return device.receivedCommandNames(); }

    ScopedDataFolder data;
    KDScriptedDevice device;
    RecordingSyncDelegate delegate;
    VLSyncManager *manager = nullptr;
};

} // namespace

TEST(SyncManagerRegistry, OneManagerPerSerialNumberAndNoneWithoutAUsableOne)
{
    KDScriptedDevice first(QStringLiteral("SN-REG"));
    first.plugIn();
    KDScriptedDevice again(QStringLiteral("SN-REG"));
    again.plugIn();
    VLSyncManager *manager = VLSyncManager::syncManagerWithDevice(first.device());
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(VLSyncManager::syncManagerWithDevice(again.device()), manager);
    EXPECT_EQ(VLSyncManager::syncManagerWithDevice(KDDevicePtr()), nullptr);

    for (const char *bad : {"", "../escape", "a/b"}) {
        KDScriptedDevice odd{QString::fromLatin1(bad)};
        odd.plugIn();
        EXPECT_EQ(VLSyncManager::syncManagerWithDevice(odd.device()), nullptr) << bad;
    }
}

TEST_F(ManagerFixture, StoredDefaultsAreCreatedPerDeviceAndRememberedAcrossConnections)
{
    const QString defaultsPath = data.path() + "/Devices/" + device.device()->serialNumber() + "/defaults.plist";
    const QVariantMap created = VLPropertyList::readDictionary(defaultsPath);
    EXPECT_EQ(created.value("VLSyncManagerDefaultsAutoSync"), QVariant(false));
    EXPECT_EQ(created.value("VLSyncManagerDefaultsSyncSelectedOnly"), QVariant(false));
    EXPECT_EQ(manager->lastSyncDateString(), "Never");

    QStringList announced;
    QObject listening; // managers live for the whole process: tie the connection to the test
    QObject::connect(manager, &VLObservable::valueDidChange, &listening, [&](const QString &key) { announced << key; });
    manager->setAutoSyncOnDeviceConnection(true);
    EXPECT_EQ(announced, QStringList({"autoSyncOnDeviceConnection"}));
    manager->setUserWantsSyncForFandeckWithID(true, "FD-1");
    manager->setUserWantsSyncForFandeckWithID(true, "FD-1");
    manager->setUserWantsSyncForFandeckWithID(true, "FD-2");
    manager->setUserWantsSyncForFandeckWithID(false, "FD-2");
    const QDateTime when(QDate(2026, 3, 7), QTime(9, 5));
    manager->setLastSyncDate(when);
    QObject::disconnect(manager, nullptr, &listening, nullptr);

    manager->deviceBecameUnavailable();
    EXPECT_FALSE(manager->autoSyncOnDeviceConnection()); // no defaults while the device is away
    EXPECT_FALSE(manager->synchronizeDefaults());
    manager->deviceBecameAvailable();
    EXPECT_TRUE(manager->autoSyncOnDeviceConnection());
    EXPECT_TRUE(manager->userWantsSyncForFandeckWithID("FD-1"));
    EXPECT_FALSE(manager->userWantsSyncForFandeckWithID("FD-2"));
    EXPECT_EQ(VLPropertyList::readDictionary(defaultsPath).value("VLSyncManagerDefaultsSyncFandeckIdentifiers"),
              QVariant(QVariantList{"FD-1"}));
    EXPECT_EQ(manager->lastSyncDate(), when);
    EXPECT_NE(manager->lastSyncDateString(), "Never");
    // Hours and minutes, without the seconds Qt's C locale would add.
    const QLocale locale;
    EXPECT_FALSE(manager->lastSyncDateString().contains(locale.toString(when.toLocalTime().time(), "HH:mm:ss")));
}

TEST_F(ManagerFixture, DisplayImageIsTheLogoUnlessAConnectedDeviceGaveOne)
{
    QImage red(8, 8, QImage::Format_RGB32);
    red.fill(Qt::red);
    manager->setDisplayImage(red);
    EXPECT_EQ(manager->displayImage().pixelColor(1, 1), QColor(Qt::red));
    device.unplug();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !device.device() || !device.device()->isConnected(); }, 5000));
    manager->updateDevice(KDDevicePtr());
    const QImage logo = manager->displayImage();
    EXPECT_FALSE(logo.isNull());
    EXPECT_NE(logo.pixelColor(1, 1), QColor(Qt::red));
}

TEST_F(ManagerFixture, PreliminaryRunGathersWithoutTouchingTheDevice)
{
    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    EXPECT_EQ(delegate.events, QStringList({"beginPrelim", "finishPrelim"}));
    EXPECT_EQ(commandNames(), QStringList({"EndSync", "GetFiles"}));
    EXPECT_EQ(manager->status(), 0);
    EXPECT_FALSE(manager->isJustGatheringPreliminaryInfo());
    // Steps 1 to 7 ran in order (the failed open and file list are collected, not fatal).
    EXPECT_EQ(delegate.statuses, QList<qint32>({1, 2, 3, 4, 5, 6, 7, 0}));
    EXPECT_EQ(manager->errors().size(), 2);
}

// Another process's run of the device (a lock held through another open file here) refuses both
// kinds of run before their first step: one failWithError and nothing sent to the device.
TEST_F(ManagerFixture, ARunOfTheDeviceElsewhereRefusesARunBeforeItTouchesAnything)
{
    VLSyncLock elsewhere;
    ASSERT_TRUE(elsewhere.acquire(device.device()->serialNumber(), kdDeviceDirectory() + '\n' + vlApplicationDataFolder()).isNull());
    ASSERT_TRUE(elsewhere.isHeld());
    manager->gatherPrelimiaryInfo();
    manager->startSync();
    EXPECT_EQ(delegate.events, QStringList({"failWithError", "failWithError"}));
    EXPECT_TRUE(commandNames().isEmpty());
    EXPECT_EQ(manager->status(), 0);
    EXPECT_TRUE(manager->canStartSync());
    elsewhere.release();
    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    EXPECT_EQ(commandNames(), QStringList({"EndSync", "GetFiles"}));
}

TEST_F(ManagerFixture, FullSyncRunsEveryStepCollectsErrorsAndKeepsTheLastSyncDate)
{
    const QDateTime before(QDate(2025, 1, 1), QTime(12, 0));
    manager->setLastSyncDate(before);
    manager->startSync();
    ASSERT_TRUE(delegate.waitForFinish());
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_FALSE(delegate.wasCancelledAtFinish);
    EXPECT_EQ(commandNames(), QStringList({"EndSync", "GetFiles", "BeginSync", "SetSyncImage", "GetMeasurements",
                                            "GetFiles", "GetFiles", "SetClock", "EndSync"}));
    QList<qint32> everyStep;
    for (qint32 s = 1; s <= 28; ++s)
        everyStep << s;
    EXPECT_EQ(delegate.statuses, everyStep + QList<qint32>{0});
    // Step 21 without a reboot keeps the message of step 20.
    EXPECT_TRUE(delegate.messages.contains("Updating device..."));
    EXPECT_FALSE(delegate.messages.contains("Waiting for device..."));
    EXPECT_EQ(manager->status(), 0);
    EXPECT_TRUE(manager->statusMessage().isNull());
    ASSERT_EQ(manager->errors().size(), 2); // the unreachable service: open and file list
    EXPECT_EQ(manager->lastSyncDate(), before);
    // Every step ran: the run completed, with the errors it collected.
    EXPECT_EQ(delegate.reportAtFinish.ending, VLSyncRunReport::Ending::Completed);
    EXPECT_EQ(delegate.reportAtFinish.errors, manager->errors());
    EXPECT_TRUE(delegate.reportAtFinish.downloaded.isEmpty() && delegate.reportAtFinish.installed.isEmpty());

    const QVariantMap clock = device.receivedCommands().at(7).arguments;
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_EQ(clock.value("Year").toString(), QString::number(now.date().year()));
    EXPECT_EQ(clock.value("Month").toString(), QString::number(now.date().month())); // no leading zero
    EXPECT_EQ(device.receivedCommands().at(3).data.left(2), "BM");                   // the sync image is a BMP
}

TEST_F(ManagerFixture, ACancelDuringThePreliminaryRunEndsItAsAPreliminaryRun)
{
    QObject::connect(&device, &KDScriptedDevice::commandReceived, [&](const QString &name) {
        if (name == "GetFiles")
            manager->setIsCancellingSync(true);
    });
    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    EXPECT_EQ(delegate.events, QStringList({"beginPrelim", "finishPrelim"}));
    EXPECT_TRUE(delegate.wasCancelledAtFinish);
}

TEST_F(ManagerFixture, StatusAndMessageAnnounceChangesByIdentity)
{
    int posted = 0;
    QObject context;
    VLNotificationCenter::defaultCenter()->addObserver(VLSyncManagerSyncStatusChangedNotification, manager, &context,
                                                       [&](const VLNotification &) { ++posted; });
    manager->setStatus(5);
    manager->setStatus(5);
    EXPECT_EQ(posted, 1);
    const QString message = QStringLiteral("Working...");
    manager->setStatusMessage(message);
    manager->setStatusMessage(message);
    EXPECT_EQ(posted, 2);
    manager->setStatusMessage(QString::fromLatin1("Working..."));  // equal text, another string
    EXPECT_EQ(posted, 3);
    manager->setIsCancellingSync(true);
    manager->setStatusMessage("anything");
    EXPECT_EQ(manager->statusMessage(), "Cancelling sync...");
    manager->setIsCancellingSync(false);

    // An unknown step stops the machine where it is.
    manager->setStatus(40);
    manager->runCurrentStep();
    EXPECT_EQ(manager->status(), 40);
    manager->setStatus(0);
}

TEST_F(ManagerFixture, ServiceCallbacksInTheWrongStepAreIgnored)
{
    manager->setStatus(5);
    manager->syncSessionDidReceiveAllFiles(nullptr, {VLSyncFileInfo::initWithDictionary({{"FileID", "X"}})});
    EXPECT_EQ(manager->status(), 5);
    EXPECT_TRUE(manager->syncInfo()->webServiceFiles().isEmpty());
    manager->setStatus(0);
}

TEST_F(ManagerFixture, NoNetworkResetsToIdleWithoutAFinish)
{
    vlSetSyncProductionURLOverride(QStringLiteral("http://no-such-host.invalid/sync"));
    manager->startSync();
    ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.events.contains("networkConnectionError"); }, 30000));
    EXPECT_FALSE(delegate.events.contains("finishSync"));
    EXPECT_EQ(manager->status(), 0);
    EXPECT_TRUE(manager->errors().isEmpty());
    EXPECT_EQ(manager->runReport().ending, VLSyncRunReport::Ending::Failed);
}

TEST_F(ManagerFixture, LocalInventoryTakesOnlyCompletePackages)
{
    const QString fandecks = data.path() + "/Fandecks/";
    const QString files = data.path() + "/Files/";
    // byteLength < 0: the record gives no length; otherwise the payload holds `written` bytes.
    auto package = [](const QString &folder, const QString &payload, const QString &id, const QString &type,
                      qint64 byteLength = -1, qint64 written = 0) {
        QDir().mkpath(folder);
        QVariantMap record{{"FileID", id}, {"FileType", type}, {"VersionString", "1.0"}};
        if (byteLength >= 0)
            record.insert("ByteLength", byteLength);
        VLSyncFileInfo::initWithDictionary(record)->writeToFilename(folder + "/info.plist");
        if (!payload.isEmpty())
            writeFile(folder + "/" + payload, QByteArray(written, 'x'));
    };
    package(fandecks + "A", "payload.cxf", "A", "Fandeck");
    package(fandecks + "NoPayload", "", "B", "Fandeck");
    package(fandecks + "WrongName", "payload", "C", "Fandeck");
    package(fandecks + "Whole", "payload.cxf", "D", "Fandeck", 100, 100);
    package(fandecks + "CutShort", "payload.cxf", "E", "Fandeck", 100, 40); // as a power cut can leave it
    package(files + "FW", "payload", "FW", "Firmware");
    package(files + "NoPayload", "", "X", "Firmware");
    package(files + "Empty", "payload", "Y", "Firmware", 262144, 0);

    manager->gatherPrelimiaryInfo();
    ASSERT_TRUE(delegate.waitForFinish());
    QStringList ids;
    for (const auto &f : manager->syncInfo()->localFiles())
        ids << f->fileID();
    EXPECT_EQ(ids, QStringList({"A", "D", "FW"}));
}

TEST_F(ManagerFixture, WithoutADeviceEveryStepStillEndsAndTheRunFinishesOnce)
{
    // The device handle goes while the first command is out: every later command, the session
    // step and the inventory step have no one to talk to.
    KDScriptedDevice::Reply slow;
    slow.delay = 100;
    device.setReply("EndSync", slow);
    QObject::connect(&device, &KDScriptedDevice::commandReceived, manager, [&](const QString &name) {
        if (name == "EndSync" && manager->device())
            manager->updateDevice(KDDevicePtr());
    });
    manager->startSync();
    ASSERT_TRUE(delegate.waitForFinish(20000)) << "stalled at step " << manager->status();
    QTest::qWait(200);
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_EQ(manager->status(), 0);
    QStringList descriptions;
    for (const VLError &error : manager->errors())
        descriptions << error.localizedDescription();
    EXPECT_TRUE(descriptions.contains("Session not open")) << qPrintable(descriptions.join('\n'));
    EXPECT_GE(manager->errors().size(), 5); // session, inventory and every device command of the run
    manager->updateDevice(device.device());
}

TEST_F(ManagerFixture, ALateCompletionAfterACancelDoesNotStartTheStepsAgain)
{
    // A capture with an audio note the computer lacks: step 9 fetches it through the command queue,
    // and the user cancels while that answer is still on its way.
    KDScriptedDevice::Reply measurements;
    measurements.measurements = {KDScriptedDevice::measurementRecord({{"ColorId", "1"}, {"AudioFileName", "n.wav"}})};
    device.setReply("GetMeasurements", measurements);
    KDScriptedDevice::Reply slowNote;
    slowNote.data = "RIFF";
    slowNote.delay = 300;
    device.setReply("Download", slowNote);
    QObject::connect(&device, &KDScriptedDevice::commandReceived, manager, [&](const QString &name) {
        if (name == "Download") {
            manager->setIsCancellingSync(true);
            manager->cancelSync();
        }
    });
    manager->startSync();
    ASSERT_TRUE(delegate.waitForFinish());
    QTest::qWait(600); // the note's answer and the queue's completion arrive meanwhile
    EXPECT_EQ(delegate.events, QStringList({"beginSync", "finishSync"}));
    EXPECT_TRUE(delegate.wasCancelledAtFinish);
    // The late answer did nothing: no note written, the run's report as it was when it ended.
    EXPECT_FALSE(QFile::exists(manager->pathForGlobalAutoSyncMatchesAudioFolder() + "/n.wav"));
    EXPECT_EQ(manager->runReport().ending, VLSyncRunReport::Ending::Cancelled);
    EXPECT_EQ(manager->runReport().ended, delegate.reportAtFinish.ended);
    EXPECT_EQ(manager->runReport().errors, delegate.reportAtFinish.errors);
    EXPECT_EQ(manager->status(), 0);
    EXPECT_FALSE(manager->isInSync());
    EXPECT_EQ(commandNames().count("EndSync"), 1) << qPrintable(commandNames().join(' '));
}

// wscache.plist is read whole by every offline sync: a list past the bound is not written, and a
// file past the bound (not one this program wrote) is not read.
TEST_F(ManagerFixture, TheServiceCacheStaysWithinItsBounds)
{
    auto files = [](qsizetype count) {
        VLSyncFileList list;
        for (qsizetype i = 0; i < count; ++i)
            list.append(VLSyncFileInfo::initWithDictionary(
                {{"FileID", QStringLiteral("F%1").arg(i)}, {"FileType", "Fandeck"}, {"VersionString", "1.0"}}));
        return list;
    };
    const QString cache = manager->pathForDeviceWebServiceCache();
    manager->syncWebServiceCacheWithFiles(files(2));
    ASSERT_TRUE(QFile::exists(cache));
    manager->syncWebServiceCacheWithFiles(files(VLSyncManager::kMaximumCachedServiceFiles + 1));
    EXPECT_FALSE(QFile::exists(cache)) << "a list past the bound was written (or the old one kept)";

    struct Case
    {
        const char *name;
        qint64 padding; // whitespace after the list
        qsizetype read; // entries taken from it
    };
    for (const Case &c : {Case{"within", 0, 2}, Case{"over", VLSyncManager::kMaximumServiceCacheBytes, 0}}) {
        manager->syncWebServiceCacheWithFiles(files(2));
        QFile file(cache);
        ASSERT_TRUE(file.open(QIODevice::Append));
        ASSERT_TRUE(file.write(QByteArray(c.padding, ' ')) == c.padding);
        file.close();
        manager->gatherPrelimiaryInfo();
        ASSERT_TRUE(delegate.waitForFinish()) << c.name;
        EXPECT_EQ(manager->syncInfo()->webServiceFiles().size(), c.read) << c.name;
        delegate.events.clear();
    }
}
