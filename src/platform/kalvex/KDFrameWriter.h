#pragma once

#include "KDFrame.h"
#include "VLError.h"

#include <QIODevice>
#include <QObject>
#include <QPointer>
#include <QQueue>

// Writes frames to a stream in order. Payloads go out in pieces straight from their bytes (a mapped
// file stays mapped, never copied whole), and only while the stream's own buffer is short, so
// memory stays bounded however large the payload.
class KDFrameWriter : public QObject
{
    Q_OBJECT
public:
    explicit KDFrameWriter(QIODevice *stream, QObject *parent = nullptr);

    bool enqueue(const QVariantMap &header, const KDPayload &payload, VLError *error = nullptr);
    // Raw bytes outside any frame (the emulator's fault injection uses this).
    void enqueueRaw(const QByteArray &bytes);
    bool isIdle() const { return m_queue.isEmpty(); }
    void clear() { m_queue.clear(); }

    static constexpr qint64 kPieceLength = 1024 * 1024;
    static constexpr qint64 kHighWater = 4 * kPieceLength;
    static constexpr qint64 kReleaseBatch = 8 * kPieceLength;

signals:
    void progressed();
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

    QPointer<QIODevice> m_stream;
    QQueue<Pending> m_queue;
    bool m_pumping = false;
};
