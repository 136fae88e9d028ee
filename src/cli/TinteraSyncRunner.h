#pragma once

#include "TinteraRunObserver.h"
#include "VLError.h"
#include "VLSyncManagerDelegate.h"
#include "VLSyncRunReport.h"
#include "VLSyncStallWatchdog.h"

#include <QObject>
#include <QPointer>

#include <optional>

class QEventLoop;
class VLSyncManager;

// Runs a sync manager's runs one at a time from the command line, as the application does on
// device arrival and on "Sync Now": the preliminary-info run, then the full sync. Each run is
// carried by the event loop until the manager reports its end; the observer follows it.
class TinteraSyncRunner : public QObject, public VLSyncManagerDelegate
{
    Q_OBJECT
public:
    TinteraSyncRunner(VLSyncManager *manager, TinteraRunObserver *observer, QObject *parent = nullptr);
    ~TinteraSyncRunner() override;

    // With 0 a run may wait forever (a file the service refuses keeps the download step waiting
    // until the user cancels); otherwise a run without any progress for this long is cancelled,
    // with the stall collected as one of its errors.
    void setStallTimeoutMilliseconds(int milliseconds) { m_watchdog.setTimeoutMilliseconds(milliseconds); }

    // The engine's report of the run, or none when the manager did not take it.
    std::optional<VLSyncRunReport> gatherPreliminaryInfo();
    std::optional<VLSyncRunReport> sync();
    // Asks the running run to end (at its next step boundary, or at once when it waits).
    void cancel();
    bool isRunning() const { return m_loop != nullptr; }

    // ---- the manager's delegate ----
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

private:
    std::optional<VLSyncRunReport> run(TinteraRunObserver::Run kind);
    void endRun();
    // Passes on the errors the run collected since the last look.
    void reportNewErrors();
    void noteProgress();
    void onStall();
    void onGiveUp();

    QPointer<VLSyncManager> m_manager;
    TinteraRunObserver *m_observer;
    qsizetype m_errorsReported = 0;
    QEventLoop *m_loop = nullptr;
    bool m_finished = false;
    bool m_gaveUp = false;
    VLSyncStallWatchdog m_watchdog;
};
