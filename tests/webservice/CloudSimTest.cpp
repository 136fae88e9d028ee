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

TEST(CloudSim, ALinkCarriesRepliesWholeAndTheRequestsLogTheirBytes)
{
    const QByteArray payload = sequence(300000);
    CloudSimFixture cloud({{"f.bin", payload}}, {"--link", "usb-high-speed"});
    ASSERT_TRUE(cloud.server->isRunning());
    EXPECT_EQ(cloud.server->control("link")["profile"].toString(), "usb-high-speed");

    // Bodies given whole (the XML replies) and files go out through the link unchanged.
    QByteArray body;
    QByteArray headers;
    EXPECT_EQ(cloud.server->get("OpenDeviceSession?deviceID=a&securityKey=b", &body, {}, &headers), 200);
    EXPECT_TRUE(body.startsWith("<?xml"));
    EXPECT_EQ(headers.count("Content-Type"), 1);
    EXPECT_EQ(cloud.server->get("files/f.bin", &body, "Range: bytes=1000-\r\n"), 206);
    EXPECT_EQ(body, payload.mid(1000));

    // Each request records what crossed the link each way and the service's own time.
    const QJsonArray requests = cloud.server->requests();
    ASSERT_EQ(requests.size(), 2);
    const QJsonObject file = requests.at(1).toObject();
    EXPECT_GT(file["requestBytes"].toInteger(), 20);
    EXPECT_GT(file["responseBytes"].toInteger(), payload.size() - 1000);
    EXPECT_LT(file["responseBytes"].toInteger(), payload.size() - 1000 + 1000);
    EXPECT_GE(file["micros"].toInteger(), 0);

    // The control endpoint changes the link at run time and refuses what it does not know.
    EXPECT_EQ(cloud.server->control("link?profile=dsl&seed=9")["profile"].toString(), "dsl");
    EXPECT_EQ(cloud.server->control("link")["seed"].toInteger(), 9);
    EXPECT_TRUE(cloud.server->control("link?profile=carrier-pigeon")["error"].toString().contains("carrier-pigeon"));
    EXPECT_EQ(cloud.server->control("link?profile=loopback")["profile"].toString(), "loopback");
}
