#include "CloudSimProcess.h"

#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

QByteArray sequence(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char('a' + i % 26);
    return bytes;
}

} // namespace

TEST(CloudSim, RangesAreNormalisedBeforeTheyAreServed)
{
    const QByteArray payload = sequence(10000);
    CloudSimFixture cloud({{"f.bin", payload}});
    ASSERT_TRUE(cloud.server->isRunning());
    QByteArray body;
    QByteArray headers;
    auto ranged = [&](const char *range) {
        return cloud.server->get("files/f.bin", &body, QByteArray("Range: ") + range + "\r\n", &headers);
    };

    EXPECT_EQ(ranged("bytes=1000-1999"), 206);
    EXPECT_EQ(body, payload.mid(1000, 1000));
    EXPECT_TRUE(headers.contains("Content-Range: bytes 1000-1999/10000"));
    EXPECT_EQ(ranged("bytes=9990-20000000"), 206); // end past the file: clamped
    EXPECT_EQ(body, payload.mid(9990));
    EXPECT_TRUE(headers.contains("Content-Length: 10\r\n") || headers.endsWith("Content-Length: 10"));
    EXPECT_EQ(ranged("bytes=-20000000"), 206); // suffix longer than the file: all of it
    EXPECT_EQ(body, payload);
    EXPECT_EQ(ranged("bytes=-500"), 206);
    EXPECT_EQ(body, payload.right(500));

    EXPECT_EQ(ranged("bytes=10000-"), 416); // starts at the end
    EXPECT_TRUE(headers.contains("Content-Range: bytes */10000"));
    EXPECT_EQ(ranged("bytes=20000000-20000010"), 416);
    EXPECT_EQ(ranged("bytes=-0"), 416);
    EXPECT_EQ(ranged("bytes=0-9,20-29"), 200); // several ranges: the whole file
    EXPECT_EQ(body, payload);

    // Served bytes are counted per file; XML endpoints ignore ranges; names never leave files/.
    EXPECT_EQ(cloud.server->bytesServed("f.bin"), 1000 + 10 + 10000 + 500 + 10000);
    EXPECT_EQ(cloud.server->get("OpenDeviceSession?deviceID=a&securityKey=b", &body, "Range: bytes=5-9\r\n"), 200);
    EXPECT_TRUE(body.startsWith("<?xml"));
    EXPECT_EQ(cloud.server->get("files/..%2Findex.json"), 404);
    EXPECT_EQ(cloud.server->get("files/missing.bin"), 404);
}

TEST(CloudSim, FaultsComeFromTheCommandLineAndTheControlEndpoint)
{
    CloudSimFixture cloud({{"f.bin", sequence(100)}}, {"--fault", "OpenDeviceSession:http=503,times=1"});
    ASSERT_TRUE(cloud.server->isRunning());
    QByteArray body;
    EXPECT_EQ(cloud.server->get("OpenDeviceSession?deviceID=a&securityKey=b", &body), 503);
    EXPECT_TRUE(body.contains("<SessionId>")); // the XML reply, with the fault's status
    EXPECT_EQ(cloud.server->get("OpenDeviceSession?deviceID=a&securityKey=b"), 200); // used up

    EXPECT_TRUE(cloud.server->setFault("OpenDeviceSession", {{"statuscode", "3"}, {"message", "Nope, <sorry> & bye"}}));
    cloud.server->get("OpenDeviceSession", &body);
    EXPECT_TRUE(body.contains("<StatusCode>3</StatusCode>"));
    EXPECT_TRUE(body.contains("Nope, &lt;sorry&gt; &amp; bye"));
    EXPECT_EQ(cloud.server->control("stats")["faults"]["OpenDeviceSession"].toString(),
              "statuscode=3,message=Nope, <sorry> & bye");

    EXPECT_FALSE(cloud.server->setFault("Nowhere", {{"http", "500"}}));
    EXPECT_FALSE(cloud.server->setFault("files", {{"http", "99"}}));
    EXPECT_FALSE(cloud.server->setFault("files", {{"explode", "1"}}));
    cloud.server->control("reset");
    EXPECT_TRUE(cloud.server->control("stats")["faults"].toObject().isEmpty());
    EXPECT_EQ(cloud.server->get("OpenDeviceSession", &body), 200);
    EXPECT_TRUE(body.contains("<StatusCode>1</StatusCode>")); // no deviceID
}
