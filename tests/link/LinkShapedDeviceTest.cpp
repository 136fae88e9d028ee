// The shaped stream of the device emulator over a real local socket, driven by a clock the test
// moves: bytes are held until the link has carried them, and come out whole and in order. (Every
// emulated device talks through one on loopback, so the end-to-end tests carry the straight path.)
#include "LinkShapedDevice.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace {

QByteArray pattern(int length, int salt)
{
    QByteArray bytes(length, Qt::Uninitialized);
    for (int i = 0; i < length; ++i)
        bytes[i] = char((i * 31 + salt) & 0xff);
    return bytes;
}

// A connected pair of local sockets; the server's end is wrapped, as the emulator wraps it.
class LinkShapedDeviceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.listen(m_dir.filePath(QStringLiteral("s"))));
        m_client.connectToServer(m_server.fullServerName());
        ASSERT_TRUE(m_client.waitForConnected(5000));
        ASSERT_TRUE(QTest::qWaitFor([this] { return m_server.hasPendingConnections(); }, 5000));
        m_far = m_server.nextPendingConnection();
        m_shaped = std::make_unique<LinkShapedDevice>(m_far);
        m_shaped->setClock([this] { return m_now; });
    }

    void useLink(const char *name)
    {
        m_shaped->setLink(*LinkProfile::named(QString::fromLatin1(name)), 1);
    }
    // One byte per microsecond each way, 500 us of latency each way, no jitter.
    void useSteadyLink()
    {
        m_shaped->setLink(LinkProfile{QStringLiteral("steady"), LinkProfile::Side::Any, 1000000, 1000000, 1000, 0}, 1);
    }

    // Lets the sockets move what they hold (no link time passes: the test's clock stands still).
    void settle() { QTest::qWait(20); }

    void moveClockTo(qint64 micros)
    {
        m_now = micros;
        m_shaped->advance();
        settle();
    }

    QTemporaryDir m_dir;
    QLocalServer m_server;
    QLocalSocket m_client;
    QLocalSocket *m_far = nullptr;
    std::unique_ptr<LinkShapedDevice> m_shaped;
    qint64 m_now = 0;
};

TEST_F(LinkShapedDeviceTest, WhatComesUpIsHeldUntilItHasArrived)
{
    useSteadyLink();
    const QByteArray sent = pattern(1000, 1);
    QSignalSpy announced(m_shaped.get(), &QIODevice::readyRead);
    m_client.write(sent);
    ASSERT_TRUE(QTest::qWaitFor([this] { return m_far->bytesAvailable() == 1000 || m_shaped->bytesAvailable() > 0; }, 5000));
    settle();
    EXPECT_EQ(m_shaped->bytesAvailable(), 0);
    EXPECT_EQ(m_shaped->read(1000), QByteArray());

    moveClockTo(1000); // half way through its time on the wire
    EXPECT_EQ(m_shaped->bytesAvailable(), 500);
    EXPECT_GE(announced.size(), 1);
    QByteArray received = m_shaped->read(2000);
    EXPECT_EQ(received.size(), 500);
    moveClockTo(1500);
    received += m_shaped->readAll();
    EXPECT_EQ(received, sent);
    EXPECT_EQ(m_shaped->totalRead(), 1000);
}

TEST_F(LinkShapedDeviceTest, WhatGoesDownReachesTheOtherSideOnlyWhenItHasArrived)
{
    useSteadyLink();
    const QByteArray first = pattern(1000, 2);
    const QByteArray second = pattern(300, 3);
    EXPECT_EQ(m_shaped->write(first), 1000);
    EXPECT_EQ(m_shaped->write(second), 300); // while the wire is busy: the same message
    EXPECT_EQ(m_shaped->bytesToWrite(), 1300);
    EXPECT_EQ(m_shaped->totalWritten(), 1300);
    settle();
    EXPECT_EQ(m_client.bytesAvailable(), 0);

    moveClockTo(1500); // the first piece is whole
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_client.bytesAvailable() >= 1000; }, 5000));
    EXPECT_EQ(m_client.bytesAvailable(), 1000);
    moveClockTo(1800);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_client.bytesAvailable() >= 1300; }, 5000));
    EXPECT_EQ(m_client.readAll(), first + second);
    EXPECT_EQ(m_shaped->bytesToWrite(), 0);
}

TEST_F(LinkShapedDeviceTest, ChangingTheLinkUnderWayKeepsTheOrder)
{
    useLink("mobile"); // 40 ms each way
    const QByteArray early = pattern(200, 6);
    const QByteArray late = pattern(200, 7);
    m_shaped->write(early);
    useLink("loopback");
    m_shaped->write(late); // may not overtake the bytes still on the slow link
    settle();
    EXPECT_EQ(m_client.bytesAvailable(), 0);
    moveClockTo(200000);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_client.bytesAvailable() >= 400; }, 5000));
    EXPECT_EQ(m_client.readAll(), early + late);
    // Once drained, loopback is straight through again.
    m_shaped->write(early);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_client.bytesAvailable() >= 200; }, 5000));
}

TEST_F(LinkShapedDeviceTest, BytesThatArriveWhileTheDeviceLooksStillGoOut)
{
    // A clock that moves on every time it is read, as a loaded machine's does between two looks:
    // whatever has arrived by the last look must go out, not be forgotten between the looks.
    m_shaped->setClock([this] { return m_now += 40; });
    m_shaped->setLink(LinkProfile{QStringLiteral("fast"), LinkProfile::Side::Any, 30000000, 30000000, 200, 0}, 1);
    for (int round = 0; round < 20; ++round) {
        const QByteArray down = pattern(180, round);
        m_shaped->write(down);
        EXPECT_TRUE(QTest::qWaitFor([&] { return m_client.bytesAvailable() >= down.size(); }, 5000)) << round;
        EXPECT_EQ(m_client.readAll(), down);
        const QByteArray up = pattern(500, round + 100);
        m_client.write(up);
        QByteArray received;
        EXPECT_TRUE(QTest::qWaitFor([&] {
            received += m_shaped->readAll();
            return received.size() >= up.size();
        }, 5000)) << round;
        EXPECT_EQ(received, up);
    }
}

} // namespace
