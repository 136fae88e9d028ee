#include "LinkDirection.h"

#include <algorithm>
#include <cmath>

namespace {

// splitmix64: small, fast and the same on every platform, unlike the standard distributions.
quint64 nextRandom(quint64 &state)
{
    quint64 z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

qint64 microsForOneByte(qint64 bytesPerSecond)
{
    return (1000000 + bytesPerSecond - 1) / bytesPerSecond;
}

} // namespace

LinkDirection::LinkDirection(qint64 bytesPerSecond, qint64 oneWayMicros, double jitter, quint64 seed)
    : m_bytesPerSecond(std::max<qint64>(0, bytesPerSecond))
    , m_oneWayMicros(std::max<qint64>(0, oneWayMicros))
    , m_jitter(std::clamp(jitter, 0.0, 1.0))
    , m_state(seed)
{
}

qint64 LinkDirection::transmit(qint64 bytes, qint64 now)
{
    const qint64 start = std::max(now, m_busyUntil);
    if (m_bytesPerSecond <= 0 || bytes <= 0) {
        m_busyUntil = start;
        return start;
    }
    const qint64 scaled = bytes * 1000000 + m_carry;
    m_carry = scaled % m_bytesPerSecond;
    m_busyUntil = start + scaled / m_bytesPerSecond;
    return m_busyUntil;
}

qint64 LinkDirection::latency()
{
    if (m_oneWayMicros <= 0)
        return 0;
    if (m_jitter <= 0)
        return m_oneWayMicros;
    // Uniform in [-1, 1): 53 random bits as a fraction.
    const double unit = double(nextRandom(m_state) >> 11) * (1.0 / 9007199254740992.0) * 2.0 - 1.0;
    return std::max<qint64>(0, std::llround(double(m_oneWayMicros) * (1.0 + m_jitter * unit)));
}

qint64 LinkSchedule::send(qint64 bytes, qint64 now)
{
    if (bytes <= 0)
        return now;
    // A piece that finds the wire idle starts a message of its own.
    if (m_direction.busyUntil() <= now || m_pieces.empty())
        m_latency = m_direction.latency();
    const qint64 start = std::max(now, m_direction.busyUntil());
    const qint64 end = m_direction.transmit(bytes, now);
    m_pieces.push_back(Piece{bytes, start, end, m_latency});
    m_sent += bytes;
    m_lastArrival = std::max(m_lastArrival, end + m_latency);
    return m_lastArrival;
}

qint64 LinkSchedule::arrivedOf(const Piece &piece, qint64 now) const
{
    const qint64 travelling = now - piece.latency - piece.start;
    if (now - piece.latency >= piece.end)
        return piece.bytes;
    if (travelling <= 0 || m_direction.bytesPerSecond() <= 0)
        return 0;
    return std::min(piece.bytes, travelling * m_direction.bytesPerSecond() / 1000000);
}

qint64 LinkSchedule::arrived(qint64 now)
{
    // Whole pieces that have arrived leave the list; the first one still under way, and
    // everything behind it, stays (nothing overtakes).
    while (!m_pieces.empty() && arrivedOf(m_pieces.front(), now) == m_pieces.front().bytes) {
        m_arrivedBefore += m_pieces.front().bytes;
        m_pieces.pop_front();
    }
    return m_arrivedBefore + (m_pieces.empty() ? 0 : arrivedOf(m_pieces.front(), now));
}

qint64 LinkSchedule::nextArrival(qint64 now, qint64 horizon)
{
    arrived(now);
    if (m_pieces.empty())
        return -1;
    const Piece &head = m_pieces.front();
    const qint64 whole = head.end + head.latency;
    if (m_direction.bytesPerSecond() <= 0)
        return whole;
    // Bytes trickle in between the first and the last: look again within the horizon, but not
    // before the first of them is there.
    const qint64 firstByte = head.start + head.latency + microsForOneByte(m_direction.bytesPerSecond());
    return std::min(whole, std::max(now + std::max<qint64>(1, horizon), firstByte));
}
