#pragma once

#include "KDDeviceLink.h"
#include "KDFrameReader.h"

#include <QLocalSocket>

class KDFrameWriter;

// A link over a local stream socket, as the emulator offers one per device in the device folder.
class KDSocketLink final : public KDDeviceLink
{
    Q_OBJECT
public:
    explicit KDSocketLink(const QString &socketPath, QObject *parent = nullptr);
    ~KDSocketLink() override;

    void send(const KDFrame &frame) override;
    void setFrameLimit(FrameLimit limit) override;
    void close(const VLError &reason) override;

    const QString &socketPath() const { return m_path; }
    // Why the socket closed (ConnectionRefusedError for a socket file nobody listens on).
    QLocalSocket::LocalSocketError socketError() const { return m_socketError; }

private:
    void readFrames();
    void socketFailed();

    const QString m_path;
    QLocalSocket *m_socket;
    KDFrameWriter *m_writer;
    // Answers are held in memory; the frame limit bounds each by its command, this all of them.
    KDFrameReader m_reader{KDWire::kLargestAnswerLimit};
    QLocalSocket::LocalSocketError m_socketError = QLocalSocket::UnknownSocketError;
    bool m_lost = false;
};
