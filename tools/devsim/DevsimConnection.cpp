#include "DevsimConnection.h"

#include "DevsimDevice.h"
#include "DevsimErrors.h"
#include "DevsimTraffic.h"
#include "KDFrameWriter.h"
#include "KDMeasurement.h"
#include "KDWireProtocol.h"
#include "LinkShapedDevice.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTextStream>
#include <QTimer>

#include <memory>

namespace {

qint64 s_incomingCounter = 0;

// A key the encoder writes in UTF-16 ("a", U+0101, "b"), whose middle character is then made NUL
// in the encoded bytes: no encoder writes such a key, so it is patched in.
const QString kNulKeyPlaceholder = QString::fromUtf16(u"a\u0101b");
const QByteArray kNulKeyPlaceholderBytes("\x63\x00\x61\x01\x01\x00\x62", 7);

// The start of a frame without payload whose header dictionary has a key holding a NUL.
QByteArray frameWithNulKey(QVariantMap header)
{
    header.insert(kNulKeyPlaceholder, QStringLiteral("x"));
    header.insert(KDWire::HasDataKey, false);
    QByteArray frame = KDWire::encodeFrameStart(header, 0);
    const qsizetype at = frame.indexOf(kNulKeyPlaceholderBytes);
    if (at >= 0)
        frame[at + 3] = frame[at + 4] = '\0';
    return frame;
}

// Numbers beyond any 64-bit integer or calendar date in what the answer carries: a real in every
// file entry of an inventory, and as every measurement's capture time.
void makeNumbersHuge(DevsimAnswer *answer)
{
    constexpr double kHuge = 1e113;
    if (answer->hasData) {
        QVariantList files = VLPropertyList::fromData(answer->payload.toByteArray()).toList();
        for (QVariant &file : files) {
            QVariantMap entry = file.toMap();
            entry.insert(QStringLiteral("ByteLength"), kHuge);
            entry.insert(QStringLiteral("Huge"), -kHuge);
            file = entry;
        }
        if (!files.isEmpty())
            answer->payload = KDPayload(VLPropertyList::toBinary(files));
    }
    for (QVariant &record : answer->measurements) {
        QVariantMap map = record.toMap();
        QVariantMap color = map.value(KDMeasurementColorSpaceColorInfo).toMap();
        QVariantMap attributes = color.value(QStringLiteral("Attributes")).toMap();
        attributes.insert(KDMeasurementDateSince1970Key, kHuge);
        color.insert(QStringLiteral("Attributes"), attributes);
        map.insert(KDMeasurementColorSpaceColorInfo, color);
        record = map;
    }
}

} // namespace

DevsimConnection::DevsimConnection(QLocalSocket *socket, DevsimDevice *device)
    : QObject(device)
    , m_socket(socket)
    , m_stream(new LinkShapedDevice(socket, this))
    , m_device(device)
    , m_writer(new KDFrameWriter(m_stream, this))
    , m_reader(std::numeric_limits<quint64>::max())
{
    socket->setParent(this);
    m_reader.setPayloadSink([this](const QVariantMap &header, quint64 length) { return payloadSink(header, length); });
    connect(m_stream, &QIODevice::readyRead, this, &DevsimConnection::readFrames);
    connect(socket, &QLocalSocket::disconnected, this, [this] {
        if (!m_closed) {
            m_closed = true;
            emit closed(this);
        }
    });
}

DevsimConnection::~DevsimConnection()
{
    if (m_incomingFile)
        m_incomingFile->remove();
    for (const Incoming &incoming : std::as_const(m_queue)) {
        if (!incoming.request.dataFile.isEmpty())
            QFile::remove(incoming.request.dataFile);
    }
}

void DevsimConnection::setLink(const LinkProfile &profile, quint64 seed)
{
    m_stream->setLink(profile, seed);
}

void DevsimConnection::sendHello()
{
    const std::optional<DevsimFault> fault =
        DevsimFaults::take(m_device->model().store().faultsPath(), QStringLiteral("Hello"));
    if (fault && fault->kind == DevsimFault::Kind::NulKey) {
        QTextStream(stdout) << "tintera-devsim: " << m_device->serialNumber() << ": nul-key fault for Hello\n";
        m_writer->enqueueRaw(frameWithNulKey(m_device->hello()));
        return;
    }
    const qint64 before = m_stream->totalWritten();
    m_writer->enqueue(m_device->hello(), KDPayload());
    logTraffic(QStringLiteral("hello"), 0, m_stream->totalWritten() - before, 0, DevsimTraffic::now());
}

void DevsimConnection::abort()
{
    if (m_closed)
        return;
    m_closed = true;
    m_socket->disconnect(this);
    m_socket->abort();
    emit closed(this);
}

QIODevice *DevsimConnection::payloadSink(const QVariantMap &header, quint64 length)
{
    // The moment a command's header is in: the time to act on a fault for it.
    m_pendingFault = DevsimFaults::take(m_device->model().store().faultsPath(), header.value(KDWire::CommandKey).toString(),
                                        header.value(KDWire::ArgumentsKey).toMap());
    if (m_pendingFault && m_pendingFault->kind == DevsimFault::Kind::Disconnect)
        m_disconnectRequested = true;
    if (length <= kPayloadInMemory || m_disconnectRequested)
        return nullptr;
    const QString folder = m_device->model().store().incomingFolder();
    QDir().mkpath(folder);
    m_incomingFile = std::make_unique<QFile>(
        QDir(folder).filePath(QStringLiteral(".payload-%1-%2").arg(QCoreApplication::applicationPid()).arg(++s_incomingCounter)));
    if (!m_incomingFile->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        m_incomingFile.reset();
        return nullptr; // received in memory after all
    }
    return m_incomingFile.get();
}

void DevsimConnection::readFrames()
{
    while (!m_closed && m_socket->isOpen()) {
        const KDFrameReader::Result result = m_reader.readFrom(m_stream);
        if (m_disconnectRequested) {
            QTextStream(stdout) << "tintera-devsim: " << m_device->serialNumber() << ": dropping a connection (fault)\n";
            abort();
            return;
        }
        if (result == KDFrameReader::Result::NeedMoreData)
            return;
        if (result == KDFrameReader::Result::Failed) {
            protocolError(m_reader.error().localizedDescription());
            return;
        }
        if (!accept(m_reader.takeFrame()))
            return;
    }
}

bool DevsimConnection::accept(KDFrame frame)
{
    const QVariantMap &header = frame.header;
    const qint64 id = header.value(KDWire::IdKey).toLongLong();
    const QString name = header.value(KDWire::CommandKey).toString();
    if (header.value(KDWire::KindKey).toString() != KDWire::KindCommand || id <= 0 || name.isEmpty()) {
        protocolError(QStringLiteral("not a command"));
        return false;
    }
    Incoming incoming;
    incoming.id = id;
    incoming.frameBytes = m_stream->totalRead() - m_readMark;
    incoming.arrivedAt = DevsimTraffic::now();
    m_readMark = m_stream->totalRead();
    incoming.fault = std::exchange(m_pendingFault, std::nullopt);
    incoming.request.name = name;
    const QVariantMap arguments = header.value(KDWire::ArgumentsKey).toMap();
    for (auto it = arguments.constBegin(); it != arguments.constEnd(); ++it)
        incoming.request.arguments.insert(it.key(), it.value().toString());
    incoming.request.hasData = header.value(KDWire::HasDataKey).toBool();
    if (m_incomingFile) {
        m_incomingFile->close();
        incoming.request.dataFile = m_incomingFile->fileName();
        incoming.request.dataLength = m_incomingFile->size();
        m_incomingFile.reset();
    } else {
        incoming.request.data = frame.payload.toByteArray();
        incoming.request.dataLength = incoming.request.data.size();
    }
    m_queue.enqueue(incoming);
    processNext();
    return true;
}

void DevsimConnection::processNext()
{
    if (m_busy || m_closed || m_queue.isEmpty())
        return;
    m_busy = true;
    const Incoming incoming = m_queue.dequeue();
    if (!incoming.fault) {
        carryOut(incoming);
        return;
    }
    const DevsimFault &fault = *incoming.fault;
    QTextStream(stdout) << "tintera-devsim: " << m_device->serialNumber() << ": " << DevsimFault::kindName(fault.kind)
                        << " fault for " << incoming.request.name << "\n";
    switch (fault.kind) {
    case DevsimFault::Kind::Error: {
        DevsimAnswer answer;
        answer.error = VLError(DevsimErrorDomain, fault.code,
                               fault.message.isEmpty() ? QStringLiteral("Injected failure") : fault.message);
        respond(incoming.id, answer);
        finish(incoming);
        return;
    }
    case DevsimFault::Kind::Delay:
        QTimer::singleShot(fault.milliseconds, this, [this, incoming] { carryOut(incoming); });
        return;
    case DevsimFault::Kind::NoAnswer:
        finish(incoming);
        return;
    case DevsimFault::Kind::Garbage: {
        QByteArray garbage("this is not a frame\n");
        for (int i = 0; i < 64; ++i)
            garbage.append(char(QRandomGenerator::global()->bounded(256)));
        m_writer->enqueueRaw(garbage);
        finish(incoming);
        return;
    }
    case DevsimFault::Kind::Disconnect:
        abort();
        return;
    case DevsimFault::Kind::NulKey:
    case DevsimFault::Kind::HugeNumbers:
    case DevsimFault::Kind::Trickle:
        carryOut(incoming);
        return;
    }
}

void DevsimConnection::carryOut(const Incoming &incoming)
{
    if (m_closed)
        return;
    QElapsedTimer clock;
    clock.start();
    DevsimAnswer answer = m_device->model().execute(incoming.request);
    if (answer.reboot) {
        logTraffic(incoming.request.name, incoming.frameBytes, 0, qint64(m_device->rebootMilliseconds()) * 1000,
                   incoming.arrivedAt);
        finish(incoming);
        m_device->reboot(); // closes this connection too: "Reboot" is answered by coming back
        return;
    }
    const DevsimFault::Kind fault = incoming.fault ? incoming.fault->kind : DevsimFault::Kind::Error;
    if (fault == DevsimFault::Kind::HugeNumbers)
        makeNumbersHuge(&answer);
    if (fault == DevsimFault::Kind::Trickle) {
        trickle(incoming, answer);
        return;
    }
    const qint64 before = m_stream->totalWritten();
    respond(incoming.id, answer, fault == DevsimFault::Kind::NulKey);
    logTraffic(incoming.request.name, incoming.frameBytes, m_stream->totalWritten() - before, clock.nsecsElapsed() / 1000,
               incoming.arrivedAt);
    finish(incoming);
}

namespace {

QVariantMap responseHeader(qint64 id, const DevsimAnswer &answer, const QVariantMap &attributes)
{
    QVariantMap header{{KDWire::KindKey, KDWire::KindResponse},
                       {KDWire::IdKey, id},
                       {KDWire::HasDataKey, answer.hasData},
                       {KDWire::AttributesKey, attributes}};
    if (!answer.error.isNull())
        header.insert(KDWire::ErrorKey, KDWire::dictionaryFromError(answer.error));
    if (!answer.measurements.isEmpty())
        header.insert(KDWire::MeasurementsKey, answer.measurements);
    return header;
}

} // namespace

void DevsimConnection::trickle(const Incoming &incoming, const DevsimAnswer &answer)
{
    const QByteArray payload = answer.hasData ? answer.payload.toByteArray() : QByteArray();
    const QByteArray frame =
        KDWire::encodeFrameStart(responseHeader(incoming.id, answer, m_device->model().attributes()), quint64(payload.size()))
        + payload;
    auto *timer = new QTimer(this);
    auto sent = std::make_shared<qsizetype>(0);
    connect(timer, &QTimer::timeout, this, [this, timer, sent, frame, incoming] {
        if (m_closed || *sent >= frame.size()) {
            timer->deleteLater();
            if (!m_closed)
                finish(incoming);
            return;
        }
        m_writer->enqueueRaw(frame.mid((*sent)++, 1));
    });
    timer->start(incoming.fault->milliseconds);
}

void DevsimConnection::respond(qint64 id, const DevsimAnswer &answer, bool withNulKey)
{
    const QVariantMap header = responseHeader(id, answer, m_device->model().attributes());
    if (withNulKey)
        m_writer->enqueueRaw(frameWithNulKey(header));
    else
        m_writer->enqueue(header, answer.hasData ? answer.payload : KDPayload());
}

void DevsimConnection::logTraffic(const QString &command, qint64 bytesIn, qint64 bytesOut, qint64 micros, qint64 at)
{
    DevsimTraffic::append(m_device->model().store().trafficLogPath(), {command, bytesIn, bytesOut, micros, at});
}

void DevsimConnection::finish(const Incoming &incoming)
{
    // A payload the command did not keep is not kept either.
    if (!incoming.request.dataFile.isEmpty())
        QFile::remove(incoming.request.dataFile);
    m_busy = false;
    QMetaObject::invokeMethod(this, &DevsimConnection::processNext, Qt::QueuedConnection);
}

void DevsimConnection::protocolError(const QString &detail)
{
    QTextStream(stderr) << "tintera-devsim: " << m_device->serialNumber() << ": closing a connection: " << detail << "\n";
    abort();
}
