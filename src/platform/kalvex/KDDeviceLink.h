#pragma once

#include "KDFrame.h"
#include "KDWireProtocol.h"
#include "VLError.h"

#include <QObject>

#include <functional>

// What carries frames between the framework and one device: a local socket to the emulator, an
// in-process script in tests, a bridge to hardware. The device logic above it (identifiers, time
// limits, reboot, answering every command once) is the same whatever the link.
class KDDeviceLink : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~KDDeviceLink() override = default;

    // Hands one frame to the other side. Delivery is asynchronous; a failure shows as lost().
    virtual void send(const KDFrame &frame) = 0;
    // Closes the link and reports it lost with the reason (once).
    virtual void close(const VLError &reason) = 0;
    // Bounds each frame from the device before it is collected (see KDFrameReader); a frame over
    // its bound closes the link. Links that are handed whole frames have nothing to bound.
    using FrameLimit = std::function<KDWire::FrameLimit(const QVariantMap &header)>;
    virtual void setFrameLimit(FrameLimit limit) { Q_UNUSED(limit); }

signals:
    void frameReceived(const KDFrame &frame);
    // Bytes moved in either direction (how many): a command's time limit counts from its last progress.
    void activity(qint64 bytes);
    // The link is closed for good; emitted once, and nothing is received after it.
    void lost(const VLError &reason);
};
