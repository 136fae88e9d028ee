// The byte stream a device sends: frames (prefix, binary property-list header, payload) arriving in
// pieces of any size, each frame then read as the framework reads an introduction or an answer.

#include "FuzzSupport.h"
#include "KDDevice.h"
#include "KDFrameReader.h"
#include "KDMeasurement.h"
#include "KDWireProtocol.h"
#include "TinteraFuzzTargets.h"

#include <QIODevice>

#include <algorithm>
#include <cstring>

namespace {

// A stream whose bytes become readable a piece at a time, as they do from a socket.
class TrickleDevice : public QIODevice
{
public:
    explicit TrickleDevice(QByteArray bytes)
        : m_bytes(std::move(bytes))
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_available - m_position + QIODevice::bytesAvailable(); }
    // Makes `count` more bytes readable; false once every byte is.
    bool release(qint64 count)
    {
        if (m_available >= m_bytes.size())
            return false;
        m_available = std::min<qint64>(m_bytes.size(), m_available + count);
        return true;
    }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = std::min(maxSize, m_available - m_position);
        std::memcpy(data, m_bytes.constData() + m_position, size_t(count));
        m_position += count;
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    qint64 m_available = 0;
    qint64 m_position = 0;
};

// What the framework reads of a frame: an introduction, or an answer with its error, its
// measurements and its attributes.
void readFrame(const KDFrame &frame)
{
    const QVariantMap &header = frame.header;
    (void)KDDevice::isValidHello(header);
    (void)header.value(KDWire::KindKey).toString();
    (void)header.value(KDWire::IdKey).toLongLong();
    (void)KDWire::errorFromDictionary(header.value(KDWire::ErrorKey));
    const QVariantMap attributes = header.value(KDWire::AttributesKey).toMap();
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        (void)it.value().toString();
    for (const QVariant &record : header.value(KDWire::MeasurementsKey).toList()) {
        const KDMeasurementPtr measurement = KDMeasurement::initWithDictionary(record.toMap());
        if (const HBColorPtr color = measurement->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo))
            (void)color->attributes().size();
        (void)measurement->description();
    }
    if (header.value(KDWire::HasDataKey).toBool())
        TINTERA_FUZZ_CHECK(frame.payload.toByteArray().size() == frame.payload.size(), "a payload is what was announced");
}

} // namespace

int tinteraFuzzDeviceFrames(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    if (size < 1)
        return 0;
    // The first byte says how large the pieces are in which the rest arrives.
    const qint64 piece = data[0] == 0 ? qint64(size) : qint64(data[0]);
    TrickleDevice stream(tinteraFuzzBytes(data + 1, size - 1));
    KDFrameReader reader(KDWire::kLargestAnswerLimit);
    // As a device's link bounds them: the frame's "Command" stands for the command answered.
    reader.setFrameLimit([](const QVariantMap &header) {
        return KDWire::FrameLimit{header.isEmpty() ? KDWire::kLargestAnswerLimit
                                                   : KDWire::answerLimit(header.value(KDWire::CommandKey).toString()),
                                  QStringLiteral("The frame")};
    });
    stream.release(piece);
    for (;;) {
        const KDFrameReader::Result result = reader.readFrom(&stream);
        if (result == KDFrameReader::Result::FrameComplete) {
            readFrame(reader.takeFrame());
        } else if (result == KDFrameReader::Result::Failed) {
            TINTERA_FUZZ_CHECK(!reader.error().isNull(), "a refused frame says why");
            break;
        } else if (!stream.release(piece)) {
            break;
        }
    }
    tinteraFuzzDrainEvents();
    return 0;
}
