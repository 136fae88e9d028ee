#pragma once

#include "VLStatusItem.h"

#include <QIcon>
#include <QList>
#include <QObject>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

// Animates the status item's image while a sync runs: the five device frames in turn, one per
// frame interval, from a thread of its own that changes the image only through blocking hand-offs
// to the main thread. The first frame is the resting image.
//
// The frame index is never reset, so an animation continues where the last one stopped. A stop
// followed by a start within one interval leaves the old thread running beside the new one (it
// finds the flag set again); both stop at the next stop.
class VLProgressStatusItem : public QObject
{
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kFrameInterval{800};

    // Loads the frames and shows the first one on the item.
    explicit VLProgressStatusItem(std::shared_ptr<VLStatusItem> statusItem, QObject *parent = nullptr);
    ~VLProgressStatusItem() override;

    std::shared_ptr<VLStatusItem> statusItem() const;
    void setStatusItem(std::shared_ptr<VLStatusItem> statusItem);
    bool isAnimating() const { return m_isAnimating.load(); }
    void setIsAnimating(bool animating) { m_isAnimating.store(animating); }

    void startAnimating();
    void stopAnimating();
    // Main thread: show the frame at the index and move the index on, wrapping after the last.
    void animateOnce();
    // Main thread: show the resting image.
    void makeDefaultImageShown();

    const QList<QIcon> &templateSyncImages() const { return m_templateSyncImages; }
    QIcon mainImage() const { return m_mainImage; }
    quint64 animateIndex() const { return m_animateIndex; }
    // Animation threads that have not ended yet.
    int runningAnimationThreads() const;
    // Tests shorten the interval; the application keeps kFrameInterval.
    void setFrameInterval(std::chrono::milliseconds interval) { m_frameInterval.store(interval); }

    static QList<QIcon> loadFrames();

private:
    struct Worker
    {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void animate();
    // Waits one frame interval; false when the indicator is being destroyed.
    bool sleepOneFrame();
    bool runOnMainThreadAndWait(void (VLProgressStatusItem::*operation)());
    void joinFinishedWorkers();

    std::shared_ptr<VLStatusItem> m_statusItem;
    std::atomic<bool> m_isAnimating{false};
    quint64 m_animateIndex = 0;
    QIcon m_mainImage;
    QList<QIcon> m_templateSyncImages;

    std::atomic<std::chrono::milliseconds> m_frameInterval{kFrameInterval};
    std::list<Worker> m_workers;
    std::mutex m_sleepLock;
    std::condition_variable m_wakeUp;
    bool m_tearingDown = false; // guarded by m_sleepLock
};
