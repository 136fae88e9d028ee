#pragma once

#include "LinkDirection.h"
#include "LinkProfile.h"

#include <chrono>
#include <mutex>

// A link for a server that handles each connection on a thread of its own: the calls sleep as long
// as the bytes take to travel, and the wire each way is shared by all connections, as one home
// connection is. A request that has come in waits its latency and its bytes' time on the way up;
// a reply waits its latency once (replyStarts()) and then each piece its time on the way down.
class LinkPacer
{
public:
    LinkPacer();

    void setLink(const LinkProfile &profile, quint64 seed);
    LinkProfile link() const;
    quint64 seed() const;
    bool isLoopback() const;

    void requestArrived(qint64 bytes);
    void replyStarts();
    void send(qint64 bytes);

private:
    using Clock = std::chrono::steady_clock;
    qint64 now() const;
    static void sleepUntil(qint64 micros, Clock::time_point origin);

    mutable std::mutex m_lock;
    LinkProfile m_profile;
    quint64 m_seed = 0;
    LinkDirection m_up;
    LinkDirection m_down;
    Clock::time_point m_origin;
};
