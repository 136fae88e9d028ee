#pragma once

#include <QtGlobal>

#include <deque>

// One direction of a link, as arithmetic over a clock in microseconds that the caller supplies
// (a real one in the emulators, a made-up one in tests):
//  - the wire takes one byte after the other at its rate, so bytes handed over while it is busy
//    wait their turn (transmit());
//  - every message then travels the one-way latency, which varies from message to message with
//    jitter drawn from a seeded generator, so a run can be repeated exactly (latency()).
class LinkDirection
{
public:
    LinkDirection() = default;
    LinkDirection(qint64 bytesPerSecond, qint64 oneWayMicros, double jitter, quint64 seed);

    bool isUnshaped() const { return m_bytesPerSecond <= 0 && m_oneWayMicros <= 0; }
    qint64 bytesPerSecond() const { return m_bytesPerSecond; }

    // Puts `bytes` on the wire at `now`: returns when the last of them has left.
    qint64 transmit(qint64 bytes, qint64 now);
    // When the wire is free again.
    qint64 busyUntil() const { return m_busyUntil; }
    // The one-way latency of the next message.
    qint64 latency();

private:
    qint64 m_bytesPerSecond = 0;
    qint64 m_oneWayMicros = 0;
    double m_jitter = 0;
    quint64 m_state = 0;
    qint64 m_busyUntil = 0;
    // Fractions of a microsecond carried from one transmission to the next, so that many small
    // pieces take as long as one large one.
    qint64 m_carry = 0;
};

// When the bytes sent through one direction arrive, for a side that is driven by events: bytes
// are sent in any pieces; a piece sent while the wire is idle starts a message and draws its
// latency, later pieces continue it. Bytes arrive in order, spread over their time on the wire.
class LinkSchedule
{
public:
    LinkSchedule() = default;
    explicit LinkSchedule(const LinkDirection &direction) : m_direction(direction) {}

    // Changes the link for bytes sent from now on; bytes already under way keep their times.
    void setDirection(const LinkDirection &direction) { m_direction = direction; }
    bool isUnshaped() const { return m_direction.isUnshaped(); }

    // Returns when the last of the bytes arrives.
    qint64 send(qint64 bytes, qint64 now);
    // How many bytes have arrived by `now`, counted from the first ever sent. Times passed in
    // must not go back.
    qint64 arrived(qint64 now);
    qint64 sent() const { return m_sent; }
    bool isIdle(qint64 now) { return arrived(now) == m_sent; }
    // When arrived() grows next, looking at most `horizon` microseconds ahead; -1 when
    // everything has arrived.
    qint64 nextArrival(qint64 now, qint64 horizon);

private:
    struct Piece
    {
        qint64 bytes;
        qint64 start;   // its first byte goes on the wire
        qint64 end;     // its last byte has left
        qint64 latency;
    };
    qint64 arrivedOf(const Piece &piece, qint64 now) const;

    LinkDirection m_direction;
    std::deque<Piece> m_pieces; // not yet wholly arrived
    qint64 m_sent = 0;
    qint64 m_arrivedBefore = 0; // bytes of pieces already dropped from the list
    qint64 m_latency = 0;       // of the message under way
    qint64 m_lastArrival = 0;   // no byte arrives before the one sent ahead of it
};
