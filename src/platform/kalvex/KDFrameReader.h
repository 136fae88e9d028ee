#pragma once

#include "KDFrame.h"
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

    explicit KDFrameReader(quint64 maxPayloadInMemory);

    void setPayloadSink(PayloadSink sink) { m_sink = std::move(sink); }

    // Consumes available bytes until one frame is complete or the stream has nothing more.
    // After Failed the stream is out of step and must be closed.
    Result readFrom(QIODevice *stream);
    KDFrame takeFrame();
    const VLError &error() const { return m_error; }

private:
    enum class State { Prefix, Header, Payload, Done, Failed };
    Result fail(const QString &detail);
    bool startPayload();

    const quint64 m_maxPayloadInMemory;
    PayloadSink m_sink;
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
