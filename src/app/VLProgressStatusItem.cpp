#include "VLProgressStatusItem.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

QList<QIcon> VLProgressStatusItem::loadFrames()
{
    QList<QIcon> frames;
    for (int i = 1; i <= 5; ++i) {
        // QIcon picks up the "@2x" file beside each frame for high-density screens.
        frames.append(QIcon(QStringLiteral(":/app/TinteraDeviceLogoAnim%1.png").arg(i)));
    }
    return frames;
}

VLProgressStatusItem::VLProgressStatusItem(std::shared_ptr<VLStatusItem> statusItem, QObject *parent)
    : QObject(parent)
    , m_statusItem(std::move(statusItem))
    , m_templateSyncImages(loadFrames())
{
    m_mainImage = m_templateSyncImages.value(0);
    if (m_statusItem)
        m_statusItem->setImage(m_mainImage);
}

VLProgressStatusItem::~VLProgressStatusItem()
{
    stopAnimating();
    {
        std::lock_guard lock(m_sleepLock);
        m_tearingDown = true;
    }
    m_wakeUp.notify_all();
    // A thread may be waiting for the main thread to run its hand-off: run it while waiting here.
    for (Worker &worker : m_workers) {
        while (!worker.done.load()) {
            QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
            QThread::msleep(1);
        }
        worker.thread.join();
    }
    m_templateSyncImages.clear();
}

std::shared_ptr<VLStatusItem> VLProgressStatusItem::statusItem() const
{
    return m_statusItem;
}

void VLProgressStatusItem::setStatusItem(std::shared_ptr<VLStatusItem> statusItem)
{
    m_statusItem = std::move(statusItem);
}

void VLProgressStatusItem::startAnimating()
{
    if (m_isAnimating.load())
        return;
    m_isAnimating.store(true);
    joinFinishedWorkers();
    Worker &worker = m_workers.emplace_back();
    worker.thread = std::thread([this, &worker] {
        animate();
        worker.done.store(true);
    });
}

void VLProgressStatusItem::stopAnimating()
{
    if (!m_isAnimating.load())
        return;
    m_isAnimating.store(false);
    if (m_statusItem)
        m_statusItem->setImage(m_mainImage);
}

void VLProgressStatusItem::animateOnce()
{
    if (m_statusItem && !m_templateSyncImages.isEmpty())
        m_statusItem->setImage(m_templateSyncImages.at(qsizetype(m_animateIndex % quint64(m_templateSyncImages.size()))));
    ++m_animateIndex;
    if (m_animateIndex >= quint64(m_templateSyncImages.size()))
        m_animateIndex = 0;
}

void VLProgressStatusItem::makeDefaultImageShown()
{
    if (m_statusItem)
        m_statusItem->setImage(m_mainImage);
}

int VLProgressStatusItem::runningAnimationThreads() const
{
    int running = 0;
    for (const Worker &worker : m_workers)
        running += worker.done.load() ? 0 : 1;
    return running;
}

void VLProgressStatusItem::animate()
{
    while (m_isAnimating.load()) {
        if (!runOnMainThreadAndWait(&VLProgressStatusItem::animateOnce) || !sleepOneFrame())
            return;
    }
    runOnMainThreadAndWait(&VLProgressStatusItem::makeDefaultImageShown);
}

bool VLProgressStatusItem::sleepOneFrame()
{
    std::unique_lock lock(m_sleepLock);
    return !m_wakeUp.wait_for(lock, m_frameInterval.load(), [this] { return m_tearingDown; });
}

bool VLProgressStatusItem::runOnMainThreadAndWait(void (VLProgressStatusItem::*operation)())
{
    {
        std::lock_guard lock(m_sleepLock);
        if (m_tearingDown)
            return false;
    }
    QMetaObject::invokeMethod(this, [this, operation] { (this->*operation)(); }, Qt::BlockingQueuedConnection);
    return true;
}

void VLProgressStatusItem::joinFinishedWorkers()
{
    for (auto it = m_workers.begin(); it != m_workers.end();) {
        if (it->done.load()) {
            it->thread.join();
            it = m_workers.erase(it);
        } else {
            ++it;
        }
    }
}
