#pragma once

#include "KDFrame.h"
#include "KDWireProtocol.h"
#include "VLError.h"

#include <QIODevice>

#include <functional>

// Reads frames from a stream as the bytes arrive. A payload is collected in memory unless a sink is
// given for it when its header has been read (the emulator streams uploads to disk that way).
class KDFrameReader
{
public:
    enum class Result { NeedMoreData, FrameComplete, Failed };
    // Called once per frame, between header and payload: an open device to write the payload to,
    // or null to keep it in memory. The reader does not take ownership.
    using PayloadSink = std::function<QIODevice *(const QVariantMap &header, quint64 payloadLength)>;

    // How large a frame may be, header and payload together: asked with an empty header once a
    // frame's lengths are known (bounding the header it is about to collect), and again with the
    // header before the payload. A frame over its bound fails before any more of it is read.
    using FrameLimit = std::function<KDWire::FrameLimit(const QVariantMap &header)>;

    explicit KDFrameReader(quint64 maxPayloadInMemory);

    void setPayloadSink(PayloadSink sink) { m_sink = std::move(sink); }
    void setFrameLimit(FrameLimit limit) { m_limit = std::move(limit); }

    // Consumes available bytes until one frame is complete or the stream has nothing more.
    // After Failed the stream is out of step and must be closed.
    Result readFrom(QIODevice *stream);
    KDFrame takeFrame();
    const VLError &error() const { return m_error; }

private:
    enum class State { Prefix, Header, Payload, Done, Failed };
    Result fail(const QString &detail);
    // False (and failed) when the frame is over the bound the limit gives for this header.
    bool withinLimit(const QVariantMap &header);
    bool startPayload();

    const quint64 m_maxPayloadInMemory;
    PayloadSink m_sink;
    FrameLimit m_limit;
    State m_state = State::Prefix;
    QByteArray m_buffer;
    quint32 m_headerLength = 0;
    quint64 m_payloadLength = 0;
    quint64 m_payloadRead = 0;
    QIODevice *m_payloadDevice = nullptr;
    QByteArray m_payload;
    QByteArray m_piece;
    KDFrame m_frame;
    VLError m_error;
};
