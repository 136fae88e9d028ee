#include "AppTestSupport.h"
#include "Catalog.h"
#include "HBColorDocument.h"
#include "LaunchedApp.h"
#include "KDScriptedDevice.h"
#include "RecordingAlerts.h"
#include "RecordingStatusItem.h"
#include "TestSupport.h"
#include "VLApplication.h"
#include "VLLoginItem.h"
#include "VLProgressStatusItem.h"
#include "VLStatusMenu.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"
#include "VLUserDefaults.h"
#include "VelmoraSyncAppDelegate.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "VLSyncWindow.h"

#include <QAction>
#include <QBackingStore>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMenu>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QList<QJsonObject> analyticsEvents(const ScopedDataFolder &data, const QString &name)
{
    QList<QJsonObject> events;
    QFile file(data.filePath(QStringLiteral("Analytics/events.jsonl")));
    if (!file.open(QIODevice::ReadOnly))
        return events;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        if (event.value(QStringLiteral("name")).toString() == name)
            events.append(event);
    }
    return events;
}

QString attribute(const QJsonObject &event, const char *key)
{
    return event.value(QStringLiteral("attributes")).toObject().value(QString::fromLatin1(key)).toString();
}

} // namespace

TEST(AppDelegate, LaunchPrunesTheMenuAndLeavesMaintenanceItemsToLaunchArguments)
{
    // Stored values do not count: launch writes false for all four.
    VLUserDefaults::standardUserDefaults()->setBoolForKey(true, VLShowDeveloperDebugWindowKey);
    {
        LaunchedApp app;
        QMenu *menu = app.delegate->statusItemMenu();
        for (int tag : {1037, 1040, 1041, 1042, 1045})
            EXPECT_EQ(vlMenuItemWithTag(menu, tag), nullptr) << tag;
        EXPECT_FALSE(VLUserDefaults::standardUserDefaults()->boolForKey(VLShowDeveloperDebugWindowKey));
        EXPECT_EQ(app.statusItem->menu(), menu);
        EXPECT_TRUE(app.statusItem->highlightMode);
        EXPECT_FALSE(app.delegate->isDeviceReady());
        EXPECT_NE(app.delegate->deviceObserver(), nullptr);
        // The resting image is the first frame.
        EXPECT_EQ(app.statusItem->images.last(), app.delegate->progressStatusItem()->mainImage().cacheKey());
    }
    {
        LaunchedApp app({QStringLiteral("-VLShowClean"), QStringLiteral("YES")});
        QMenu *menu = app.delegate->statusItemMenu();
        EXPECT_NE(vlMenuItemWithTag(menu, VLStatusMenuTagCleanDevice), nullptr);
        for (int tag : {1037, 1040, 1042, 1045})
            EXPECT_EQ(vlMenuItemWithTag(menu, tag), nullptr) << tag;
    }
    {
        LaunchedApp app({QStringLiteral("-VLShowDeveloperDebugWindow"), QStringLiteral("YES"),
                         QStringLiteral("-VLShowUploadFile"), QStringLiteral("YES"),
                         QStringLiteral("-VLShowLaunchAtLoginMenu"), QStringLiteral("YES")});
        QMenu *menu = app.delegate->statusItemMenu();
        for (int tag : {1040, 1042, 1045})
            EXPECT_NE(vlMenuItemWithTag(menu, tag), nullptr) << tag;
        EXPECT_EQ(vlMenuItemWithTag(menu, VLStatusMenuTagCleanDevice), nullptr);
    }
}

TEST(AppDelegate, LaunchAtLoginStaysOff)
{
    LaunchedApp app({QStringLiteral("-VLShowLaunchAtLoginMenu"), QStringLiteral("YES")});
    EXPECT_FALSE(app.delegate->launchAtLogin());
    EXPECT_FALSE(VLUserDefaults::standardUserDefaults()->boolForKey(VLLaunchAtLoginKey)) << "launch stores false";

    // Choosing the item stores true, but the helper stays unregistered and the mark off.
    vlLoginItemSetEnabled(VLLoginItemHelperIdentifier, true);
    app.item(VLStatusMenuAction::SwitchRunAtStartFromMenu)->trigger();
    EXPECT_TRUE(VLUserDefaults::standardUserDefaults()->boolForKey(VLLaunchAtLoginKey));
    EXPECT_FALSE(vlLoginItemIsEnabled(VLLoginItemHelperIdentifier));
    app.delegate->updateMenu();
    EXPECT_FALSE(app.item(VLStatusMenuAction::SwitchRunAtStartFromMenu)->isChecked());
    EXPECT_TRUE(app.item(VLStatusMenuAction::SwitchRunAtStartFromMenu)->isEnabled());
}

TEST(AppDelegate, DeviceArrivalUpdateAndRemoval)
{
    LaunchedApp app;
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());

    KDScriptedDevice first(freshSerial(), deviceAttributes());
    app.plugIn(first);
    ASSERT_EQ(app.delegate->velmoraDevice(), first.device());
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->delegate(), app.delegate.get());
    EXPECT_EQ(manager->device(), first.device());
    EXPECT_TRUE(manager->hasErrorList()) << "the manager was told the device became available";
    EXPECT_EQ(app.delegate->prefsWindowController()->syncManager(), manager);
    EXPECT_FALSE(manager->isJustGatheringPreliminaryInfo()) << "the service is offline: no gathering";
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Sync Now"));
    EXPECT_TRUE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());

    // A second device is ignored, and so is its removal.
    KDScriptedDevice second(freshSerial(), deviceAttributes());
    second.plugIn();
    QTest::qWait(50);
    EXPECT_EQ(app.delegate->velmoraDevice(), first.device());
    second.unplug();
    QTest::qWait(50);
    EXPECT_EQ(app.delegate->velmoraDevice(), first.device());
    EXPECT_EQ(manager->device(), first.device());

    // The device leaves: the manager stays, without its device.
    first.unplug();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app.delegate->velmoraDevice(); }, 5000));
    EXPECT_EQ(app.delegate->syncManager(), manager);
    EXPECT_FALSE(manager->device());
    EXPECT_FALSE(manager->hasErrorList());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));

    // It comes back: the same manager, given the new device, and not given the delegate again.
    manager->setDelegate(nullptr);
    app.plugIn(first);
    ASSERT_EQ(app.delegate->velmoraDevice(), first.device());
    EXPECT_EQ(app.delegate->syncManager(), manager);
    EXPECT_EQ(manager->device(), first.device());
    EXPECT_EQ(manager->delegate(), nullptr);
    manager->setDelegate(app.delegate.get());
    first.unplug();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !app.delegate->velmoraDevice(); }, 5000));
}

TEST_F(AppWithDevice, AnUpdateMakesADeviceReadyWhenNoneIsServed)
{
    device.plugIn();
    ASSERT_TRUE(QTest::qWaitFor([&] { return app.delegate->velmoraDevice() == device.device(); }, 5000));
    // Updates of the served device only refresh the menu.
    VLSyncManager *manager = app.delegate->syncManager();
    app.delegate->_deviceStatusDidChage(device.device());
    EXPECT_EQ(app.delegate->syncManager(), manager);
    EXPECT_EQ(app.delegate->velmoraDevice(), device.device());

    // With no device served, an update of a device with a serial number makes it the one.
    ASSERT_TRUE(app.unplug(device));
    KDScriptedDevice other(freshSerial(), deviceAttributes());
    other.plugIn();
    ASSERT_TRUE(QTest::qWaitFor([&] { return app.delegate->velmoraDevice() == other.device(); }, 5000));
    app.delegate->_deviceWasRemoved(device.device()); // not the served one: nothing happens
    EXPECT_EQ(app.delegate->velmoraDevice(), other.device());
    other.unplug();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app.delegate->velmoraDevice(); }, 5000));
    KDScriptedDevice third(freshSerial(), deviceAttributes());
    app.delegate->_deviceStatusDidChage(third.device());
    EXPECT_EQ(app.delegate->velmoraDevice(), third.device());
    ASSERT_NE(app.delegate->syncManager(), nullptr);
    EXPECT_EQ(app.delegate->syncManager()->device(), third.device());
    app.delegate->_deviceWasRemoved(third.device());
    EXPECT_FALSE(app.delegate->velmoraDevice());
}

TEST_F(AppWithDevice, MenuTitlesFollowTheManager)
{
    endRunsAtTheFirstStep(device);
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::LastSyncDateNoop), QStringLiteral("Last Sync: Never"));
    EXPECT_FALSE(app.item(VLStatusMenuAction::LastSyncDateNoop)->isEnabled());
    EXPECT_TRUE(app.item(VLStatusMenuAction::RunPreferencesPanel)->isEnabled());

    manager->setIsJustGatheringPreliminaryInfo(true);
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Gathering info..."));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());
    manager->setIsJustGatheringPreliminaryInfo(false);

    // A sync: the title while it runs, the animation, and both back when it has ended.
    manager->startSync();
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Synchronizing..."));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());
    EXPECT_TRUE(app.delegate->progressStatusItem()->isAnimating());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
    EXPECT_FALSE(app.delegate->progressStatusItem()->isAnimating());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Sync Now"));

    // A stored last sync date.
    const QDateTime date(QDate(2024, 3, 5), QTime(14, 30));
    manager->setLastSyncDate(date);
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::LastSyncDateNoop), QStringLiteral("Last Sync: ") + manager->lastSyncDateString());
    EXPECT_TRUE(app.titleOf(VLStatusMenuAction::LastSyncDateNoop).contains(QStringLiteral("2024")));
    ASSERT_TRUE(app.unplug(device));
}

TEST_F(AppWithDevice, PullingTheDeviceDuringTheFirstLookEndsIt)
{
    app.online = true; // the default service URL: the session's request is still out when the device goes
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_TRUE(manager->isJustGatheringPreliminaryInfo());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Gathering info..."));
    ASSERT_TRUE(app.unplug(device));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isJustGatheringPreliminaryInfo(); }, 5000));
    EXPECT_EQ(manager->status(), 0);
    QTest::qWait(100); // late answers of the cancelled request must find nobody
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));
}

TEST(AppDelegate, SyncURLStartsASyncOnlyWithTheExactScheme)
{
    LaunchedApp app;
    // Before any device: nothing to start, nothing breaks.
    app.delegate->handleGetURLEvent(QStringLiteral("x-tintera-sync://sync"));
    EXPECT_EQ(app.delegate->syncManager(), nullptr);

    KDScriptedDevice device(freshSerial(), deviceAttributes());
    endRunsAtTheFirstStep(device);
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);

    app.delegate->handleGetURLEvent(QStringLiteral("X-TINTERA-SYNC://sync"));
    app.delegate->handleGetURLEvent(QStringLiteral("https://x-tintera-sync/"));
    EXPECT_FALSE(manager->isInSync());
    // Through the application object, as a second launch or the system would deliver it.
    emit qobject_cast<VLApplication *>(qApp)->urlOpened(QStringLiteral("x-tintera-sync://any/host?and=query"));
    EXPECT_TRUE(manager->isInSync());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
    ASSERT_TRUE(app.unplug(device));
}

TEST_F(AppWithDevice, EndOfSyncEventsAndTheirFallbacks)
{
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);

    // An empty error list (the device is still attached) and no recorded serial number.
    manager->setLastSyncedDeviceSerialNumber(QString());
    app.delegate->syncManagerDidFinishSync(manager);
    QList<QJsonObject> ends = analyticsEvents(app.data, QStringLiteral("sync_end_err"));
    ASSERT_EQ(ends.size(), 1);
    EXPECT_EQ(attribute(ends.at(0), "device"), QStringLiteral("-unknown-"));
    EXPECT_EQ(attribute(ends.at(0), "error"), QStringLiteral("0"));
    EXPECT_TRUE(app.alerts->alerts.isEmpty()) << "no errors, no alert";

    // The last error's code, and the serial number when there is one; one alert.
    manager->setLastSyncedDeviceSerialNumber(device.device()->serialNumber());
    manager->syncDidReceiveErrorRunNextStep(VLError(QStringLiteral("SyncManager"), 7, QStringLiteral("first")), false);
    manager->syncDidReceiveErrorRunNextStep(VLError(QStringLiteral("SyncManager"), -1024, QStringLiteral("last")), false);
    app.delegate->syncManagerDidFinishSync(manager);
    ends = analyticsEvents(app.data, QStringLiteral("sync_end_err"));
    ASSERT_EQ(ends.size(), 2);
    EXPECT_EQ(attribute(ends.at(1), "device"), device.device()->serialNumber());
    EXPECT_EQ(attribute(ends.at(1), "error"), QStringLiteral("-1024"));
    ASSERT_EQ(app.alerts->alerts.size(), 1);
    EXPECT_EQ(app.alerts->alerts.at(0).title, QStringLiteral("TINTERA Sync Error"));
    EXPECT_EQ(app.alerts->alerts.at(0).text,
              QStringLiteral("There were errors during sync. Please sync again in order to fix these errors."));
    EXPECT_EQ(app.alerts->alerts.at(0).button, QStringLiteral("OK"));
    EXPECT_FALSE(app.delegate->showingModalAlert());

    // No error list at all (the device went away): "sync_end_ok" with its own fallback.
    ASSERT_TRUE(app.unplug(device));
    const int okBefore = int(analyticsEvents(app.data, QStringLiteral("sync_end_ok")).size());
    manager->setLastSyncedDeviceSerialNumber(QString());
    app.delegate->syncManagerDidFinishSync(manager);
    QList<QJsonObject> oks = analyticsEvents(app.data, QStringLiteral("sync_end_ok"));
    ASSERT_EQ(oks.size(), okBefore + 1);
    EXPECT_EQ(attribute(oks.last(), "device"), QStringLiteral("-unknown"));
    EXPECT_EQ(attribute(oks.last(), "error"), QString());

    // While an alert is up, a finishing sync sends nothing and shows nothing.
    const int errBefore = int(analyticsEvents(app.data, QStringLiteral("sync_end_err")).size());
    app.delegate->setShowingModalAlert(true);
    app.delegate->syncManagerDidFinishSync(manager);
    app.delegate->setShowingModalAlert(false);
    EXPECT_EQ(analyticsEvents(app.data, QStringLiteral("sync_end_ok")).size(), okBefore + 1);
    EXPECT_EQ(analyticsEvents(app.data, QStringLiteral("sync_end_err")).size(), errBefore);
    EXPECT_EQ(app.alerts->alerts.size(), 1);
}

TEST(AppDelegate, FreedMemoryGoesBackOnceAfterASyncEndsOrAWindowCloses)
{
    LaunchedApp app;
    VLIdleMemory *memory = app.delegate->idleMemory();
    memory->setDelayMilliseconds(30);
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    const int before = memory->releases();

    // Two run ends in a row are one quiet moment.
    app.delegate->syncManagerDidFinishSync(app.delegate->syncManager());
    app.delegate->syncManagerDidFinishSync(app.delegate->syncManager());
    EXPECT_TRUE(memory->releasePending());
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_EQ(memory->releases(), before + 1);

    // A window that closes.
    app.delegate->runPreferencesPanel();
    QWidget *window = app.delegate->prefsWindowController()->window();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    const int opened = memory->releases();
    window->close();
    EXPECT_TRUE(memory->releasePending());
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_EQ(memory->releases(), opened + 1);
    // The closed window gave up the image of itself it keeps for its next showing, and draws itself
    // whole again when shown.
    ASSERT_NE(window->backingStore(), nullptr);
    EXPECT_EQ(window->backingStore()->size(), QSize(1, 1));
    app.delegate->runPreferencesPanel();
    ASSERT_TRUE(QTest::qWaitFor([window] { return window->backingStore()->size() == window->size(); }));
    window->close();
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    const int closedAgain = memory->releases();

    // At rest nothing is waiting to run.
    QTest::qWait(100);
    EXPECT_FALSE(memory->releasePending());
    EXPECT_EQ(memory->releases(), closedAgain);
}

// Fandecks the last export parsed are let go at rest, but not while the user may export from the
// preferences window.
TEST_F(AppWithDevice, LoadedFandecksGoAtRestOnceThePreferencesWindowIsClosed)
{
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);
    const QString folder = manager->pathForGlobalFandecksFolder() + QStringLiteral("/FD-1");
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile payload(folder + QStringLiteral("/payload.cxf"));
    ASSERT_TRUE(payload.open(QIODevice::WriteOnly));
    payload.write(largeFandeckData(3));
    payload.close();
    manager->syncInfo()->setLocalFiles({VLSyncFileInfo::initWithDictionary(
        {{"FileType", "Fandeck"}, {"FileID", "FD-1"}, {"SKU", "FD-1"}, {"VersionString", "1.0"}})});

    VLIdleMemory *memory = app.delegate->idleMemory();
    memory->setDelayMilliseconds(30);
    app.delegate->runPreferencesPanel();
    QWidget *window = app.delegate->prefsWindowController()->window();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    manager->loadFandecksIntoMemory();
    ASSERT_EQ(manager->memoryFandecks().size(), 1);
    memory->releaseSoon();
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_EQ(manager->memoryFandecks().size(), 1) << "the window is open: an export may follow";

    window->close();
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_TRUE(manager->memoryFandecks().isEmpty());
    // The next export reads the file again.
    manager->loadFandecksIntoMemory();
    ASSERT_EQ(manager->memoryFandecks().size(), 1);
    EXPECT_EQ(manager->memoryFandecks().first()->colors().size(), 3);
}

TEST(AppDelegate, ErrorAlertsShowOneAtATime)
{
    LaunchedApp app;
    // A second network error while the first alert is up shows nothing more.
    app.alerts->whileShown = [&] { app.delegate->networkConnectionError(); };
    app.delegate->networkConnectionError();
    ASSERT_EQ(app.alerts->alerts.size(), 1);
    EXPECT_EQ(app.alerts->alerts.at(0).title, QStringLiteral("TINTERA Sync Error"));
    EXPECT_EQ(app.alerts->alerts.at(0).text,
              QStringLiteral("You do not appear to be connected to the Internet.  Please connect and sync again."));
    EXPECT_FALSE(app.delegate->showingModalAlert());
    // Once dismissed, the next error shows again.
    app.delegate->networkConnectionError();
    EXPECT_EQ(app.alerts->alerts.size(), 2);

    // A fatal error goes to the standard error presentation and ends the animation and title.
    app.delegate->progressStatusItem()->startAnimating();
    app.statusItem->setTitle(QStringLiteral(" Working"));
    app.delegate->syncManagerSyncDidFailWithError(nullptr, VLError(QStringLiteral("SyncManager"), 3, QStringLiteral("x")));
    ASSERT_EQ(app.alerts->presentedErrors.size(), 1);
    EXPECT_EQ(app.alerts->presentedErrors.at(0).code(), 3);
    EXPECT_FALSE(app.delegate->progressStatusItem()->isAnimating());
    EXPECT_EQ(app.statusItem->title(), QString());
}

TEST_F(AppWithDevice, AutomaticSyncAfterPreliminaryInfoOnlyWhenSwitchedOn)
{
    endRunsAtTheFirstStep(device);
    app.plugIn(device);
    VLSyncManager *manager = app.delegate->syncManager();
    ASSERT_NE(manager, nullptr);

    app.delegate->syncManagerDidFinishPreliminaryInfoGathering(manager);
    EXPECT_FALSE(manager->isInSync());
    manager->setAutoSyncOnDeviceConnection(true);
    app.delegate->syncManagerDidFinishPreliminaryInfoGathering(manager);
    EXPECT_TRUE(manager->isInSync());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
    ASSERT_TRUE(app.unplug(device));
}

TEST(AppDelegate, CleanDeviceRunsCleanThenRebootThenTheAlert)
{
    LaunchedApp app({QStringLiteral("-VLShowClean"), QStringLiteral("YES")});
    // Without a device the item does nothing.
    app.item(VLStatusMenuAction::CleanDevice)->trigger();
    EXPECT_TRUE(app.alerts->alerts.isEmpty());

    KDScriptedDevice device(freshSerial(), deviceAttributes());
    // The device's answer is not examined: an error answer still leads to the reboot.
    device.setReply(QStringLiteral("HiddenClean"),
                    KDScriptedDevice::Reply{.error = VLError(QStringLiteral("KDErrorDomain"), 5, QStringLiteral("no"))});
    app.plugIn(device);
    app.item(VLStatusMenuAction::CleanDevice)->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app.alerts->alerts.isEmpty(); }, 10000));
    EXPECT_EQ(device.receivedCommandNames().filter(QRegularExpression("HiddenClean|Reboot")),
              (QStringList{"HiddenClean", "Reboot"}));
    EXPECT_EQ(app.alerts->alerts.at(0).title, QStringLiteral("Clean Device"));
    EXPECT_EQ(app.alerts->alerts.at(0).text, QStringLiteral("Device cleaning has completed."));
    EXPECT_EQ(app.alerts->alerts.at(0).style, VLAlertPresenter::Style::Information);
    EXPECT_TRUE(app.unplug(device));
}
