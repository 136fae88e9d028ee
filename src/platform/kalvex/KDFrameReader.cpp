#include "KDFrameReader.h"

#include "KDError.h"
#include "KDWireProtocol.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace {
constexpr qint64 kReadChunk = 1024 * 1024;
// What a payload held in memory starts with: the length a device claims reserves no more than
// this; the buffer grows as the bytes actually arrive.
constexpr quint64 kInitialPayloadReserve = 1024 * 1024;
}

KDFrameReader::KDFrameReader(quint64 maxPayloadInMemory)
    : m_maxPayloadInMemory(maxPayloadInMemory)
{
}

KDFrameReader::Result KDFrameReader::fail(const QString &detail)
{
    m_state = State::Failed;
    m_error = kdError(KDErrorBadFrame, detail);
    return Result::Failed;
}

bool KDFrameReader::withinLimit(const QVariantMap &header)
{
    if (!m_limit)
        return true;
    const KDWire::FrameLimit limit = m_limit(header);
    // Two checks: the payload length alone may be near 2^64.
    if (m_payloadLength <= limit.bytes && m_headerLength + m_payloadLength <= limit.bytes)
        return true;
    m_state = State::Failed;
    m_error = kdError(KDErrorAnswerTooLarge,
                      QCoreApplication::translate("KDFrameReader", "%1 has %2 bytes; at most %3 are taken.")
                          .arg(limit.what)
                          .arg(quint64(m_headerLength) + m_payloadLength)
                          .arg(limit.bytes));
    return false;
}

bool KDFrameReader::startPayload()
{
    m_payloadRead = 0;
    m_payload.clear();
    m_payloadDevice = m_sink ? m_sink(m_frame.header, m_payloadLength) : nullptr;
    if (!m_payloadDevice) {
        if (m_payloadLength > m_maxPayloadInMemory)
            return false;
        // Grows as bytes arrive: a claimed length alone never reserves a large block.
        m_payload.reserve(qsizetype(std::min<quint64>(m_payloadLength, kInitialPayloadReserve)));
    }
    m_state = State::Payload;
    return true;
}

KDFrameReader::Result KDFrameReader::readFrom(QIODevice *stream)
{
    for (;;) {
        switch (m_state) {
        case State::Failed:
            return Result::Failed;
        case State::Done:
            return Result::FrameComplete;
        case State::Prefix: {
            const qint64 want = KDWire::kPrefixLength - m_buffer.size();
            m_buffer.append(stream->read(want));
            if (m_buffer.size() < KDWire::kPrefixLength)
                return Result::NeedMoreData;
            if (std::memcmp(m_buffer.constData(), KDWire::kMagic, sizeof KDWire::kMagic) != 0)
                return fail(QStringLiteral("(no frame marker)"));
            m_headerLength = qFromBigEndian<quint32>(m_buffer.constData() + 4);
            m_payloadLength = qFromBigEndian<quint64>(m_buffer.constData() + 8);
            m_buffer.clear();
            if (m_headerLength == 0 || m_headerLength > KDWire::kMaxHeaderLength)
                return fail(QStringLiteral("(header length %1)").arg(m_headerLength));
            if (!withinLimit({}))
                return Result::Failed;
            m_state = State::Header;
            break;
        }
        case State::Header: {
            // Only what has arrived is read: reading the claimed length at once would allocate it.
            const qint64 want = std::min<qint64>(qint64(m_headerLength) - m_buffer.size(),
                                                 std::max<qint64>(stream->bytesAvailable(), 0));
            if (want > 0)
                m_buffer.append(stream->read(want));
            if (m_buffer.size() < qsizetype(m_headerLength))
                return Result::NeedMoreData;
            VLError decodeError;
            const QVariant header = VLPropertyList::fromData(m_buffer, &decodeError);
            m_buffer.clear();
            if (!decodeError.isNull())
                return fail(QStringLiteral("(%1)").arg(decodeError.localizedDescription()));
            if (header.typeId() != QMetaType::QVariantMap)
                return fail(QStringLiteral("(the header is not a dictionary)"));
            m_frame = KDFrame{header.toMap(), KDPayload()};
            if (!withinLimit(m_frame.header))
                return Result::Failed;
            if (!startPayload())
                return fail(QStringLiteral("(payload of %1 bytes is too large)").arg(m_payloadLength));
            break;
        }
        case State::Payload: {
            while (m_payloadRead < m_payloadLength) {
                const qint64 want = qint64(std::min<quint64>(m_payloadLength - m_payloadRead, quint64(kReadChunk)));
                if (m_payloadDevice) {
                    // One buffer for all pieces: a payload on its way to disk is copied once here.
                    if (m_piece.size() < want)
                        m_piece.resize(kReadChunk);
                    const qint64 got = stream->read(m_piece.data(), want);
                    if (got <= 0)
                        return Result::NeedMoreData;
                    if (m_payloadDevice->write(m_piece.constData(), got) != got)
                        return fail(QStringLiteral("(the payload could not be stored)"));
                    m_payloadRead += quint64(got);
                } else {
                    // Only what has arrived: making room for a whole chunk on every read would
                    // reallocate the growing payload each time a few bytes come in.
                    const qint64 take = std::min<qint64>(want, stream->bytesAvailable());
                    if (take <= 0)
                        return Result::NeedMoreData;
                    const qsizetype offset = m_payload.size();
                    m_payload.resize(offset + qsizetype(take));
                    const qint64 got = stream->read(m_payload.data() + offset, take);
                    m_payload.resize(offset + qsizetype(std::max<qint64>(got, 0)));
                    if (got <= 0)
                        return Result::NeedMoreData;
                    m_payloadRead += quint64(got);
                }
            }
            if (!m_payloadDevice)
                m_frame.payload = KDPayload(m_payload);
            m_payload = QByteArray();
            m_payloadDevice = nullptr;
            m_state = State::Done;
            return Result::FrameComplete;
        }
        }
    }
}

KDFrame KDFrameReader::takeFrame()
{
    KDFrame frame = std::move(m_frame);
    m_frame = KDFrame();
    if (m_state == State::Done)
        m_state = State::Prefix;
    return frame;
}
