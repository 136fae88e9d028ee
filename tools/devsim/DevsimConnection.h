#pragma once

#include "DevsimDeviceModel.h"
#include "DevsimFaults.h"
#include "KDFrameReader.h"

#include <QFile>
#include <QLocalSocket>
#include <QObject>
#include <QQueue>

#include <memory>
#include <optional>

class DevsimDevice;
class KDFrameWriter;

// One client's connection to an emulated device. Commands are carried out one after the other in
// the order they arrive; large payloads are written to disk as they arrive.
class DevsimConnection : public QObject
{
    Q_OBJECT
public:
    // Payloads up to this size are received in memory.
    static constexpr quint64 kPayloadInMemory = 1024 * 1024;

    DevsimConnection(QLocalSocket *socket, DevsimDevice *device);
    ~DevsimConnection() override;

    void sendHello();
    // Drops the connection without a word (reboot, unplug, fault).
    void abort();

signals:
    void closed(DevsimConnection *connection);

private:
    struct Incoming
    {
        qint64 id = 0;
        DevsimRequest request;
        std::optional<DevsimFault> fault;
    };

    void readFrames();
    QIODevice *payloadSink(const QVariantMap &header, quint64 length);
    bool accept(KDFrame frame);
    void processNext();
    void carryOut(const Incoming &incoming);
    void respond(qint64 id, const DevsimAnswer &answer);
    void finish(const Incoming &incoming);
    void protocolError(const QString &detail);

    QLocalSocket *m_socket;
    DevsimDevice *m_device;
    KDFrameWriter *m_writer;
    KDFrameReader m_reader;
    QQueue<Incoming> m_queue;
    bool m_busy = false;
    bool m_closed = false;
    bool m_disconnectRequested = false;
    std::optional<DevsimFault> m_pendingFault;
    std::unique_ptr<QFile> m_incomingFile;
};
