#pragma once

#include "KDFrame.h"
#include "VLError.h"

#include <QObject>

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

signals:
    void frameReceived(const KDFrame &frame);
    // Bytes moved in either direction: time limits count from the last activity.
    void activity();
    // The link is closed for good; emitted once, and nothing is received after it.
    void lost(const VLError &reason);
};
