#pragma once

#include "KDFrame.h"
#include "VLError.h"

#include <QIODevice>
#include <QObject>
#include <QPointer>
#include <QQueue>

class QSocketNotifier;

// Writes frames to a stream in order. Payloads go out in pieces straight from their bytes (a mapped
// file stays mapped, never copied whole), and only while the stream's own buffer is short, so
// memory stays bounded however large the payload. On Linux a payload from a file bound for a
// local socket goes from the file to the socket inside the kernel (sendfile), past the stream's
// buffer and without touching the mapping: one copy, and no resident pages for it.
class KDFrameWriter : public QObject
{
    Q_OBJECT
public:
    explicit KDFrameWriter(QIODevice *stream, QObject *parent = nullptr);

    bool enqueue(const QVariantMap &header, const KDPayload &payload, VLError *error = nullptr);
    // Raw bytes outside any frame (the emulator's fault injection uses this).
    void enqueueRaw(const QByteArray &bytes);
    bool isIdle() const { return m_queue.isEmpty(); }
    void clear();

    static constexpr qint64 kPieceLength = 1024 * 1024;
    static constexpr qint64 kHighWater = 4 * kPieceLength;
    static constexpr qint64 kReleaseBatch = 8 * kPieceLength;

signals:
    void progressed(qint64 bytes);
    void failed(const VLError &error);

public slots:
    void pump();

private:
    struct Pending
    {
        QByteArray start;
        KDPayload payload;
        qint64 startWritten = 0;
        qint64 payloadWritten = 0;
        qint64 payloadReleased = 0;
    };

    // Sends the head's payload from its file straight to the socket: false when that way is not
    // open to it (then it goes through the stream); true when it moved what it could.
    bool sendFromFile(Pending &head, qint64 *moved, bool *broken);
    int socketDescriptor() const;

    QPointer<QIODevice> m_stream;
    QQueue<Pending> m_queue;
    bool m_pumping = false;
    QSocketNotifier *m_writable = nullptr; // while the socket is full under a direct send
};
