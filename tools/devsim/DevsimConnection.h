#pragma once

#include "DevsimDeviceModel.h"
#include "DevsimFaults.h"
#include "KDFrameReader.h"
#include "LinkProfile.h"

#include <QFile>
#include <QLocalSocket>
#include <QObject>
#include <QQueue>

#include <memory>
#include <optional>

class DevsimDevice;
class KDFrameWriter;
class LinkShapedDevice;

// One client's connection to an emulated device. Commands are carried out one after the other in
// the order they arrive; large payloads are written to disk as they arrive. Every byte goes
// through the device's link, and every command served is written to the traffic log.
class DevsimConnection : public QObject
{
    Q_OBJECT
public:
    // Payloads up to this size are received in memory.
    static constexpr quint64 kPayloadInMemory = 1024 * 1024;

    DevsimConnection(QLocalSocket *socket, DevsimDevice *device);
    ~DevsimConnection() override;

    void setLink(const LinkProfile &profile, quint64 seed);
    void sendHello();
    // Drops the connection without a word (reboot, unplug, fault).
    void abort();

signals:
    void closed(DevsimConnection *connection);

private:
    struct Incoming
    {
        qint64 id = 0;
        qint64 frameBytes = 0;
        qint64 arrivedAt = 0;
        DevsimRequest request;
        std::optional<DevsimFault> fault;
    };

    void readFrames();
    QIODevice *payloadSink(const QVariantMap &header, quint64 length);
    bool accept(KDFrame frame);
    void processNext();
    void carryOut(const Incoming &incoming);
    void respond(qint64 id, const DevsimAnswer &answer, bool withNulKey = false);
    // The answer one byte at a time; the next command waits until its last byte is out.
    void trickle(const Incoming &incoming, const DevsimAnswer &answer);
    void logTraffic(const QString &command, qint64 bytesIn, qint64 bytesOut, qint64 micros, qint64 at);
    void finish(const Incoming &incoming);
    void protocolError(const QString &detail);

    QLocalSocket *m_socket;
    LinkShapedDevice *m_stream;
    DevsimDevice *m_device;
    KDFrameWriter *m_writer;
    KDFrameReader m_reader;
    QQueue<Incoming> m_queue;
    bool m_busy = false;
    bool m_closed = false;
    bool m_disconnectRequested = false;
    std::optional<DevsimFault> m_pendingFault;
    std::unique_ptr<QFile> m_incomingFile;
    qint64 m_readMark = 0; // bytes read through the link before the current command's frame
};
