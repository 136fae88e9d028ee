#include "TinteraSyncRunner.h"

#include "VLSyncManager.h"

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

std::optional<VLSyncRunReport> TinteraSyncRunner::gatherPreliminaryInfo()
{
    return run(TinteraRunObserver::Run::Preliminary);
}

std::optional<VLSyncRunReport> TinteraSyncRunner::sync()
{
    return run(TinteraRunObserver::Run::Full);
}

std::optional<VLSyncRunReport> TinteraSyncRunner::run(TinteraRunObserver::Run kind)
{
    if (!m_manager || m_loop)
        return std::nullopt;
    const bool preliminary = kind == TinteraRunObserver::Run::Preliminary;
    if (!(preliminary ? m_manager->canStartPreliminaryDataGathering() : m_manager->canStartSync()))
        return std::nullopt;

    QEventLoop loop;
    m_loop = &loop;
    m_finished = false;
    m_gaveUp = false;
    m_errorsReported = 0;
    m_observer->runBegan(kind, preliminary ? kPreliminarySteps : kFullSyncSteps, m_manager->statusMessage());
    m_watchdog.runBegan();
    if (preliminary)
        m_manager->gatherPrelimiaryInfo();
    else
        m_manager->startSync();
    // The run may already have ended inside the call.
    while (!m_finished)
        loop.exec();
    m_watchdog.runEnded();
    m_loop = nullptr;
    m_observer->runEnded();
    VLSyncRunReport report = m_manager ? m_manager->runReport() : VLSyncRunReport();
    if (m_gaveUp && !report.hasEnded()) {
        // The manager never ended the run it was asked to cancel: it is reported as the stall it is.
        report.ending = VLSyncRunReport::Ending::Stalled;
        report.ended = QDateTime::currentDateTime();
    }
    return report;
}

void TinteraSyncRunner::endRun()
{
    if (!m_loop || m_finished)
        return;
    m_finished = true;
    reportNewErrors();
    m_loop->quit();
}

void TinteraSyncRunner::cancel()
{
    if (!m_loop || !m_manager || m_finished)
        return;
    vlCancelSync(m_manager);
}

void TinteraSyncRunner::reportNewErrors()
{
    if (!m_manager || !m_loop)
        return;
    const QList<VLError> &errors = m_manager->runReport().errors;
    for (qsizetype i = m_errorsReported; i < errors.size(); ++i)
        m_observer->errorCollected(errors.at(i));
    m_errorsReported = errors.size();
}

void TinteraSyncRunner::noteProgress()
{
    reportNewErrors();
    m_watchdog.noteProgress();
}

void TinteraSyncRunner::onStall()
{
    if (!m_loop || m_finished)
        return;
    // The watchdog collects the error and cancels the run after this.
    m_observer->stalled(m_watchdog.timeoutMilliseconds() / 1000, m_manager ? int(m_manager->status()) : 0,
                        m_manager ? m_manager->statusMessage() : QString(), false);
}

void TinteraSyncRunner::onGiveUp()
{
    if (!m_loop || m_finished)
        return;
    m_observer->stalled(m_watchdog.timeoutMilliseconds() / 1000, m_manager ? int(m_manager->status()) : 0,
                        m_manager ? m_manager->statusMessage() : QString(), true);
    m_gaveUp = true;
    endRun();
}

void TinteraSyncRunner::syncManagerChangedImage(VLSyncManager *, const QImage &)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidBeginSync(VLSyncManager *)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidFinishSync(VLSyncManager *)
{
    endRun();
}

void TinteraSyncRunner::networkConnectionError()
{
    // The manager has wound the run down without a finish of its own; its report says it failed.
    endRun();
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
    // A refused run (another sync holds the device) is said once, by the command's own ending.
    if (!m_manager || m_manager->runReport().ending != VLSyncRunReport::Ending::Refused)
        m_observer->syncFailed(error);
    endRun();
}

void TinteraSyncRunner::syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *)
{
    noteProgress();
}

void TinteraSyncRunner::syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *)
{
    endRun();
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
