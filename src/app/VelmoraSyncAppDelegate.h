#pragma once

#include "KDDevice.h"
#include "VLSyncManager.h"
#include "VLDesktopOpener.h"
#include "VLIdleMemory.h"
#include "VLSyncManagerDelegate.h"
#include "VLSyncSummary.h"

#include <QDateTime>
#include <QHash>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>

#include <functional>
#include <memory>

class KDDeviceObserver;
class QAction;
class VLAlertPresenter;
class VLDebugWindowController;
class VLErrorWindowController;
class VLNotifier;
class VLSyncStallWatchdog;
class VLProgressStatusItem;
class VLStatusItem;
class VLUploadFileWindowController;
class VelmoraSyncPreferencesWindowController;
class VLMeasurementsWindow;

extern const QString VLLaunchAtLoginKey;
extern const QString VLShowDeveloperDebugWindowKey;
extern const QString VLShowCleanKey;
extern const QString VLShowUploadFileKey;
extern const QString VLShowLaunchAtLoginMenuKey;
extern const QString VLLoginItemHelperIdentifier;
extern const QString VLVelmoraDeviceName;

// The application's hub: builds the status item and its menu, watches for the device, keeps one
// sync manager for it, answers the manager's callbacks with the status item, the menu and the
// windows, shows the error alerts, and handles the x-tintera-sync URL scheme.
class VelmoraSyncAppDelegate : public QObject, public VLSyncManagerDelegate
{
    Q_OBJECT
public:
    // What the delegate takes from the platform; tests give their own.
    struct Platform
    {
        std::function<std::shared_ptr<VLStatusItem>()> createStatusItem;
        std::shared_ptr<VLAlertPresenter> alerts;
        // Whether the sync service's host can be reached now.
        std::function<bool()> syncServiceOnline;
        // Desktop notifications; without a service the status item's own message is used.
        std::shared_ptr<VLNotifier> notifier;
        // Opens the measurements' folder.
        VLDesktopOpener openWithDesktop;
    };
    static Platform systemPlatform();

    explicit VelmoraSyncAppDelegate(Platform platform = systemPlatform(), QObject *parent = nullptr);
    ~VelmoraSyncAppDelegate() override;

    void applicationDidFinishLaunching();

    VLProgressStatusItem *progressStatusItem() const { return m_progressStatusItem.get(); }
    QMenu *statusItemMenu() const { return m_statusItemMenu; }
    VelmoraSyncPreferencesWindowController *prefsWindowController();
    VLErrorWindowController *errorWindowController();
    VLDebugWindowController *debugWindowController();
    VLUploadFileWindowController *uploadFileWindowController();
    KDDevicePtr velmoraDevice() const { return m_velmoraDevice; }
    VLSyncManager *syncManager() const { return m_syncManager; }
    bool isDeviceReady() const { return m_isDeviceReady; }
    bool showingModalAlert() const { return m_showingModalAlert; }
    void setShowingModalAlert(bool showing) { m_showingModalAlert = showing; }
    KDDeviceObserver *deviceObserver() const { return m_deviceObserver.data(); }

    // Switched off on purpose: always false, whatever is stored.
    bool launchAtLogin() const;
    void setLaunchAtLogin(bool launchAtLogin);

    // VLSyncManagerDelegate
    void syncManagerChangedImage(VLSyncManager *manager, const QImage &image) override;
    void syncManagerDidBeginSync(VLSyncManager *manager) override;
    void syncManagerDidFinishSync(VLSyncManager *manager) override;
    void networkConnectionError() override;
    void syncManagerStatusDidChange(VLSyncManager *manager) override;
    void syncManagerSyncDidFailWithError(VLSyncManager *manager, const VLError &error) override;
    void syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *manager) override;
    void syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *manager) override;
    void syncManagerDownloadingDidBegin(VLSyncManager *manager) override;
    void syncManagerDownloadingDidFinish(VLSyncManager *manager) override;
    void syncManagerDownloadDidUpdateAmount(VLSyncManager *manager, double amount) override;

    // A run without progress for this long is stopped with an error (0: never); --stall-timeout.
    void setStallTimeoutMilliseconds(int milliseconds);
    int stallTimeoutMilliseconds() const { return m_stallTimeoutMilliseconds; }
    // "--stall-timeout SECONDS" among the launch arguments (0: never), else the fallback.
    static int stallTimeoutFromArguments(const QStringList &arguments, int fallback);
    VLSyncStallWatchdog *stallWatchdog() const { return m_watchdog.get(); }

    // The title the status item shows while a sync runs: " Step 19 of 28: Downloading X... 45%".
    static QString syncProgressTitle(qint32 step, const QString &message, double downloadFraction);

    // The end of a sync on the desktop: what changed, with "Show measurements" and, after errors,
    // "Details...". The summary of the last sync, as the notification told it.
    const VLSyncSummary &lastSyncSummary() const { return m_lastSummary; }
    // Hands freed memory back after a sync or a closed window.
    VLIdleMemory *idleMemory() { return &m_idleMemory; }
    // The actions of that notification.
    void showMeasurements();
    void showErrorDetails();
    QString measurementsPath() const;

    // Menu actions.
    void syncNow();
    void cancelSync();
    void runPreferencesPanel();
    void runDebugWindow();
    // The captures of the measurement library (status menu "Measurements...", preferences button).
    void runMeasurementsWindow();
    VLMeasurementsWindow *measurementsWindow();
    void uploadFile();
    void cleanDevice();
    void switchRunAtStartFromMenu();
    void lastSyncDateNoop();
    // Sets the item's title and state for the current state; answers whether it is enabled.
    bool validateMenuItem(QAction *item);
    // Re-validates every item of the menu.
    void updateMenu();

    // A URL the application was asked to open (launch argument, second launch, file-open event).
    void handleGetURLEvent(const QString &url);

    bool canSyncNow() const;
    bool syncServiceOnline() const;

    // Device observer callbacks.
    void _deviceWasAdded(const KDDevicePtr &device);
    void _deviceStatusDidChage(const KDDevicePtr &device);
    void _deviceWasRemoved(const KDDevicePtr &device);
    void _deviceDidBecomeReady(const KDDevicePtr &device);

    void receivedCleanEndForDeviceDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void receivedRebootEndForCleanDeviceForDeviceDidReceiveResponse(const KDDevicePtr &device,
                                                                    const KDCommandResponsePtr &response);

private:
    void setStatusTitle(const QString &title);
    void showSyncProgress();
    void notifySyncEnded(VLSyncManager *manager);
    // A notification, not only the menu's title line, while firmware or a bootloader is written.
    void noticeFirmwareWrite(VLSyncManager *manager);
    void runEnded();
    void connectMenuActions();
    void showAndActivate(QWidget *window);

    Platform m_platform;
    std::unique_ptr<VLProgressStatusItem> m_progressStatusItem;
    QPointer<QMenu> m_statusItemMenu;
    std::unique_ptr<VelmoraSyncPreferencesWindowController> m_prefsWindowController;
    QByteArray m_prefsWindowGeometry; // of the last preferences window, released once closed
    std::unique_ptr<VLErrorWindowController> m_errorWindowController;
    KDDevicePtr m_velmoraDevice;
    QPointer<VLSyncManager> m_syncManager;
    std::unique_ptr<VLDebugWindowController> m_debugWindowController;
    std::unique_ptr<VLMeasurementsWindow> m_measurementsWindow;
    std::unique_ptr<VLUploadFileWindowController> m_uploadFileWindowController;
    bool m_isDeviceReady = false;
    bool m_showingModalAlert = false;
    QSharedPointer<KDDeviceObserver> m_deviceObserver;
    std::unique_ptr<VLSyncStallWatchdog> m_watchdog;
    int m_stallTimeoutMilliseconds;
    bool m_downloading = false;
    double m_downloadFraction = -1; // negative: no download under way
    int m_shownPercent = -1;
    QString m_firmwareNoticeShown; // the message of the write last announced in this run
    QList<VLError> m_lastSyncErrors;
    VLSyncSummary m_lastSummary;
    VLIdleMemory m_idleMemory;
};
