#include "VLIdleMemory.h"

#include <QBackingStore>
#include <QEvent>
#include <QPixmapCache>
#include <QWidget>

#include <utility>

VLIdleMemory::VLIdleMemory(int delayMilliseconds, QObject *parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(delayMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &VLIdleMemory::release);
}

void VLIdleMemory::releaseSoon()
{
    m_timer.start();
}

bool VLIdleMemory::eventFilter(QObject *watched, QEvent *event)
{
    // Menus are windows too; closing one is as good a quiet moment as any.
    if (event->type() == QEvent::Hide && watched->isWidgetType() && static_cast<QWidget *>(watched)->isWindow()) {
        auto *window = static_cast<QWidget *>(watched);
        if (!m_closedWindows.contains(window))
            m_closedWindows.append(window);
        releaseSoon();
    }
    return QObject::eventFilter(watched, event);
}

void VLIdleMemory::release()
{
    ++m_releases;
    emit aboutToRelease();
    releaseClosedWindows();
    // Entries are mostly the style's drawings of buttons and headers of windows now closed.
    QPixmapCache::clear();
    vlReleaseFreeHeapMemory();
}

void VLIdleMemory::releaseClosedWindows()
{
    const QList<QPointer<QWidget>> closed = std::exchange(m_closedWindows, {});
    for (const QPointer<QWidget> &window : closed) {
        if (!window || !window->isHidden())
            continue;
        // Qt keeps a closed window's backing store, the size of the window, for its next showing;
        // the first paint after it is shown again sizes it to the window anew.
        QBackingStore *store = window->backingStore();
        if (store && store->size().width() * store->size().height() > 1)
            store->resize(QSize(1, 1));
    }
}
