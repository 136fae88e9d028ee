#include "VelmoraSyncAppDelegate.h"

#include "KDDeviceObserver.h"
#include "TMAnalytics.h"
#include "TSLogger.h"
#include "VLAlertPresenter.h"
#include "VLApplication.h"
#include "VLApplicationInfo.h"
#include "VLDeviceVocabulary.h"
#include "VLDebugWindowController.h"
#include "VLErrorWindowController.h"
#include "VLFormat.h"
#include "VLMeasurementLibrary.h"
#include "VLMeasurementsWindow.h"
#include "VLLoginItem.h"
#include "VLNotifier.h"
#include "VLProgressStatusItem.h"
#include "VLReachability.h"
#include "VLSyncAdvice.h"
#include "VLStatusMenu.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"
#include "VLSyncStallWatchdog.h"
#include "VLSyncWindow.h"
#include "VLSystemStatusItem.h"
#include "VLURLScheme.h"
#include "VLUploadFileWindowController.h"
#include "VLUserDefaults.h"
#include "VelmoraSyncPreferencesWindowController.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QMenu>

#include <cmath>

const QString VLLaunchAtLoginKey = QStringLiteral("VLLaunchAtLogin");
const QString VLShowDeveloperDebugWindowKey = QStringLiteral("VLShowDeveloperDebugWindow");
const QString VLShowCleanKey = QStringLiteral("VLShowClean");
const QString VLShowUploadFileKey = QStringLiteral("VLShowUploadFile");
const QString VLShowLaunchAtLoginMenuKey = QStringLiteral("VLShowLaunchAtLoginMenu");
const QString VLLoginItemHelperIdentifier = QStringLiteral("com.kalvex.TinteraSyncHelper");
const QString VLVelmoraDeviceName = QStringLiteral("Velmora");

namespace {

const QString kShowMeasurementsAction = QStringLiteral("show-measurements");
const QString kDetailsAction = QStringLiteral("details");
// Errors named in the end-of-sync alert itself; the error window lists them all.
constexpr int kErrorsInAlert = 3;

} // namespace

VelmoraSyncAppDelegate::Platform VelmoraSyncAppDelegate::systemPlatform()
{
    Platform platform;
    platform.createStatusItem = [] { return vlCreateSystemStatusItem(tr("TINTERA Sync")); };
    platform.alerts = std::make_shared<VLMessageBoxAlertPresenter>();
    platform.syncServiceOnline = [] { return vlHostIsReachable(vlHostOfURL(vlSyncProductionURL())); };
    platform.notifier = vlCreateSystemNotifier();
    platform.openWithDesktop = [](const QString &path, VLOpenedHandler done) {
        vlOpenWithDesktop(path, qApp, std::move(done));
    };
    return platform;
}

VelmoraSyncAppDelegate::VelmoraSyncAppDelegate(Platform platform, QObject *parent)
    : QObject(parent)
    , m_platform(std::move(platform))
    , m_stallTimeoutMilliseconds(VLSyncStallWatchdog::defaultTimeoutMilliseconds)
{
    if (!m_platform.alerts)
        m_platform.alerts = std::make_shared<VLMessageBoxAlertPresenter>();
    if (!m_platform.openWithDesktop)
        m_platform.openWithDesktop = [this](const QString &path, VLOpenedHandler done) {
            vlOpenWithDesktop(path, this, std::move(done));
        };
}

VelmoraSyncAppDelegate::~VelmoraSyncAppDelegate()
{
    // Managers outlive the delegate (they are kept per serial number for the process).
    if (m_syncManager && m_syncManager->delegate() == this)
        m_syncManager->setDelegate(nullptr);
    delete m_statusItemMenu;
}

void VelmoraSyncAppDelegate::applicationDidFinishLaunching()
{
    // First, so that crash reporting covers everything after it.
    TMAnalytics::analytics();

    VLUserDefaults *defaults = VLUserDefaults::standardUserDefaults();
    defaults->registerDefaults({{VLLaunchAtLoginKey, true}});
    setLaunchAtLogin(launchAtLogin());

    // An accessory application: it lives in the status area and closing its windows ends nothing.
    QApplication::setQuitOnLastWindowClosed(false);
    qApp->installEventFilter(&m_idleMemory);
    // At rest the fandecks the last export parsed are megabytes nobody reads: every export loads them
    // again. While the preferences window is open the user may export from it, so they stay until it closes.
    connect(&m_idleMemory, &VLIdleMemory::aboutToRelease, this, [this] {
        const bool mayExport = m_prefsWindowController && m_prefsWindowController->window()
                               && m_prefsWindowController->window()->isVisible();
        if (m_syncManager && !mayExport)
            m_syncManager->releaseLoadedFandecks();
        // A closed preferences window is a few hundred kilobytes of widgets, models and observers the
        // tray would keep for nothing between two openings; the next opening builds it anew. Not while a
        // modal box runs: one of the controller's own methods may be waiting for it.
        if (m_prefsWindowController && m_prefsWindowController->isAtRest() && !QApplication::activeModalWidget()) {
            m_prefsWindowGeometry = m_prefsWindowController->window()->saveGeometry();
            m_prefsWindowController.reset();
        }
    });
    m_isDeviceReady = false;

    m_statusItemMenu = vlCreateStatusMenu();
    connectMenuActions();
    vlRemoveMenuItemWithTag(m_statusItemMenu, VLStatusMenuTagCheckForUpdates);

    // The maintenance items are stored as off on every launch, so only a value from a domain above
    // the stored one (a launch argument such as "-VLShowClean YES") keeps them in the menu.
    for (const QString &key : {VLShowDeveloperDebugWindowKey, VLShowCleanKey, VLShowUploadFileKey, VLShowLaunchAtLoginMenuKey})
        defaults->setBoolForKey(false, key);
    defaults->synchronize();
    const std::pair<QString, int> hiddenItems[] = {
        {VLShowLaunchAtLoginMenuKey, VLStatusMenuTagLaunchAtLogin},
        {VLShowDeveloperDebugWindowKey, VLStatusMenuTagDebugWindow},
        {VLShowCleanKey, VLStatusMenuTagCleanDevice},
        {VLShowUploadFileKey, VLStatusMenuTagUploadFile},
    };
    for (const auto &[key, tag] : hiddenItems) {
        if (!defaults->boolForKey(key))
            vlRemoveMenuItemWithTag(m_statusItemMenu, tag);
    }

    std::shared_ptr<VLStatusItem> statusItem =
        m_platform.createStatusItem ? m_platform.createStatusItem() : vlCreateSystemStatusItem(tr("TINTERA Sync"));
    m_progressStatusItem = std::make_unique<VLProgressStatusItem>(statusItem);
    statusItem->setMenu(m_statusItemMenu);
    statusItem->setHighlightMode(true);

    m_deviceObserver = KDDeviceObserver::initWithDeviceName(VLVelmoraDeviceName);
    const QPointer<VelmoraSyncAppDelegate> weakSelf(this);
    m_deviceObserver->setDeviceArrivalBlock([weakSelf](const KDDevicePtr &device) {
        if (weakSelf)
            weakSelf->_deviceWasAdded(device);
    });
    m_deviceObserver->setDeviceUpdateBlock([weakSelf](const KDDevicePtr &device) {
        if (weakSelf)
            weakSelf->_deviceStatusDidChage(device);
    });
    m_deviceObserver->setDeviceRemovalBlock([weakSelf](const KDDevicePtr &device) {
        if (weakSelf)
            weakSelf->_deviceWasRemoved(device);
    });

    // The URL handler: macOS delivers URLs as file-open events; other launches hand theirs over
    // through the single-instance socket (main.cpp).
    if (auto *application = qobject_cast<VLApplication *>(QCoreApplication::instance()))
        connect(application, &VLApplication::urlOpened, this, &VelmoraSyncAppDelegate::handleGetURLEvent);
}

void VelmoraSyncAppDelegate::connectMenuActions()
{
    connect(m_statusItemMenu, &QMenu::aboutToShow, this, &VelmoraSyncAppDelegate::updateMenu);
    for (QAction *item : m_statusItemMenu->actions()) {
        void (VelmoraSyncAppDelegate::*action)() = nullptr;
        switch (vlMenuItemAction(item)) {
        case VLStatusMenuAction::SyncNow:
            action = &VelmoraSyncAppDelegate::syncNow;
            break;
        case VLStatusMenuAction::CancelSync:
            action = &VelmoraSyncAppDelegate::cancelSync;
            break;
        case VLStatusMenuAction::LastSyncDateNoop:
            action = &VelmoraSyncAppDelegate::lastSyncDateNoop;
            break;
        case VLStatusMenuAction::RunPreferencesPanel:
            action = &VelmoraSyncAppDelegate::runPreferencesPanel;
            break;
        case VLStatusMenuAction::ShowMeasurementsWindow:
            action = &VelmoraSyncAppDelegate::runMeasurementsWindow;
            break;
        case VLStatusMenuAction::SwitchRunAtStartFromMenu:
            action = &VelmoraSyncAppDelegate::switchRunAtStartFromMenu;
            break;
        case VLStatusMenuAction::RunDebugWindow:
            action = &VelmoraSyncAppDelegate::runDebugWindow;
            break;
        case VLStatusMenuAction::CleanDevice:
            action = &VelmoraSyncAppDelegate::cleanDevice;
            break;
        case VLStatusMenuAction::UploadFile:
            action = &VelmoraSyncAppDelegate::uploadFile;
            break;
        case VLStatusMenuAction::Terminate:
            connect(item, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
            break;
        case VLStatusMenuAction::None:
            break;
        }
        if (action)
            connect(item, &QAction::triggered, this, action);
    }
}

// ---- window controllers, each created on first access ----

VelmoraSyncPreferencesWindowController *VelmoraSyncAppDelegate::prefsWindowController()
{
    if (!m_prefsWindowController) {
        m_prefsWindowController = std::make_unique<VelmoraSyncPreferencesWindowController>();
        m_prefsWindowController->setSyncManager(m_syncManager);
        connect(m_prefsWindowController.get(), &VelmoraSyncPreferencesWindowController::measurementsRequested, this,
                &VelmoraSyncAppDelegate::runMeasurementsWindow);
        // Where the user left the last one.
        if (!m_prefsWindowGeometry.isEmpty())
            m_prefsWindowController->window()->restoreGeometry(m_prefsWindowGeometry);
        // A window built in the middle of a download shows it as one that saw it begin would.
        if (m_downloading)
            m_prefsWindowController->startProgress();
        if (m_downloadFraction >= 0)
            m_prefsWindowController->setProgressValue(m_downloadFraction * 100.0);
    }
    return m_prefsWindowController.get();
}

VLErrorWindowController *VelmoraSyncAppDelegate::errorWindowController()
{
    if (!m_errorWindowController)
        m_errorWindowController = std::make_unique<VLErrorWindowController>();
    return m_errorWindowController.get();
}

VLDebugWindowController *VelmoraSyncAppDelegate::debugWindowController()
{
    if (!m_debugWindowController) {
        m_debugWindowController = std::make_unique<VLDebugWindowController>();
        m_debugWindowController->setSyncManager(m_syncManager);
    }
    return m_debugWindowController.get();
}

VLUploadFileWindowController *VelmoraSyncAppDelegate::uploadFileWindowController()
{
    if (!m_uploadFileWindowController)
        m_uploadFileWindowController = std::make_unique<VLUploadFileWindowController>(m_platform.alerts);
    m_uploadFileWindowController->setSyncManager(m_syncManager);
    return m_uploadFileWindowController.get();
}

// ---- launch at login ----

bool VelmoraSyncAppDelegate::launchAtLogin() const
{
    return false;
}

void VelmoraSyncAppDelegate::setLaunchAtLogin(bool launchAtLogin)
{
    VLUserDefaults *defaults = VLUserDefaults::standardUserDefaults();
    defaults->setBoolForKey(launchAtLogin, VLLaunchAtLoginKey);
    defaults->synchronize();
    // Registers what launchAtLogin() answers, not the flag given, so the login item stays off.
    if (vlLoginItemSetEnabled(VLLoginItemHelperIdentifier, this->launchAtLogin()))
        VL_LOG("Launch at login successful");
    else
        VL_LOG("Could not store login item");
}

// ---- sync manager callbacks ----

void VelmoraSyncAppDelegate::setStallTimeoutMilliseconds(int milliseconds)
{
    m_stallTimeoutMilliseconds = qMax(0, milliseconds);
    if (m_watchdog)
        m_watchdog->setTimeoutMilliseconds(m_stallTimeoutMilliseconds);
}

int VelmoraSyncAppDelegate::stallTimeoutFromArguments(const QStringList &arguments, int fallback)
{
    const qsizetype at = arguments.indexOf(QStringLiteral("--stall-timeout"));
    if (at < 0 || at + 1 >= arguments.size())
        return fallback;
    bool ok = false;
    const int seconds = arguments.at(at + 1).toInt(&ok);
    return ok && seconds >= 0 && seconds <= 24 * 3600 ? seconds * 1000 : fallback;
}

void VelmoraSyncAppDelegate::runEnded()
{
    if (m_watchdog)
        m_watchdog->runEnded();
    m_downloadFraction = -1;
    m_shownPercent = -1;
    // A cancel or a stall ends the run inside a download, which then never reports its end: the bar
    // would stay where it was, or busy.
    m_downloading = false;
    if (m_prefsWindowController)
        m_prefsWindowController->stopProgress();
    m_firmwareNoticeShown.clear();
    m_idleMemory.releaseSoon();
}

void VelmoraSyncAppDelegate::syncManagerChangedImage(VLSyncManager *, const QImage &image)
{
    if (m_watchdog)
        m_watchdog->noteProgress();
    if (m_syncManager)
        m_syncManager->setDisplayImage(image);
}

void VelmoraSyncAppDelegate::syncManagerDidBeginSync(VLSyncManager *)
{
    m_downloadFraction = -1;
    m_shownPercent = -1;
    if (m_watchdog)
        m_watchdog->runBegan();
    updateMenu();
    m_progressStatusItem->startAnimating();
    VL_LOG("[VelmoraSyncAppDelegate syncManagerDidBeginSync:]");
}

void VelmoraSyncAppDelegate::syncManagerDidFinishSync(VLSyncManager *manager)
{
    runEnded();
    updateMenu();
    m_progressStatusItem->stopAnimating();
    setStatusTitle(QString(QLatin1String("")));
    if (!manager)
        return;

    if (!m_showingModalAlert) {
        const QString serial = manager->lastSyncedDeviceSerialNumber();
        // Whether the list exists decides, not whether it is empty: a clean sync with the device
        // still attached is reported as "sync_end_err" with error 0. The two fallbacks differ on
        // purpose; reports are grouped by the exact text.
        if (!manager->hasErrorList()) {
            TMAnalytics::analytics()->logEventParameters(
                QStringLiteral("sync_end_ok"),
                {{QStringLiteral("device"), serial.isEmpty() ? QStringLiteral("-unknown") : serial}});
        } else {
            const QList<VLError> errors = manager->errors();
            const qint64 code = errors.isEmpty() ? 0 : errors.last().code();
            TMAnalytics::analytics()->logEventParameters(
                QStringLiteral("sync_end_err"),
                {{QStringLiteral("device"), serial.isEmpty() ? QStringLiteral("-unknown-") : serial},
                 {QStringLiteral("error"), QString::number(code)}});
        }
    }

    const QList<VLError> errors = manager->errors();
    notifySyncEnded(manager);
    if (!m_showingModalAlert && !errors.isEmpty()) {
        VL_LOG("[VelmoraSyncAppDelegate syncManagerDidFinishSync:]");
        VL_LOG("----------------------------");
        QVariantList descriptions;
        for (const VLError &error : errors)
            descriptions.append(error.description());
        VL_LOG("ERRORS: %@", QVariant(descriptions));
        VL_LOG("----------------------------");
        // The causes themselves, not only that there were some; the error window lists every one.
        QStringList causes;
        for (const VLError &error : errors.mid(0, kErrorsInAlert))
            causes << VLErrorWindowController::textForError(error);
        if (errors.size() > kErrorsInAlert)
            causes << tr("and %1 more").arg(errors.size() - kErrorsInAlert);
        m_showingModalAlert = true;
        const bool details = m_platform.alerts->runModalAlertWithDetails(
            tr("TINTERA Sync Error"),
            QStringList{tr("There were errors during sync."), vlSyncErrorsAdvice(errors)}.join(QLatin1Char(' ')).trimmed(),
            causes.join(QLatin1Char('\n')), tr("OK"), tr("Details..."));
        m_showingModalAlert = false;
        if (details)
            showErrorDetails();
    }
}

void VelmoraSyncAppDelegate::notifySyncEnded(VLSyncManager *manager)
{
    // The errors the run collected, those before a device went away included.
    const VLSyncRunReport &report = manager->runReport();
    vlRecordSyncInLibrary(report, manager->serialNumber());
    const VLSyncSummary summary = VLSyncSummary::ofReport(report);
    m_lastSyncErrors = report.errors;
    const QFileInfo matches(manager->pathForGlobalAutoSyncMatchesFile());
    m_lastSummary = summary;
    VL_LOG("%@", summary.text());

    QList<VLNotifier::Action> actions;
    if (summary.errors > 0)
        actions.append({kDetailsAction, tr("Details...")});
    if (matches.isFile())
        actions.append({kShowMeasurementsAction, tr("Show measurements")});
    // The user's own cancel is news, not an alarm: an ordinary message that goes by itself.
    const bool warning = summary.errors > 0 || summary.stalled;
    const QPointer<VelmoraSyncAppDelegate> weakSelf(this);
    const auto act = [weakSelf](const QString &key) {
        if (!weakSelf)
            return;
        if (key == kDetailsAction)
            weakSelf->showErrorDetails();
        else if (key == kShowMeasurementsAction)
            weakSelf->showMeasurements();
    };
    if (m_platform.notifier && m_platform.notifier->notify(vlApplicationTitle(), summary.text(), warning, actions, act))
        return;
    // The tray's own message has room for one action: a click on it.
    std::function<void()> click;
    if (!actions.isEmpty())
        click = [act, key = actions.first().key] { act(key); };
    if (m_progressStatusItem && m_progressStatusItem->statusItem())
        m_progressStatusItem->statusItem()->showMessage(vlApplicationTitle(), summary.text(), warning, click);
}

QString VelmoraSyncAppDelegate::measurementsPath() const
{
    return m_syncManager ? m_syncManager->pathForGlobalAutoSyncMatchesFolder() : QString();
}

void VelmoraSyncAppDelegate::showMeasurements()
{
    const QString folder = measurementsPath();
    if (folder.isEmpty())
        return;
    const QPointer<VelmoraSyncAppDelegate> weakSelf(this);
    m_platform.openWithDesktop(folder, [weakSelf, folder](bool opened) {
        if (opened || !weakSelf)
            return;
        // No file manager took the folder: say where it is.
        weakSelf->m_platform.alerts->runModalAlert(tr("Measurements"),
                                                   tr("The measurements are saved in %1").arg(folder), tr("OK"),
                                                   VLAlertPresenter::Style::Information);
    });
}

void VelmoraSyncAppDelegate::showErrorDetails()
{
    VLErrorWindowController *controller = errorWindowController();
    controller->setErrors(m_lastSyncErrors);
    m_platform.alerts->runModalWindow(controller->window());
}

QString VelmoraSyncAppDelegate::syncProgressTitle(qint32 step, const QString &message, double downloadFraction)
{
    const QString shown = message.trimmed();
    QString title = shown.isEmpty() ? vlFormat(tr(" Step %d of %d"), int(step), int(VLSyncManagerStatusDone))
                                    : vlFormat(tr(" Step %d of %d: %@"), int(step), int(VLSyncManagerStatusDone), shown);
    if (downloadFraction >= 0 && std::isfinite(downloadFraction))
        title += QStringLiteral(" %1%").arg(qBound(0, int(downloadFraction * 100.0), 100));
    return title;
}

void VelmoraSyncAppDelegate::showSyncProgress()
{
    if (!m_syncManager || !m_syncManager->isInSync() || m_syncManager->isJustGatheringPreliminaryInfo())
        return;
    setStatusTitle(syncProgressTitle(m_syncManager->status(), m_syncManager->statusMessage(), m_downloadFraction));
}

void VelmoraSyncAppDelegate::networkConnectionError()
{
    runEnded();
    m_progressStatusItem->stopAnimating();
    setStatusTitle(QString(QLatin1String("")));
    VL_LOG("Completed cleanup after Network connection error");
    if (m_showingModalAlert)
        return;
    m_showingModalAlert = true;
    m_platform.alerts->runModalAlert(
        tr("TINTERA Sync Error"), tr("You do not appear to be connected to the Internet.  Please connect and sync again."),
        tr("OK"));
    m_showingModalAlert = false;
}

void VelmoraSyncAppDelegate::syncManagerStatusDidChange(VLSyncManager *manager)
{
    if (m_watchdog)
        m_watchdog->noteProgress();
    if (!manager || !manager->isInSync() || manager->isJustGatheringPreliminaryInfo())
        return;
    // The step count and the download's share along with the message.
    setStatusTitle(syncProgressTitle(manager->status(), manager->statusMessage(), m_downloadFraction));
    noticeFirmwareWrite(manager);
}

void VelmoraSyncAppDelegate::noticeFirmwareWrite(VLSyncManager *manager)
{
    const QString message = manager->statusMessage();
    if (!message.contains(vlKeepDeviceConnectedNotice()) || message == m_firmwareNoticeShown)
        return;
    m_firmwareNoticeShown = message;
    if (m_platform.notifier && m_platform.notifier->notify(vlApplicationTitle(), message, true, {}, {}))
        return;
    if (m_progressStatusItem && m_progressStatusItem->statusItem())
        m_progressStatusItem->statusItem()->showMessage(vlApplicationTitle(), message, true, {});
}

void VelmoraSyncAppDelegate::syncManagerSyncDidFailWithError(VLSyncManager *, const VLError &error)
{
    runEnded();
    updateMenu();
    m_progressStatusItem->stopAnimating();
    setStatusTitle(QString(QLatin1String("")));
    VL_LOG("[VelmoraSyncAppDelegate syncDidFailWithError:] - %@", error);
    m_platform.alerts->presentError(error);
}

void VelmoraSyncAppDelegate::syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *)
{
    if (m_watchdog)
        m_watchdog->runBegan();
    updateMenu();
    VL_LOG("[VelmoraSyncAppDelegate syncManagerDidBeginPreliminaryInfoGathering:]");
}

void VelmoraSyncAppDelegate::syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *)
{
    VL_LOG("[VelmoraSyncAppDelegate syncManagerDidFinishPreliminaryInfoGathering:]");
    runEnded();
    updateMenu();
    // What a sync would bring, where the tray shows the device's state, until a sync begins.
    const VLSyncPlan plan = m_syncManager && !m_syncManager->wasCancelled() ? m_syncManager->syncPlan() : VLSyncPlan();
    setStatusTitle(plan.isEmpty() ? QString(QLatin1String("")) : QLatin1Char(' ') + plan.summary());
    if (m_syncManager && m_syncManager->autoSyncOnDeviceConnection() && m_velmoraDevice
        && m_velmoraDevice->isAvailable() && m_velmoraDevice->isConnected() && m_syncManager->canStartSync())
        m_syncManager->startSync();
}

void VelmoraSyncAppDelegate::syncManagerDownloadingDidBegin(VLSyncManager *)
{
    if (m_watchdog)
        m_watchdog->noteProgress();
    m_downloading = true;
    if (m_prefsWindowController)
        m_prefsWindowController->startProgress();
}

void VelmoraSyncAppDelegate::syncManagerDownloadingDidFinish(VLSyncManager *)
{
    if (m_watchdog)
        m_watchdog->noteProgress();
    m_downloading = false;
    if (m_prefsWindowController)
        m_prefsWindowController->stopProgress();
    m_downloadFraction = -1;
    m_shownPercent = -1;
    showSyncProgress();
}

void VelmoraSyncAppDelegate::syncManagerDownloadDidUpdateAmount(VLSyncManager *, double amount)
{
    if (m_watchdog)
        m_watchdog->noteProgress();
    if (m_prefsWindowController)
        m_prefsWindowController->setProgressValue(amount * 100.0);
    m_downloadFraction = amount;
    // The title changes with each whole percent, not with each packet.
    const int percent = std::isfinite(amount) ? qBound(0, int(amount * 100.0), 100) : -1;
    if (percent != m_shownPercent) {
        m_shownPercent = percent;
        showSyncProgress();
    }
}

// ---- menu ----

void VelmoraSyncAppDelegate::syncNow()
{
    if (m_syncManager && m_syncManager->canStartSync())
        m_syncManager->startSync();
}

void VelmoraSyncAppDelegate::cancelSync()
{
    if (!m_syncManager || m_syncManager->isCancellingSync())
        return;
    VL_LOG("Cancel Sync chosen");
    vlCancelSync(m_syncManager);
    updateMenu();
}

void VelmoraSyncAppDelegate::runPreferencesPanel()
{
    prefsWindowController()->showWindow();
    showAndActivate(prefsWindowController()->window());
}

VLMeasurementsWindow *VelmoraSyncAppDelegate::measurementsWindow()
{
    if (!m_measurementsWindow)
        m_measurementsWindow = std::make_unique<VLMeasurementsWindow>(VLMeasurementLibrary::defaultPath());
    return m_measurementsWindow.get();
}

void VelmoraSyncAppDelegate::runMeasurementsWindow()
{
    measurementsWindow()->showWindow();
    showAndActivate(measurementsWindow());
}

void VelmoraSyncAppDelegate::runDebugWindow()
{
    debugWindowController()->showWindow();
    showAndActivate(debugWindowController()->window());
}

void VelmoraSyncAppDelegate::uploadFile()
{
    uploadFileWindowController()->showWindow();
    showAndActivate(uploadFileWindowController()->window());
}

void VelmoraSyncAppDelegate::showAndActivate(QWidget *window)
{
    window->raise();
    window->activateWindow();
}

void VelmoraSyncAppDelegate::switchRunAtStartFromMenu()
{
    setLaunchAtLogin(!launchAtLogin());
}

void VelmoraSyncAppDelegate::lastSyncDateNoop()
{
}

bool VelmoraSyncAppDelegate::validateMenuItem(QAction *item)
{
    bool enabled = true;
    switch (vlMenuItemAction(item)) {
    case VLStatusMenuAction::SyncNow:
        if (m_syncManager && m_syncManager->canStartSync())
            item->setText(tr("Sync Now"));
        else if (m_syncManager && m_syncManager->isJustGatheringPreliminaryInfo())
            item->setText(tr("Gathering info..."));
        else if (m_syncManager && m_syncManager->isInSync())
            item->setText(tr("Synchronizing..."));
        else
            item->setText(tr("Device not found"));
        enabled = canSyncNow();
        break;
    case VLStatusMenuAction::CancelSync:
        // Only while a run goes on; a cancel already asked for cannot be asked for again.
        item->setVisible(m_syncManager && m_syncManager->isInSync());
        enabled = m_syncManager && m_syncManager->isInSync() && !m_syncManager->isCancellingSync();
        break;
    case VLStatusMenuAction::SwitchRunAtStartFromMenu:
        item->setChecked(launchAtLogin());
        break;
    case VLStatusMenuAction::LastSyncDateNoop: {
        const bool synced = m_syncManager && m_syncManager->lastSyncDate().isValid();
        item->setText(tr("Last Sync: %1").arg(synced ? m_syncManager->lastSyncDateString() : tr("Never")));
        enabled = false;
        break;
    }
    default:
        break;
    }
    item->setEnabled(enabled);
    return enabled;
}

void VelmoraSyncAppDelegate::updateMenu()
{
    if (!m_statusItemMenu)
        return;
    for (QAction *item : m_statusItemMenu->actions()) {
        if (vlIsStatusMenuItem(item))
            validateMenuItem(item);
    }
}

void VelmoraSyncAppDelegate::setStatusTitle(const QString &title)
{
    if (m_progressStatusItem && m_progressStatusItem->statusItem())
        m_progressStatusItem->statusItem()->setTitle(title);
}

// ---- URL scheme ----

void VelmoraSyncAppDelegate::handleGetURLEvent(const QString &url)
{
    if (!vlIsSyncURL(url))
        return;
    VL_LOG("Received '%@', will start sync", url);
    if (m_syncManager && m_syncManager->canStartSync())
        m_syncManager->startSync();
}

// ---- device ----

bool VelmoraSyncAppDelegate::canSyncNow() const
{
    return m_velmoraDevice && m_velmoraDevice->isAvailable() && m_velmoraDevice->isConnected() && m_syncManager
        && m_syncManager->canStartSync();
}

bool VelmoraSyncAppDelegate::syncServiceOnline() const
{
    return m_platform.syncServiceOnline ? m_platform.syncServiceOnline()
                                        : vlHostIsReachable(vlHostOfURL(vlSyncProductionURL()));
}

void VelmoraSyncAppDelegate::_deviceWasAdded(const KDDevicePtr &device)
{
    // One device at a time: the first that became ready.
    if (m_velmoraDevice || !device)
        return;
    // Not ready yet without a serial number; an update will follow.
    if (device->serialNumber().isEmpty())
        return;
    VL_LOG("[VelmoraSyncAppDelegate deviceCenter:deviceWasAdded:] %@", device->name());
    _deviceDidBecomeReady(device);
}

void VelmoraSyncAppDelegate::_deviceStatusDidChage(const KDDevicePtr &device)
{
    if (!device)
        return;
    if (!m_velmoraDevice && !device->serialNumber().isEmpty()) {
        _deviceDidBecomeReady(device);
        return;
    }
    if (m_velmoraDevice && m_velmoraDevice->isEqual(device))
        updateMenu();
}

void VelmoraSyncAppDelegate::_deviceWasRemoved(const KDDevicePtr &device)
{
    if (!m_velmoraDevice || !device || device->serialNumber() != m_velmoraDevice->serialNumber())
        return;
    VL_LOG("[VelmoraSyncAppDelegate deviceCenter:deviceWasRemoved:] %@", device->name());
    m_velmoraDevice.clear();
    if (m_syncManager) {
        m_syncManager->updateDevice(KDDevicePtr());
        m_syncManager->deviceBecameUnavailable();
    }
    updateMenu();
}

void VelmoraSyncAppDelegate::_deviceDidBecomeReady(const KDDevicePtr &device)
{
    VL_LOG("[VelmoraSyncAppDelegate deviceDidBecomeAvailable:] %@ %@", device->name(), device->serialNumber());
    m_velmoraDevice = device;
    updateMenu();

    // Managers are kept per serial number and the first one got the delegate; a later one is only
    // given the device.
    const bool hadManager = !m_syncManager.isNull();
    m_syncManager = VLSyncManager::syncManagerWithDevice(device);
    if (!m_syncManager)
        return;
    if (!hadManager)
        m_syncManager->setDelegate(this);
    else
        m_syncManager->updateDevice(device);
    if (!m_watchdog || !hadManager) {
        m_watchdog = std::make_unique<VLSyncStallWatchdog>(m_syncManager);
        m_watchdog->setTimeoutMilliseconds(m_stallTimeoutMilliseconds);
    }

    if (m_prefsWindowController)
        m_prefsWindowController->setSyncManager(m_syncManager);
    m_syncManager->deviceBecameAvailable();

    if (!syncServiceOnline()) {
        VL_LOG("Sync service is not online ... ");
        return;
    }
    if (m_syncManager->canStartPreliminaryDataGathering())
        m_syncManager->gatherPrelimiaryInfo();
}

// ---- clean device ----

void VelmoraSyncAppDelegate::cleanDevice()
{
    if (!canSyncNow())
        return;
    const QPointer<VelmoraSyncAppDelegate> weakSelf(this);
    m_velmoraDevice->sendCommand(VLDeviceVocabulary::command(VLDeviceVocabulary::Command::HiddenClean),
                                 [weakSelf](const KDCommandResponsePtr &response) {
                                     if (weakSelf)
                                         weakSelf->receivedCleanEndForDeviceDidReceiveResponse(weakSelf->m_velmoraDevice,
                                                                                               response);
                                 });
}

void VelmoraSyncAppDelegate::receivedCleanEndForDeviceDidReceiveResponse(const KDDevicePtr &device,
                                                                         const KDCommandResponsePtr &response)
{
    // The answer is not examined: the reboot follows whatever the device said. Without a device
    // there is nobody to reboot, and the sequence ends here.
    if (!device)
        return;
    const QPointer<VelmoraSyncAppDelegate> weakSelf(this);
    device->sendCommand(VLDeviceVocabulary::command(VLDeviceVocabulary::Command::Reboot),
                        [weakSelf, response](const KDCommandResponsePtr &) {
                            if (weakSelf)
                                weakSelf->receivedRebootEndForCleanDeviceForDeviceDidReceiveResponse(
                                    weakSelf->m_velmoraDevice, response);
                        });
}

void VelmoraSyncAppDelegate::receivedRebootEndForCleanDeviceForDeviceDidReceiveResponse(const KDDevicePtr &,
                                                                                        const KDCommandResponsePtr &)
{
    m_platform.alerts->runModalAlert(tr("Clean Device"), tr("Device cleaning has completed."), tr("OK"),
                                     VLAlertPresenter::Style::Information);
}
