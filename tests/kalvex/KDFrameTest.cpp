#include "KDError.h"
#include "KDFrameReader.h"
#include "KDFrameWriter.h"
#include "KDWireProtocol.h"
#include "KXObject.h"
#include "KXTypes.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

QByteArray frameBytes(const QVariantMap &header, const QByteArray &payload)
{
    QByteArray bytes = KDWire::encodeFrameStart(header, quint64(payload.size()));
    return bytes + payload;
}

// Feeds the bytes in pieces of the given size and collects the frames.
QList<KDFrame> readAll(KDFrameReader &reader, const QByteArray &bytes, int piece, bool *failed)
{
    QList<KDFrame> frames;
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);
    *failed = false;
    for (qsizetype offset = 0; offset < bytes.size(); offset += piece) {
        const qint64 position = buffer.pos();
        buffer.seek(buffer.size());
        buffer.write(bytes.mid(offset, piece));
        buffer.seek(position);
        for (;;) {
            const KDFrameReader::Result result = reader.readFrom(&buffer);
            if (result == KDFrameReader::Result::Failed) {
                *failed = true;
                return frames;
            }
            if (result == KDFrameReader::Result::NeedMoreData)
                break;
            frames.append(reader.takeFrame());
        }
    }
    return frames;
}

} // namespace

TEST(KDFrames, FramesSurviveAnySplitOfTheStream)
{
    const QVariantMap first{{KDWire::KindKey, KDWire::KindCommand}, {KDWire::IdKey, 1}, {KDWire::CommandKey, QStringLiteral("Upload")}};
    const QVariantMap second{{KDWire::KindKey, KDWire::KindResponse}, {KDWire::IdKey, 1}};
    const QByteArray payload(3000, 'p');
    const QByteArray stream = frameBytes(first, payload) + frameBytes(second, {});
    for (int piece : {1, 7, 16, 4096}) {
        KDFrameReader reader(1 << 20);
        bool failed = false;
        const QList<KDFrame> frames = readAll(reader, stream, piece, &failed);
        ASSERT_FALSE(failed) << piece;
        ASSERT_EQ(frames.size(), 2) << piece;
        EXPECT_EQ(frames[0].header.value(KDWire::CommandKey), QStringLiteral("Upload"));
        EXPECT_EQ(frames[0].payload.toByteArray(), payload);
        EXPECT_EQ(frames[1].header, second);
        EXPECT_EQ(frames[1].payload.size(), 0);
    }
}

TEST(KDFrames, BrokenFramesAreRefused)
{
    const QVariantMap header{{KDWire::KindKey, KDWire::KindHello}};
    QByteArray wrongMarker = frameBytes(header, {});
    wrongMarker[0] = 'X';
    QByteArray hugeHeader = frameBytes(header, {});
    qToBigEndian<quint32>(KDWire::kMaxHeaderLength + 1, hugeHeader.data() + 4);
    QByteArray hugePayload = frameBytes(header, {});
    qToBigEndian<quint64>(quint64(1) << 40, hugePayload.data() + 8);
    QByteArray notADictionary = KDWire::encodeFrameStart(header, 0);
    notADictionary.truncate(KDWire::kPrefixLength);
    const QByteArray list("<plist><array/></plist>");
    qToBigEndian<quint32>(quint32(list.size()), notADictionary.data() + 4);
    notADictionary += list;
    QByteArray zeroHeader = frameBytes(header, {});
    qToBigEndian<quint32>(0, zeroHeader.data() + 4);

    for (const QByteArray &bytes : {wrongMarker, hugeHeader, hugePayload, notADictionary, zeroHeader}) {
        KDFrameReader reader(1 << 20);
        bool failed = false;
        EXPECT_TRUE(readAll(reader, bytes, 5, &failed).isEmpty());
        EXPECT_TRUE(failed);
        EXPECT_EQ(reader.error().code(), KDErrorBadFrame);
    }
}

TEST(KDFrames, PayloadsGoToTheSinkChosenByTheHeader)
{
    QBuffer sink;
    sink.open(QIODevice::WriteOnly);
    KDFrameReader reader(16); // anything larger than this must not be held in memory
    QList<quint64> announced;
    reader.setPayloadSink([&](const QVariantMap &, quint64 length) -> QIODevice * {
        announced.append(length);
        return length > 16 ? &sink : nullptr;
    });
    const QByteArray large(5000, 'L');
    bool failed = false;
    const QList<KDFrame> frames =
        readAll(reader, frameBytes({{KDWire::KindKey, KDWire::KindCommand}}, large) + frameBytes({{KDWire::KindKey, KDWire::KindCommand}}, "small"),
                333, &failed);
    ASSERT_FALSE(failed);
    ASSERT_EQ(frames.size(), 2);
    EXPECT_EQ(announced, (QList<quint64>{5000, 5}));
    EXPECT_EQ(sink.data(), large);
    EXPECT_TRUE(frames[0].payload.isNull());
    EXPECT_EQ(frames[1].payload.toByteArray(), QByteArray("small"));
}

TEST(KDFrames, WriterOutputReadsBack)
{
    QBuffer stream;
    stream.open(QIODevice::ReadWrite);
    KDFrameWriter writer(&stream);
    const QByteArray payload(3 * KDFrameWriter::kPieceLength + 17, 'w');
    ASSERT_TRUE(writer.enqueue({{KDWire::KindKey, KDWire::KindCommand}, {KDWire::IdKey, 9}}, KDPayload(payload)));
    writer.enqueueRaw("");
    ASSERT_TRUE(writer.enqueue({{KDWire::KindKey, KDWire::KindResponse}}, KDPayload()));
    EXPECT_TRUE(writer.isIdle());
    stream.seek(0);
    KDFrameReader reader(quint64(1) << 30);
    ASSERT_EQ(reader.readFrom(&stream), KDFrameReader::Result::FrameComplete);
    const KDFrame frame = reader.takeFrame();
    EXPECT_EQ(frame.header.value(KDWire::IdKey).toLongLong(), 9);
    EXPECT_EQ(frame.payload.toByteArray(), payload);
    ASSERT_EQ(reader.readFrom(&stream), KDFrameReader::Result::FrameComplete);
    EXPECT_EQ(reader.takeFrame().header.value(KDWire::KindKey), KDWire::KindResponse);
    EXPECT_EQ(reader.readFrom(&stream), KDFrameReader::Result::NeedMoreData);
}

TEST(KDFrames, APeerThatGoesAwayMidPayloadFailsTheWriterOnce)
{
    // A payload from a mapped file goes to a local socket directly; the peer takes a little and
    // goes away, as a device pulled during an upload does.
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath("payload.bin");
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(16 * 1024 * 1024));
    }
    QLocalServer server;
    ASSERT_TRUE(server.listen(folder.filePath("peer")));
    QLocalSocket client;
    client.connectToServer(server.fullServerName());
    ASSERT_TRUE(client.waitForConnected(5000));
    ASSERT_TRUE(server.waitForNewConnection(5000));
    QLocalSocket *peer = server.nextPendingConnection();
    peer->setReadBufferSize(64 * 1024); // it stops taking bytes: the socket fills up

    KDFrameWriter writer(&client);
    int failures = 0;
    QObject::connect(&writer, &KDFrameWriter::failed, [&] { ++failures; });
    ASSERT_TRUE(writer.enqueue({{KDWire::KindKey, KDWire::KindCommand}, {KDWire::IdKey, 1}},
                               KDPayload(KXDataWithMappedFileAtPath(path))));
    QDeadlineTimer deadline(10000);
    while (peer->bytesAvailable() < 64 * 1024 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    ASSERT_FALSE(writer.isIdle());
    peer->abort();

    while (failures == 0 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    EXPECT_EQ(failures, 1);
}

// Each answer is bounded by what its command can need, and one over its bound is refused once its
// lengths (or its header) are in: none of its payload is read.
TEST(KDFrames, AnswersOverTheirCommandsBoundAreRefusedUnread)
{
    struct Case
    {
        const char *command;
        quint64 payload;
        bool refused;
    };
    const quint64 ordinary = KDWire::kOrdinaryAnswerLimit;
    for (const Case &c : {Case{"EndSync", 100, false}, Case{"EndSync", ordinary, true}, Case{"SetClock", quint64(1) << 31, true},
                          Case{"GetFiles", 2 * ordinary, false}, Case{"GetFiles", KDWire::kLargestAnswerLimit, true},
                          Case{"Download", 32 * ordinary, false}, Case{"Download", quint64(1) << 62, true}}) {
        KDFrameReader reader(KDWire::kLargestAnswerLimit);
        // As a device's link asks: the bound of the command the header answers.
        reader.setFrameLimit([&](const QVariantMap &header) {
            const QString command = QString::fromLatin1(c.command);
            return KDWire::FrameLimit{header.isEmpty() ? KDWire::kLargestAnswerLimit : KDWire::answerLimit(command),
                                      QStringLiteral("The answer to %1").arg(command)};
        });
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        const QByteArray firstBytes(4096, 'x');
        stream.write(KDWire::encodeFrameStart({{KDWire::KindKey, KDWire::KindResponse}, {KDWire::IdKey, 1}}, c.payload)
                     + firstBytes.left(qsizetype(std::min<quint64>(c.payload, firstBytes.size()))));
        stream.seek(0);
        const KDFrameReader::Result result = reader.readFrom(&stream);
        if (!c.refused) {
            EXPECT_NE(result, KDFrameReader::Result::Failed) << c.command << " " << c.payload;
            continue;
        }
        EXPECT_EQ(result, KDFrameReader::Result::Failed) << c.command << " " << c.payload;
        EXPECT_EQ(reader.error().code(), KDErrorAnswerTooLarge);
        EXPECT_TRUE(reader.error().localizedDescription().contains(QStringLiteral("The answer to %1 has").arg(c.command)))
            << qPrintable(reader.error().localizedDescription());
        // Refused at its lengths (the header unread too) or at its header.
        EXPECT_GE(stream.bytesAvailable(), qint64(std::min<quint64>(c.payload, firstBytes.size())))
            << c.command << ": the payload was read";
    }
}
