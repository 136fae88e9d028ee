#include "KDSocketLink.h"

#include "KDError.h"
#include "KDFrameWriter.h"

KDSocketLink::KDSocketLink(const QString &socketPath, QObject *parent)
    : KDDeviceLink(parent)
    , m_path(socketPath)
    , m_socket(new QLocalSocket(this))
    , m_writer(new KDFrameWriter(m_socket, this))
{
    connect(m_socket, &QLocalSocket::readyRead, this, &KDSocketLink::readFrames);
    connect(m_socket, &QLocalSocket::disconnected, this, &KDSocketLink::socketFailed);
    connect(m_socket, &QLocalSocket::errorOccurred, this, &KDSocketLink::socketFailed);
    connect(m_writer, &KDFrameWriter::progressed, this, &KDDeviceLink::activity);
    connect(m_writer, &KDFrameWriter::failed, this, [this](const VLError &error) { close(error); });
    m_socket->connectToServer(socketPath);
}

void KDSocketLink::setFrameLimit(FrameLimit limit)
{
    m_reader.setFrameLimit(std::move(limit));
}

KDSocketLink::~KDSocketLink()
{
    m_lost = true; // no signals while being destroyed
    m_socket->disconnect(this);
    m_socket->abort();
}

void KDSocketLink::send(const KDFrame &frame)
{
    if (m_lost)
        return;
    VLError error;
    if (!m_writer->enqueue(frame.header, frame.payload, &error))
        close(error);
}

void KDSocketLink::close(const VLError &reason)
{
    if (m_lost)
        return;
    m_lost = true;
    m_writer->clear();
    m_socket->disconnect(this);
    m_socket->abort();
    emit lost(reason);
}

void KDSocketLink::readFrames()
{
    if (m_lost || !m_socket->isOpen())
        return;
    // The reader takes everything there is unless it fails, which closes the link anyway.
    if (m_socket->bytesAvailable() > 0)
        emit activity(m_socket->bytesAvailable());
    for (;;) {
        const KDFrameReader::Result result = m_reader.readFrom(m_socket);
        if (result == KDFrameReader::Result::NeedMoreData)
            return;
        if (result == KDFrameReader::Result::Failed) {
            close(m_reader.error());
            return;
        }
        emit frameReceived(m_reader.takeFrame());
        if (m_lost)
            return;
    }
}

void KDSocketLink::socketFailed()
{
    if (m_lost)
        return;
    // Frames that arrived just before the close still count.
    readFrames();
    if (m_lost)
        return;
    m_socketError = m_socket->error();
    close(kdError(KDErrorDeviceDisconnected, m_socket->errorString()));
}
