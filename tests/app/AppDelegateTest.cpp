#include "AppTestSupport.h"
#include "Catalog.h"
#include "HBColorDocument.h"
#include "VLApplication.h"
#include "VLLoginItem.h"
#include "VLProgressStatusItem.h"
#include "VLSyncInfo.h"
#include "VLSyncWindow.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QBackingStore>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMenu>
#include <QPointer>

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
    const struct { QStringList arguments; QList<int> shown; } launches[] = {
        {{}, {}},
        {{"-VLShowClean", "YES"}, {VLStatusMenuTagCleanDevice}},
        {{"-VLShowDeveloperDebugWindow", "YES", "-VLShowUploadFile", "YES", "-VLShowLaunchAtLoginMenu", "YES"},
         {VLStatusMenuTagDebugWindow, VLStatusMenuTagUploadFile, VLStatusMenuTagLaunchAtLogin}},
    };
    for (const auto &launch : launches) {
        LaunchedApp app(launch.arguments);
        QMenu *menu = app.delegate->statusItemMenu();
        for (int tag : {1037, 1040, 1041, 1042, 1045})
            EXPECT_EQ(vlMenuItemWithTag(menu, tag) != nullptr, launch.shown.contains(tag)) << tag;
        if (!launch.arguments.isEmpty())
            continue;
        EXPECT_FALSE(VLUserDefaults::standardUserDefaults()->boolForKey(VLShowDeveloperDebugWindowKey));
        EXPECT_EQ(app.statusItem->menu(), menu);
        EXPECT_TRUE(app.statusItem->highlightMode);
        EXPECT_FALSE(app.delegate->isDeviceReady());
        // The resting image is the first frame.
        EXPECT_EQ(app.statusItem->images.last(), app.delegate->progressStatusItem()->mainImage().cacheKey());
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

TEST_F(AppWithDevice, DeviceArrivalUpdateAndRemoval)
{
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());

    ASSERT_NO_FATAL_FAILURE(plugIn());
    EXPECT_EQ(manager->delegate(), app.delegate.get());
    EXPECT_EQ(manager->device(), device.device());
    EXPECT_TRUE(manager->hasErrorList()) << "the manager was told the device became available";
    EXPECT_EQ(app.delegate->prefsWindowController()->syncManager(), manager);
    EXPECT_FALSE(manager->isJustGatheringPreliminaryInfo()) << "the service is offline: no gathering";
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Sync Now"));
    EXPECT_TRUE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());
    // Updates of the served device only refresh the menu.
    app.delegate->_deviceStatusDidChage(device.device());
    EXPECT_EQ(app.delegate->syncManager(), manager);

    // A second device is ignored, and so is its removal.
    KDScriptedDevice second(freshSerial(), deviceAttributes());
    second.plugIn();
    QTest::qWait(50);
    EXPECT_EQ(app.delegate->velmoraDevice(), device.device());
    second.unplug();
    QTest::qWait(50);
    EXPECT_EQ(app.delegate->velmoraDevice(), device.device());
    EXPECT_EQ(manager->device(), device.device());

    // The device leaves: the manager stays, without its device.
    ASSERT_TRUE(app.unplug(device));
    EXPECT_EQ(app.delegate->syncManager(), manager);
    EXPECT_FALSE(manager->device());
    EXPECT_FALSE(manager->hasErrorList());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));

    // It comes back: the same manager, given the new device, and not given the delegate again.
    manager->setDelegate(nullptr);
    app.plugIn(device);
    EXPECT_EQ(app.delegate->syncManager(), manager);
    EXPECT_EQ(manager->device(), device.device());
    EXPECT_EQ(manager->delegate(), nullptr);
    manager->setDelegate(app.delegate.get());
    ASSERT_TRUE(app.unplug(device));

    // With no device served, an update of a device with a serial number makes it the one.
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
    ASSERT_NO_FATAL_FAILURE(plugIn());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::LastSyncDateNoop), QStringLiteral("Last Sync: Never"));
    EXPECT_FALSE(app.item(VLStatusMenuAction::LastSyncDateNoop)->isEnabled());
    EXPECT_TRUE(app.item(VLStatusMenuAction::RunPreferencesPanel)->isEnabled());

    // A sync, started after the first look only when switched on: the title while it runs, the
    // animation, and both back when it has ended.
    app.delegate->syncManagerDidFinishPreliminaryInfoGathering(manager);
    EXPECT_FALSE(manager->isInSync());
    manager->setAutoSyncOnDeviceConnection(true);
    app.delegate->syncManagerDidFinishPreliminaryInfoGathering(manager);
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Synchronizing..."));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());
    EXPECT_TRUE(app.delegate->progressStatusItem()->isAnimating());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
    EXPECT_FALSE(app.delegate->progressStatusItem()->isAnimating());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Sync Now"));

    // A stored last sync date stays in the menu and the preferences after the device is unplugged.
    manager->setLastSyncDate(QDateTime(QDate(2024, 3, 5), QTime(14, 30)));
    const QString shown = app.titleOf(VLStatusMenuAction::LastSyncDateNoop);
    EXPECT_EQ(shown, QStringLiteral("Last Sync: ") + manager->lastSyncDateString());
    EXPECT_TRUE(shown.contains(QStringLiteral("2024")));
    ASSERT_TRUE(app.unplug(device));
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::LastSyncDateNoop), shown);
    VelmoraSyncPreferencesWindowController *prefs = app.delegate->prefsWindowController();
    prefs->updateInfoSectionWithDevice(KDDevicePtr());
    EXPECT_EQ(prefs->ui()->statusTextField->text(),
              QStringLiteral("Status: No device connected. Last Sync: ") + manager->lastSyncDateString());
}

TEST_F(AppWithDevice, PullingTheDeviceDuringTheFirstLookEndsIt)
{
    app.online = true; // the default service URL: the session's request is still out when the device goes
    ASSERT_NO_FATAL_FAILURE(plugIn());
    EXPECT_TRUE(manager->isJustGatheringPreliminaryInfo());
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Gathering info..."));
    EXPECT_FALSE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());
    ASSERT_TRUE(app.unplug(device));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isJustGatheringPreliminaryInfo(); }, 5000));
    EXPECT_EQ(manager->status(), 0);
    QTest::qWait(100); // late answers of the cancelled request must find nobody
    EXPECT_EQ(app.titleOf(VLStatusMenuAction::SyncNow), QStringLiteral("Device not found"));
}

TEST_F(AppWithDevice, SyncURLStartsASyncOnlyWithTheExactScheme)
{
    // Before any device: nothing to start, nothing breaks.
    app.delegate->handleGetURLEvent(QStringLiteral("x-tintera-sync://sync"));
    EXPECT_EQ(app.delegate->syncManager(), nullptr);

    endRunsAtTheFirstStep(device);
    ASSERT_NO_FATAL_FAILURE(plugIn());
    app.delegate->handleGetURLEvent(QStringLiteral("X-TINTERA-SYNC://sync"));
    EXPECT_FALSE(manager->isInSync());
    // Through the application object, as a second launch or the system would deliver it.
    emit qobject_cast<VLApplication *>(qApp)->urlOpened(QStringLiteral("x-tintera-sync://any/host?and=query"));
    EXPECT_TRUE(manager->isInSync());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
}

TEST_F(AppWithDevice, EndOfSyncEventsAndTheirFallbacks)
{
    ASSERT_NO_FATAL_FAILURE(plugIn());

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
    EXPECT_EQ(app.alerts->alerts.at(0).text,
              QStringLiteral("There were errors during sync. Please sync again in order to fix these errors."));
    EXPECT_EQ(app.alerts->alerts.at(0).button, QStringLiteral("OK"));

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

// A closing preferences window frees memory too (below, with the fandecks it lets go).
TEST(AppDelegate, FreedMemoryGoesBackOnceAfterRunsEnd)
{
    LaunchedApp app;
    VLIdleMemory *memory = app.delegate->idleMemory();
    memory->setDelayMilliseconds(30);
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    const int before = memory->releases();

    // Two run ends in a row are one quiet moment, and at rest nothing is waiting to run.
    app.delegate->syncManagerDidFinishSync(app.delegate->syncManager());
    app.delegate->syncManagerDidFinishSync(app.delegate->syncManager());
    EXPECT_TRUE(memory->releasePending());
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_EQ(memory->releases(), before + 1);

    QTest::qWait(100);
    EXPECT_FALSE(memory->releasePending());
    EXPECT_EQ(memory->releases(), before + 1);
}

// Fandecks the last export parsed are let go at rest, but not while the user may export from the
// preferences window.
TEST_F(AppWithDevice, LoadedFandecksGoAtRestOnceThePreferencesWindowIsClosed)
{
    ASSERT_NO_FATAL_FAILURE(plugIn());
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
    QPointer<QWidget> window = app.delegate->prefsWindowController()->window();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    manager->loadFandecksIntoMemory();
    ASSERT_EQ(manager->memoryFandecks().size(), 1);
    memory->releaseSoon();
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_EQ(manager->memoryFandecks().size(), 1) << "the window is open: an export may follow";
    ASSERT_FALSE(window.isNull());
    window->move(window->pos() + QPoint(40, 30));
    const QRect placed = window->geometry();

    window->close();
    ASSERT_TRUE(QTest::qWaitFor([memory] { return !memory->releasePending(); }));
    EXPECT_TRUE(manager->memoryFandecks().isEmpty());
    // The closed window went with its controller; the menu builds a new one, bound to the manager,
    // where the user had left the last.
    EXPECT_TRUE(window.isNull());
    app.delegate->runPreferencesPanel();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(app.delegate->prefsWindowController()->window()));
    EXPECT_EQ(app.delegate->prefsWindowController()->syncManager(), manager);
    EXPECT_EQ(app.delegate->prefsWindowController()->window()->geometry(), placed);
    app.delegate->prefsWindowController()->window()->close();
    // The next export reads the file again.
    manager->loadFandecksIntoMemory();
    ASSERT_EQ(manager->memoryFandecks().size(), 1);
    EXPECT_EQ(manager->memoryFandecks().first()->colors().size(), 3);
}

// A closed window gives up the image of itself Qt keeps for its next showing, and draws itself whole
// again when shown.
TEST(IdleMemory, AClosedWindowGivesUpItsBackingStore)
{
    VLIdleMemory memory(10);
    qApp->installEventFilter(&memory);
    QWidget window;
    window.resize(320, 200);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.close();
    ASSERT_TRUE(memory.releasePending());
    ASSERT_TRUE(QTest::qWaitFor([&memory] { return !memory.releasePending(); }));
    ASSERT_NE(window.backingStore(), nullptr);
    EXPECT_EQ(window.backingStore()->size(), QSize(1, 1));
    window.show();
    ASSERT_TRUE(QTest::qWaitFor([&window] { return window.backingStore()->size() == window.size(); }));
    qApp->removeEventFilter(&memory);
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
