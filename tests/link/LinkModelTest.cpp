// The arithmetic of the link model against a clock the test moves: no test here sleeps.
#include "LinkDirection.h"
#include "LinkProfile.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(LinkProfileTest, ProfilesAndSettingsByName)
{
    const auto usb = LinkProfile::named(QStringLiteral("usb-full-speed"));
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->side, LinkProfile::Side::Device);
    EXPECT_FALSE(usb->isLoopback());
    EXPECT_TRUE(LinkProfile::named(QStringLiteral("loopback"))->isLoopback());
    EXPECT_FALSE(LinkProfile::named(QStringLiteral("dialup")));

    QString error;
    const auto both = LinkSetting::parse(QStringLiteral("usb-high-speed+dsl"), &error);
    ASSERT_TRUE(both) << error.toStdString();
    EXPECT_EQ(both->device.name, QStringLiteral("usb-high-speed"));
    EXPECT_EQ(both->service.name, QStringLiteral("dsl"));
    EXPECT_EQ(both->name(), QStringLiteral("usb-high-speed+dsl"));

    // One name goes to its own side; the other stays on loopback.
    const auto service = LinkSetting::parse(QStringLiteral("mobile"), &error);
    ASSERT_TRUE(service);
    EXPECT_TRUE(service->device.isLoopback());
    EXPECT_EQ(service->service.name, QStringLiteral("mobile"));
    const auto device = LinkSetting::parse(QStringLiteral("usb-full-speed"), &error);
    ASSERT_TRUE(device);
    EXPECT_TRUE(device->service.isLoopback());
    EXPECT_EQ(LinkSetting::parse(QStringLiteral("loopback"), &error)->name(), QStringLiteral("loopback"));

    for (const char *bad : {"dsl+usb-full-speed", "usb-full-speed+dsl+mobile", "usb+dsl", ""}) {
        error.clear();
        EXPECT_FALSE(LinkSetting::parse(QString::fromLatin1(bad), &error)) << bad;
        EXPECT_FALSE(error.isEmpty()) << bad;
    }
}

TEST(LinkProfileTest, ExchangeIsRoundTripPlusBothTransfers)
{
    const LinkProfile usb = *LinkProfile::named(QStringLiteral("usb-full-speed")); // 1 MB/s, 1 ms
    EXPECT_EQ(usb.exchangeMicros(1000, 1000000), 1000 + 1000 + 1000000);
    const LinkProfile dsl = *LinkProfile::named(QStringLiteral("dsl")); // 2 MB/s down, 125 kB/s up, 30 ms
    EXPECT_EQ(dsl.exchangeMicros(250, 2000000), 30000 + 2000 + 1000000);
    EXPECT_EQ(LinkProfile::named(QStringLiteral("loopback"))->exchangeMicros(1 << 20, 1 << 20), 0);
    // A byte has not arrived until all of it has: partial microseconds round up.
    EXPECT_EQ(LinkProfile::transferMicros(1, 3000000), 1);
}

TEST(LinkDirectionTest, TheWireCarriesOneThingAtATime)
{
    LinkDirection wire(1000000, 0, 0, 1); // one byte per microsecond
    EXPECT_EQ(wire.transmit(1000, 0), 1000);
    // Handed over while the wire is busy: it waits its turn.
    EXPECT_EQ(wire.transmit(500, 200), 1500);
    // Handed over to an idle wire: it starts at once.
    EXPECT_EQ(wire.transmit(10, 5000), 5010);
    EXPECT_EQ(wire.busyUntil(), 5010);

    // Many small pieces take as long as one large one: fractions are carried, not lost.
    LinkDirection slow(3000000, 0, 0, 1); // three bytes per microsecond
    qint64 end = 0;
    for (int i = 0; i < 3000; ++i)
        end = slow.transmit(1, 0);
    EXPECT_EQ(end, 1000);

    LinkDirection unlimited(0, 0, 0, 1);
    EXPECT_TRUE(unlimited.isUnshaped());
    EXPECT_EQ(unlimited.transmit(1 << 30, 42), 42);
}

TEST(LinkDirectionTest, JitterIsSeededBoundedAndCentred)
{
    LinkDirection a(0, 10000, 0.1, 7);
    LinkDirection b(0, 10000, 0.1, 7);
    LinkDirection c(0, 10000, 0.1, 8);
    double sum = 0;
    bool differs = false;
    const int n = 20000;
    for (int i = 0; i < n; ++i) {
        const qint64 latency = a.latency();
        EXPECT_EQ(latency, b.latency());
        differs = differs || latency != c.latency();
        EXPECT_GE(latency, 9000);
        EXPECT_LE(latency, 11000);
        sum += double(latency);
    }
    EXPECT_TRUE(differs);
    EXPECT_NEAR(sum / n, 10000.0, 50.0);
    LinkDirection steady(0, 10000, 0, 7);
    EXPECT_EQ(steady.latency(), 10000);
}

TEST(LinkScheduleTest, BytesArriveSpreadOverTheirTimeOnTheWirePlusLatency)
{
    LinkSchedule schedule(LinkDirection(1000000, 500, 0, 1));
    EXPECT_EQ(schedule.send(1000, 0), 1500);
    EXPECT_EQ(schedule.arrived(500), 0);
    EXPECT_EQ(schedule.arrived(1000), 500);
    EXPECT_EQ(schedule.arrived(1499), 999);
    EXPECT_EQ(schedule.arrived(1500), 1000);
    EXPECT_TRUE(schedule.isIdle(1500));
    EXPECT_EQ(schedule.nextArrival(1500, 100), -1);

    // A later message pays the latency again; one sent while the wire is busy continues the
    // message under way and pays only its bytes.
    EXPECT_EQ(schedule.send(100, 3000), 3600);
    EXPECT_EQ(schedule.send(100, 3050), 3700);
    EXPECT_EQ(schedule.arrived(3600), 1100);
    EXPECT_EQ(schedule.arrived(3700), 1200);
    EXPECT_EQ(schedule.sent(), 1200);
}

TEST(LinkScheduleTest, NextArrivalLooksNoFurtherThanTheHorizonAndNoSoonerThanTheFirstByte)
{
    LinkSchedule schedule(LinkDirection(1000000, 500, 0, 1));
    schedule.send(100000, 0); // on the wire until 100000, whole at 100500
    EXPECT_EQ(schedule.nextArrival(0, 2000), 2000);       // trickling in by then
    EXPECT_EQ(schedule.nextArrival(0, 100), 501);         // nothing before the first byte
    EXPECT_EQ(schedule.nextArrival(99000, 2000), 100500); // the whole of it
    schedule.send(10, 200000);
    schedule.arrived(100500);
    EXPECT_EQ(schedule.nextArrival(100500, 2000), 200501); // the next message's first byte
}

TEST(LinkScheduleTest, NothingOvertakesWhatWasSentBeforeIt)
{
    LinkSchedule schedule(LinkDirection(1000000, 1000, 0, 1));
    EXPECT_EQ(schedule.send(100, 0), 1100);
    // The link changes under way to one without latency: the new bytes still wait.
    schedule.setDirection(LinkDirection(1000000, 0, 0, 1));
    EXPECT_EQ(schedule.send(100, 200), 1100);
    EXPECT_EQ(schedule.arrived(400), 0);
    EXPECT_EQ(schedule.arrived(1100), 200);

    // With jitter, arrivals never go backwards and keep the order of sending.
    LinkSchedule jittery(LinkDirection(100000, 5000, 1.0, 3));
    qint64 last = 0;
    qint64 lastArrival = 0;
    for (qint64 t = 0; t < 200000; t += 700) {
        if (t % 2100 == 0)
            lastArrival = jittery.send(50, t);
        const qint64 arrived = jittery.arrived(t);
        EXPECT_GE(arrived, last);
        EXPECT_LE(arrived, jittery.sent());
        last = arrived;
    }
    EXPECT_EQ(jittery.arrived(lastArrival), jittery.sent());
}

} // namespace
