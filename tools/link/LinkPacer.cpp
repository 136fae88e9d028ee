#include "LinkPacer.h"

#include <thread>

LinkPacer::LinkPacer()
    : m_origin(Clock::now())
{
}

qint64 LinkPacer::now() const
{
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_origin).count();
}

void LinkPacer::sleepUntil(qint64 micros, Clock::time_point origin)
{
    std::this_thread::sleep_until(origin + std::chrono::microseconds(micros));
}

void LinkPacer::setLink(const LinkProfile &profile, quint64 seed)
{
    std::lock_guard locker(m_lock);
    m_profile = profile;
    m_seed = seed;
    m_up = LinkDirection(profile.upBytesPerSecond, profile.oneWayMicros(), profile.jitter, seed);
    m_down = LinkDirection(profile.downBytesPerSecond, profile.oneWayMicros(), profile.jitter, seed ^ 0x5DEECE66DULL);
}

LinkProfile LinkPacer::link() const
{
    std::lock_guard locker(m_lock);
    return m_profile;
}

quint64 LinkPacer::seed() const
{
    std::lock_guard locker(m_lock);
    return m_seed;
}

bool LinkPacer::isLoopback() const
{
    std::lock_guard locker(m_lock);
    return m_profile.isLoopback();
}

void LinkPacer::requestArrived(qint64 bytes)
{
    qint64 until = 0;
    {
        std::lock_guard locker(m_lock);
        if (m_profile.isLoopback())
            return;
        const qint64 latency = m_up.latency();
        until = m_up.transmit(bytes, now()) + latency;
    }
    sleepUntil(until, m_origin);
}

void LinkPacer::replyStarts()
{
    qint64 latency = 0;
    {
        std::lock_guard locker(m_lock);
        if (m_profile.isLoopback())
            return;
        latency = m_down.latency();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(latency));
}

void LinkPacer::send(qint64 bytes)
{
    qint64 until = 0;
    {
        std::lock_guard locker(m_lock);
        if (m_profile.isLoopback())
            return;
        until = m_down.transmit(bytes, now());
    }
    sleepUntil(until, m_origin);
}
