#pragma once

#include "VLError.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

class VLSyncManager;

// Cancels a sync at once: the step machine stops at its next step boundary, and a download that
// waits in the queue (a file the service refused sits there with no end) is stopped, so nothing
// of this run keeps going after it. What the front ends do when the user cancels.
void vlCancelSync(VLSyncManager *manager);

// Keeps a run of a sync manager from waiting forever. Armed while a run goes on; every sign of
// progress the front end hears (a step, a status message, download bytes) restarts the timer. When
// the time passes without any, the run is stopped with an error collected in the manager's error
// list (so it is reported with the run's other errors), and stalled() tells the front end. If the
// run has still not ended after the same time again, gaveUp() follows.
class VLSyncStallWatchdog : public QObject
{
    Q_OBJECT
public:
    static constexpr int defaultTimeoutMilliseconds = 120000;
    // The code of the collected error: the run timed out.
    static constexpr qint64 stallErrorCode = -1001;

    explicit VLSyncStallWatchdog(VLSyncManager *manager, QObject *parent = nullptr);

    // 0 switches the watchdog off: a run may then wait for as long as it waits.
    void setTimeoutMilliseconds(int milliseconds);
    int timeoutMilliseconds() const { return m_timeoutMilliseconds; }

    void runBegan();
    void runEnded();
    void noteProgress();
    bool isArmed() const { return m_armed; }
    // Whether the current (or last) run was stopped for want of progress.
    bool hasStalled() const { return m_stalled; }

signals:
    void stalled(const VLError &error);
    void gaveUp();

private:
    void onTimeout();

    QPointer<VLSyncManager> m_manager;
    QTimer m_timer;
    int m_timeoutMilliseconds = defaultTimeoutMilliseconds;
    bool m_armed = false;
    bool m_stalled = false;
};
