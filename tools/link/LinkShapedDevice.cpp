#include "LinkShapedDevice.h"

#include <QLocalSocket>

#include <algorithm>
#include <cmath>

namespace {
// How often a long transfer is looked at while its bytes trickle in.
constexpr qint64 kTrickleMicros = 2000;
} // namespace

LinkShapedDevice::LinkShapedDevice(QIODevice *inner, QObject *parent)
    : QIODevice(parent)
    , m_inner(inner)
{
    m_elapsed.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        // The timer was rounded to a millisecond: the moment it stood for has come (a clock
        // of the caller's own says itself when it has).
        if (!m_clock)
            m_notBefore = std::max(m_notBefore, m_armedFor);
        advance();
    });
    connect(inner, &QIODevice::readyRead, this, &LinkShapedDevice::innerReadyRead);
    connect(inner, &QIODevice::bytesWritten, this, &QIODevice::bytesWritten);
    connect(inner, &QIODevice::aboutToClose, this, [this] {
        m_timer.stop();
        m_downQueue.clear();
        m_downQueued = 0;
    });
    open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

qint64 LinkShapedDevice::now() const
{
    return std::max(m_notBefore, m_clock ? m_clock() : m_elapsed.nsecsElapsed() / 1000);
}

void LinkShapedDevice::setLink(const LinkProfile &profile, quint64 seed)
{
    m_profile = profile;
    // The device receives what the computer sends up and sends down what the computer receives.
    m_up.setDirection(LinkDirection(profile.upBytesPerSecond, profile.oneWayMicros(), profile.jitter, seed));
    m_down.setDirection(LinkDirection(profile.downBytesPerSecond, profile.oneWayMicros(), profile.jitter,
                                      seed ^ 0x5DEECE66DULL));
    if (auto *socket = qobject_cast<QLocalSocket *>(m_inner.data()))
        socket->setReadBufferSize(profile.isLoopback() ? 0 : kInboundBuffer);
    advance();
}

qint64 LinkShapedDevice::readable(qint64 moment)
{
    if (!m_inner)
        return 0;
    if (m_up.isUnshaped() && m_upRead == m_upScheduled)
        return m_inner->bytesAvailable(); // nothing held back: straight through
    return m_up.arrived(moment) - m_upRead;
}

qint64 LinkShapedDevice::bytesAvailable() const
{
    auto *self = const_cast<LinkShapedDevice *>(this);
    return self->readable(self->now()) + QIODevice::bytesAvailable();
}

qint64 LinkShapedDevice::bytesToWrite() const
{
    return m_downQueued + (m_inner ? m_inner->bytesToWrite() : 0);
}

qint64 LinkShapedDevice::readData(char *data, qint64 maxLength)
{
    if (!m_inner)
        return -1;
    const bool passThrough = m_up.isUnshaped() && m_upRead == m_upScheduled;
    const qint64 allowed = passThrough ? maxLength : std::min(maxLength, readable(now()));
    if (allowed <= 0)
        return 0;
    const qint64 got = m_inner->read(data, allowed);
    if (got > 0 && !passThrough)
        m_upRead += got;
    else if (got > 0) {
        m_upRead += got;
        m_upScheduled += got;
    }
    return std::max<qint64>(got, 0);
}

qint64 LinkShapedDevice::writeData(const char *data, qint64 length)
{
    if (!m_inner)
        return -1;
    if (m_down.isUnshaped() && m_downQueued == 0) {
        const qint64 written = m_inner->write(data, length);
        m_written += std::max<qint64>(written, 0);
        return written;
    }
    m_written += length;
    m_down.send(length, now());
    m_downQueue.emplace_back(data, qsizetype(length));
    m_downQueued += length;
    arm();
    return length;
}

void LinkShapedDevice::innerReadyRead()
{
    if (!m_inner)
        return;
    const qint64 fresh = m_inner->bytesAvailable() - (m_upScheduled - m_upRead);
    if (fresh > 0) {
        if (m_up.isUnshaped() && m_upRead == m_upScheduled) {
            m_upAnnounced = m_upRead + fresh;
            emit readyRead();
            return;
        }
        m_up.send(fresh, now());
        m_upScheduled += fresh;
    }
    advance();
}

void LinkShapedDevice::flushArrived(qint64 moment)
{
    const qint64 due = m_down.arrived(moment) - m_downFlushed;
    qint64 left = std::min(due, m_downQueued);
    while (left > 0 && !m_downQueue.empty()) {
        const QByteArray &head = m_downQueue.front();
        const qint64 piece = std::min<qint64>(left, head.size() - m_downHeadOffset);
        const qint64 written = m_inner->write(head.constData() + m_downHeadOffset, piece);
        if (written <= 0)
            break;
        m_downHeadOffset += qsizetype(written);
        m_downFlushed += written;
        m_downQueued -= written;
        left -= written;
        if (m_downHeadOffset == head.size()) {
            m_downQueue.pop_front();
            m_downHeadOffset = 0;
        }
    }
}

void LinkShapedDevice::advance()
{
    if (!m_inner)
        return;
    const qint64 moment = now();
    if (m_downQueued > 0)
        flushArrived(moment);
    announceArrivals(moment);
    arm();
}

void LinkShapedDevice::announceArrivals(qint64 moment)
{
    // Once per arrival, not per look: a reader that leaves bytes waiting is not called again
    // for them.
    const qint64 arrived = m_upRead + readable(moment);
    if (arrived <= m_upAnnounced)
        return;
    m_upAnnounced = arrived;
    emit readyRead();
}

void LinkShapedDevice::arm()
{
    // Time passes while the reader and the writer work: what arrived meanwhile goes on now. One
    // moment for all that follows, so that nothing counted as arrived below was left out here.
    const qint64 moment = now();
    if (m_downQueued > 0)
        flushArrived(moment);
    if (m_upRead + readable(moment) > m_upAnnounced) {
        m_armedFor = moment;
        m_timer.start(0);
        return;
    }
    qint64 next = -1;
    for (LinkSchedule *schedule : {&m_up, &m_down}) {
        const qint64 due = schedule->nextArrival(moment, kTrickleMicros);
        if (due >= 0 && (next < 0 || due < next))
            next = due;
    }
    // Bytes the reader already may take do not need the timer; nothing waiting needs none.
    if (next < 0) {
        m_timer.stop();
        return;
    }
    // Timers count whole milliseconds: rounding to the nearest keeps the error of sub-millisecond
    // latencies even instead of always late.
    m_armedFor = next;
    const qint64 wait = std::max<qint64>(0, std::llround(double(next - moment) / 1000.0));
    m_timer.start(int(std::min<qint64>(wait, 1000 * 1000)));
}
