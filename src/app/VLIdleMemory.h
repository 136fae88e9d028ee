#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QWidget;

// Gives memory the program has freed back to the system once it has gone quiet: a while after a
// sync ends or a window closes. The C library keeps freed memory in its heaps (one per thread
// that allocated), so a tray program that parsed fandecks on a worker would otherwise sit on
// megabytes it no longer uses for as long as it runs. One release per quiet moment: each new
// reason restarts the wait, and nothing runs at rest.
//
// A release also gives up what closed windows keep for their next showing: the backing store (an
// image of the whole window, shared with the X server) and the style's pixmap cache. Showing a
// window again draws it anew.
class VLIdleMemory : public QObject
{
    Q_OBJECT
public:
    explicit VLIdleMemory(int delayMilliseconds = 2000, QObject *parent = nullptr);

    // Releases after the delay, counted from the last call.
    void releaseSoon();
    void setDelayMilliseconds(int delay) { m_timer.setInterval(delay); }
    bool releasePending() const { return m_timer.isActive(); }
    int releases() const { return m_releases; }

    // Installed on the application: a window that closes is a reason to release, and its backing
    // store is released with the heap unless it is shown again meanwhile.
    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    // The moment to drop what the program keeps only to save work later, before the heap is handed back.
    void aboutToRelease();

private:
    void release();
    void releaseClosedWindows();

    QTimer m_timer;
    int m_releases = 0;
    QList<QPointer<QWidget>> m_closedWindows;
};

// Hands the free parts of the heap back to the system; the platform's own call for it.
void vlReleaseFreeHeapMemory();
// Called once at start, before any thread allocates: sets the heap up so that what a worker
// thread frees can be handed back at all.
void vlPrepareHeapForIdleRelease();
