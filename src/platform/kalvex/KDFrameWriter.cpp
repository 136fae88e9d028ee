#include "KDFrameWriter.h"

#include "KDError.h"
#include "KDWireProtocol.h"
#include "KXObject.h"

#include <algorithm>

KDFrameWriter::KDFrameWriter(QIODevice *stream, QObject *parent)
    : QObject(parent)
    , m_stream(stream)
{
    connect(stream, &QIODevice::bytesWritten, this, &KDFrameWriter::pump);
}

bool KDFrameWriter::enqueue(const QVariantMap &header, const KDPayload &payload, VLError *error)
{
    const QByteArray start = KDWire::encodeFrameStart(header, quint64(std::max<qint64>(payload.size(), 0)), error);
    if (start.isEmpty())
        return false;
    m_queue.enqueue(Pending{start, payload});
    pump();
    return true;
}

void KDFrameWriter::enqueueRaw(const QByteArray &bytes)
{
    m_queue.enqueue(Pending{bytes, KDPayload()});
    pump();
}

void KDFrameWriter::pump()
{
    // write() may report bytesWritten synchronously on some streams; one pass at a time.
    if (m_pumping || !m_stream)
        return;
    m_pumping = true;
    bool moved = false;
    while (!m_queue.isEmpty() && m_stream->bytesToWrite() < kHighWater) {
        Pending &head = m_queue.head();
        if (head.startWritten < head.start.size()) {
            const qint64 n = m_stream->write(head.start.constData() + head.startWritten,
                                             head.start.size() - head.startWritten);
            if (n < 0) {
                m_pumping = false;
                emit failed(kdError(KDErrorDeviceDisconnected, m_stream->errorString()));
                return;
            }
            head.startWritten += n;
            if (n == 0)
                break;
            moved = true;
            continue;
        }
        const qint64 total = head.payload.size();
        if (head.payloadWritten < total) {
            const qint64 length = std::min(kPieceLength, total - head.payloadWritten);
            const qint64 n = m_stream->write(head.payload.constData() + head.payloadWritten, length);
            if (n < 0) {
                m_pumping = false;
                emit failed(kdError(KDErrorDeviceDisconnected, m_stream->errorString()));
                return;
            }
            head.payloadWritten += n;
            // The stream has its own copy now; the mapped pages behind it are not needed again.
            // Released in batches: each release costs a flush of the address translations.
            if (head.payloadWritten - head.payloadReleased >= kReleaseBatch || head.payloadWritten == total) {
                kxDataReleaseResidentPages(head.payload.kxData(), head.payloadReleased,
                                           head.payloadWritten - head.payloadReleased);
                head.payloadReleased = head.payloadWritten;
            }
            if (n == 0)
                break;
            moved = true;
            continue;
        }
        m_queue.dequeue();
    }
    m_pumping = false;
    if (moved)
        emit progressed();
}
