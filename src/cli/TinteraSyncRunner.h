#pragma once

#include "TinteraRunObserver.h"
#include "VLError.h"
#include "VLSyncManagerDelegate.h"
#include "VLSyncStallWatchdog.h"

#include <QList>
#include <QObject>
#include <QPointer>

class QEventLoop;
class VLSyncManager;

// Runs a sync manager's runs one at a time from the command line, as the application does on
// device arrival and on "Sync Now": the preliminary-info run, then the full sync. Each run is
// carried by the event loop until the manager reports its end; the observer follows it.
class TinteraSyncRunner : public QObject, public VLSyncManagerDelegate
{
    Q_OBJECT
public:
    struct Outcome
    {
        bool started = false;      // the manager accepted the run
        bool finished = false;     // it reported the end of the run
        bool cancelled = false;    // it ended as a cancelled run (device gone, -1024, user, stall)
        bool networkUnavailable = false;
        bool stalled = false;      // cancelled by us after a time without any sign of progress
        bool deviceLost = false;   // the device was gone when the run ended
        QList<VLError> errors;     // collected by the manager during the run
        VLError failure;           // why the manager gave the run up (another process syncs the device)
        qint64 milliseconds = 0;

        bool succeeded() const { return started && finished && !cancelled && !networkUnavailable && failure.isNull() && errors.isEmpty(); }
    };

    TinteraSyncRunner(VLSyncManager *manager, TinteraRunObserver *observer, QObject *parent = nullptr);
    ~TinteraSyncRunner() override;

    // With 0 a run may wait forever (a file the service refuses keeps the download step waiting
    // until the user cancels); otherwise a run without any progress for this long is cancelled,
    // with the stall collected as one of its errors.
    void setStallTimeoutMilliseconds(int milliseconds) { m_watchdog.setTimeoutMilliseconds(milliseconds); }

    Outcome gatherPreliminaryInfo();
    Outcome sync();
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
    Outcome run(TinteraRunObserver::Run kind);
    void endRun(bool cancelled);
    // Passes on the errors the manager collected since the last look.
    void reportNewErrors();
    void noteProgress();
    void onStall();
    void onGiveUp();

    QPointer<VLSyncManager> m_manager;
    TinteraRunObserver *m_observer;
    qsizetype m_errorsReported = 0;
    QEventLoop *m_loop = nullptr;
    Outcome m_outcome;
    VLSyncStallWatchdog m_watchdog;
};
