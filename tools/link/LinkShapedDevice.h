#pragma once

#include "LinkDirection.h"
#include "LinkProfile.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QIODevice>
#include <QPointer>
#include <QTimer>

#include <deque>
#include <functional>

// The far end of a link (an emulated device) reading and writing through a link profile: what it
// reads has travelled up the link, what it writes travels down before the other side sees it.
// Over "loopback" it passes bytes straight through. Waiting bytes are bounded: the inner socket
// stops reading once its buffer is full, so a fast sender is held back by the link as a real one
// would be, and writers see bytesToWrite() grow and wait.
class LinkShapedDevice : public QIODevice
{
    Q_OBJECT
public:
    // Bytes the inner device buffers while they wait to arrive.
    static constexpr qint64 kInboundBuffer = 1024 * 1024;

    explicit LinkShapedDevice(QIODevice *inner, QObject *parent = nullptr);

    void setLink(const LinkProfile &profile, quint64 seed);
    const LinkProfile &link() const { return m_profile; }
    // Microseconds of a monotonic clock (tests drive their own).
    void setClock(std::function<qint64()> clock) { m_clock = std::move(clock); }
    // Looks at the clock again: delivers what has arrived and re-arms the timer. The timer calls
    // it; tests with their own clock call it after moving the clock.
    void advance();

    // Bytes read and written through this device since it was made.
    qint64 totalRead() const { return m_upRead; }
    qint64 totalWritten() const { return m_written; }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override;
    qint64 bytesToWrite() const override;

protected:
    qint64 readData(char *data, qint64 maxLength) override;
    qint64 writeData(const char *data, qint64 length) override;

private:
    qint64 now() const;
    void innerReadyRead();
    qint64 readable(qint64 moment);
    void flushArrived(qint64 moment);
    void announceArrivals(qint64 moment);
    void arm();

    QPointer<QIODevice> m_inner;
    LinkProfile m_profile;
    LinkSchedule m_up;   // inner -> this: what the other side sent
    LinkSchedule m_down; // this -> inner
    qint64 m_upScheduled = 0; // bytes seen in the inner device and put on the up schedule
    qint64 m_upRead = 0;      // of those, handed to our reader
    qint64 m_upAnnounced = 0; // arrived bytes the reader has been told of
    std::deque<QByteArray> m_downQueue;
    qsizetype m_downHeadOffset = 0;
    qint64 m_downQueued = 0;  // bytes in m_downQueue not yet written to the inner device
    qint64 m_downFlushed = 0; // bytes written to the inner device
    qint64 m_written = 0;
    QTimer m_timer;
    QElapsedTimer m_elapsed;
    std::function<qint64()> m_clock;
    qint64 m_armedFor = 0;
    qint64 m_notBefore = 0;
};
