#include "VLSyncStallWatchdog.h"

#include "TSLogger.h"
#include "VLFormat.h"
#include "VLSyncManager.h"

void vlCancelSync(VLSyncManager *manager)
{
    if (!manager || (!manager->isInSync() && !manager->isJustGatheringPreliminaryInfo()))
        return;
    // Pausing detaches the queue's current transfer without reporting the queue as done, which
    // would move the step machine on.
    if (VLFileDownloadManager *downloads = manager->downloadManager())
        downloads->pause();
    // The flag first: without a pending cancel, cancelSync runs the current step again.
    manager->setIsCancellingSync(true);
    manager->cancelSync();
}

VLSyncStallWatchdog::VLSyncStallWatchdog(VLSyncManager *manager, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &VLSyncStallWatchdog::onTimeout);
}

void VLSyncStallWatchdog::setTimeoutMilliseconds(int milliseconds)
{
    m_timeoutMilliseconds = qMax(0, milliseconds);
    if (m_armed)
        noteProgress();
}

void VLSyncStallWatchdog::runBegan()
{
    m_armed = true;
    m_stalled = false;
    noteProgress();
}

void VLSyncStallWatchdog::runEnded()
{
    m_armed = false;
    m_timer.stop();
}

void VLSyncStallWatchdog::noteProgress()
{
    if (!m_armed || m_timeoutMilliseconds <= 0) {
        m_timer.stop();
        return;
    }
    m_timer.start(m_timeoutMilliseconds);
}

void VLSyncStallWatchdog::onTimeout()
{
    if (!m_armed)
        return;
    if (m_stalled) {
        VL_LOG("the run did not end after the stall; giving up on it");
        runEnded();
        emit gaveUp();
        return;
    }
    m_stalled = true;
    const int seconds = m_timeoutMilliseconds / 1000;
    const qint32 step = m_manager ? m_manager->status() : 0;
    const QString message = m_manager ? m_manager->statusMessage().trimmed() : QString();
    const VLError error(QStringLiteral("TINTERA Sync Domain"), stallErrorCode,
                        vlFormat(tr("No progress for %d s at step %d (%@); the sync was stopped."), seconds, int(step),
                                 message));
    VL_LOG("%@", error);
    // The timer runs once more, for the cancel itself.
    m_timer.start(m_timeoutMilliseconds);
    emit stalled(error);
    if (m_manager) {
        m_manager->runDidStall();
        m_manager->syncDidReceiveErrorRunNextStep(error, false);
        vlCancelSync(m_manager);
    }
}
