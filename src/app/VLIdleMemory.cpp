#include "VLIdleMemory.h"

#include <QEvent>
#include <QWidget>

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
    if (event->type() == QEvent::Hide && watched->isWidgetType() && static_cast<QWidget *>(watched)->isWindow())
        releaseSoon();
    return QObject::eventFilter(watched, event);
}

void VLIdleMemory::release()
{
    ++m_releases;
    emit aboutToRelease();
    vlReleaseFreeHeapMemory();
}
