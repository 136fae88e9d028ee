#include "KDFrameWriter.h"

#include "KDError.h"
#include "KDWireProtocol.h"
#include "KXObject.h"

#include <QLocalSocket>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_LINUX
#include <sys/sendfile.h>
#endif

namespace {
// The most one direct send hands to the kernel at once.
constexpr qint64 kDirectPiece = 8 * 1024 * 1024;
} // namespace

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
    qint64 moved = 0;
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
            moved += n;
            continue;
        }
        const qint64 total = head.payload.size();
        bool broken = false;
        if (head.payloadWritten < total && sendFromFile(head, &moved, &broken)) {
            if (broken) {
                m_pumping = false;
                emit failed(kdError(KDErrorDeviceDisconnected, m_stream->errorString()));
                return;
            }
            if (head.payloadWritten < total)
                break; // the socket is full, or the stream still holds the frame's start
            continue;
        }
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
            moved += n;
            continue;
        }
        m_queue.dequeue();
    }
    m_pumping = false;
    if (moved > 0)
        emit progressed(moved);
}

int KDFrameWriter::socketDescriptor() const
{
    const auto *socket = qobject_cast<const QLocalSocket *>(m_stream.data());
    return socket && socket->state() == QLocalSocket::ConnectedState ? int(socket->socketDescriptor()) : -1;
}

void KDFrameWriter::clear()
{
    m_queue.clear();
    delete m_writable; // its socket may be closed next
    m_writable = nullptr;
}

bool KDFrameWriter::sendFromFile(Pending &head, qint64 *moved, bool *broken)
{
#ifdef Q_OS_LINUX
    const int file = kxDataFileDescriptor(head.payload.kxData());
    const int socket = file < 0 ? -1 : socketDescriptor();
    if (socket < 0)
        return false;
    // The frame's start went through the stream: it must be out before the payload follows.
    if (m_stream->bytesToWrite() > 0)
        return true;
    const qint64 total = head.payload.size();
    while (head.payloadWritten < total) {
        off_t offset = off_t(head.payloadWritten);
        const ssize_t n = ::sendfile(socket, file, &offset, size_t(std::min(kDirectPiece, total - head.payloadWritten)));
        if (n > 0) {
            head.payloadWritten += n;
            *moved += n;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            // Told when the socket takes bytes again; the stream's own notifier is idle meanwhile,
            // since it has nothing to write.
            if (!m_writable) {
                m_writable = new QSocketNotifier(socket, QSocketNotifier::Write, this);
                connect(m_writable, &QSocketNotifier::activated, this, [this] {
                    m_writable->setEnabled(false);
                    pump();
                });
            }
            m_writable->setEnabled(true);
            return true;
        }
        *broken = true; // an error, or a file that ended early
        return true;
    }
    if (m_writable)
        m_writable->setEnabled(false);
    return true;
#else
    Q_UNUSED(head);
    Q_UNUSED(moved);
    Q_UNUSED(broken);
    return false;
#endif
}
