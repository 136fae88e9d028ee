#include "TinteraSyncRunner.h"

#include "VLSyncManager.h"

#include <QElapsedTimer>
#include <QEventLoop>

namespace {

constexpr int kPreliminarySteps = VLSyncManagerEndPrelimianryInfo;
constexpr int kFullSyncSteps = VLSyncManagerStatusDone;

} // namespace

TinteraSyncRunner::TinteraSyncRunner(VLSyncManager *manager, TinteraRunObserver *observer, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_observer(observer)
    , m_watchdog(manager)
{
    if (m_manager)
        m_manager->setDelegate(this);
    m_watchdog.setTimeoutMilliseconds(0);
    connect(&m_watchdog, &VLSyncStallWatchdog::stalled, this, &TinteraSyncRunner::onStall);
    connect(&m_watchdog, &VLSyncStallWatchdog::gaveUp, this, &TinteraSyncRunner::onGiveUp);
}

TinteraSyncRunner::~TinteraSyncRunner()
{
    if (m_manager && m_manager->delegate() == this)
        m_manager->setDelegate(nullptr);
}

TinteraSyncRunner::Outcome TinteraSyncRunner::gatherPreliminaryInfo()
{
    return run(TinteraRunObserver::Run::Preliminary);
}

TinteraSyncRunner::Outcome TinteraSyncRunner::sync()
{
    return run(TinteraRunObserver::Run::Full);
}

TinteraSyncRunner::Outcome TinteraSyncRunner::run(TinteraRunObserver::Run kind)
{
    m_outcome = Outcome();
    if (!m_manager || m_loop)
        return m_outcome;
    const bool preliminary = kind == TinteraRunObserver::Run::Preliminary;
    if (!(preliminary ? m_manager->canStartPreliminaryDataGathering() : m_manager->canStartSync()))
        return m_outcome;

    QEventLoop loop;
    m_loop = &loop;
    QElapsedTimer clock;
    clock.start();
    m_errorsReported = m_manager->errors().size();
    m_observer->runBegan(kind, preliminary ? kPreliminarySteps : kFullSyncSteps, m_manager->statusMessage());
    m_outcome.started = true;
    m_watchdog.runBegan();
    if (preliminary)
        m_manager->gatherPrelimiaryInfo();
    else
        m_manager->startSync();
    // The run may already have ended inside the call.
    while (!m_outcome.finished)
        loop.exec();
    m_watchdog.runEnded();
    m_loop = nullptr;
    m_observer->runEnded();
    m_outcome.milliseconds = clock.elapsed();
    return m_outcome;
}

void TinteraSyncRunner::endRun(bool cancelled)
{
    if (!m_loop || m_outcome.finished)
        return;
    m_outcome.finished = true;
    m_outcome.cancelled = cancelled;
    reportNewErrors();
    if (m_manager)
        m_outcome.deviceLost = !m_manager->device();
    m_loop->quit();
}

void TinteraSyncRunner::cancel()
{
    if (!m_loop || !m_manager || m_outcome.finished)
        return;
    vlCancelSync(m_manager);
}

void TinteraSyncRunner::reportNewErrors()
{
    if (!m_manager || !m_loop)
        return;
    const QList<VLError> errors = m_manager->errors();
    // A run that starts over clears the list; a device that goes takes the list with it, but what
    // it had collected until then is still why the run ended as it did.
    if (errors.size() < m_errorsReported) {
        m_errorsReported = 0;
        if (m_manager->device())
            m_outcome.errors.clear();
    }
    for (qsizetype i = m_errorsReported; i < errors.size(); ++i) {
        m_observer->errorCollected(errors.at(i));
        m_outcome.errors.append(errors.at(i));
    }
    m_errorsReported = errors.size();
}

void TinteraSyncRunner::noteProgress()
{
    reportNewErrors();
    m_watchdog.noteProgress();
}

void TinteraSyncRunner::onStall()
{
    if (!m_loop || m_outcome.finished)
        return;
    // The watchdog collects the error and cancels the run after this.
    m_outcome.stalled = true;
    m_observer->stalled(m_watchdog.timeoutMilliseconds() / 1000, m_manager ? int(m_manager->status()) : 0,
                        m_manager ? m_manager->statusMessage() : QString(), false);
}

void TinteraSyncRunner::onGiveUp()
{
    if (!m_loop || m_outcome.finished)
        return;
    m_observer->stalled(m_watchdog.timeoutMilliseconds() / 1000, m_manager ? int(m_manager->status()) : 0,
                        m_manager ? m_manager->statusMessage() : QString(), true);
    endRun(true);
}

void TinteraSyncRunner::syncManagerChangedImage(VLSyncManager *, const QImage &)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidBeginSync(VLSyncManager *)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidFinishSync(VLSyncManager *manager)
{
    endRun(manager && manager->wasCancelled());
}

void TinteraSyncRunner::networkConnectionError()
{
    // The manager has wound the run down without a finish of its own.
    m_outcome.networkUnavailable = true;
    endRun(false);
}

void TinteraSyncRunner::syncManagerStatusDidChange(VLSyncManager *manager)
{
    noteProgress();
    if (manager && m_loop)
        m_observer->stepChanged(manager->status(), manager->statusMessage());
}

// The manager gives a run up this way before its first step: the run ends here.
void TinteraSyncRunner::syncManagerSyncDidFailWithError(VLSyncManager *, const VLError &error)
{
    noteProgress();
    m_observer->syncFailed(error);
    if (m_loop && !m_outcome.finished)
        m_outcome.failure = error;
    endRun(false);
}

void TinteraSyncRunner::syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *manager)
{
    endRun(manager && manager->wasCancelled());
}

void TinteraSyncRunner::syncManagerDownloadingDidBegin(VLSyncManager *)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDownloadingDidFinish(VLSyncManager *)
{
    noteProgress();
    m_observer->downloadFinished();
}

void TinteraSyncRunner::syncManagerDownloadDidUpdateAmount(VLSyncManager *, double amount)
{
    noteProgress();
    m_observer->downloadProgress(amount);
}
