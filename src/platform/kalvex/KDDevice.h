#pragma once

#include "KDCommand.h"
#include "KDCommandResponse.h"
#include "KDWireProtocol.h"
#include "VLError.h"

#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QTimer>
#include <QVariantMap>

class KDDeviceLink;
struct KDFrame;

// Names of device attributes.
extern const QString KDDeviceAttributeChipId;
extern const QString KDDeviceAttributeFirmware;
extern const QString KDDeviceAttributeFreeDiskSpace; // bytes, as text

// One device as the framework sees it, from its arrival until it is removed.
//
// sendCommand() answers every command exactly once, always later on the main thread (never from
// inside the call): with the device's answer, or with an error in KDErrorDomain when the device is
// not available, goes away, sends something unreadable, or stays silent past the time limit.
// "Reboot" is answered when the device is back: in between the device is connected but not
// available (observers hear of both changes as updates); a device that stays away past the reboot
// time limit is removed and the command gets an error. The object stays the same across a reboot.
class KDDevice : public QObject
{
    Q_OBJECT
public:
    ~KDDevice() override;

    QString name() const { return m_name; }
    QString serialNumber() const { return m_serialNumber; }
    // An attribute as the device reports it (text), or a null string.
    QString attributeForKey(const QString &key) const;
    QVariantMap attributes() const { return m_attributes; }
    // Ready for commands.
    bool isAvailable() const { return m_state == State::Available; }
    // Attached: from arrival until removal, rebooting included.
    bool isConnected() const { return m_state != State::Removed; }
    // Same device: same serial number.
    bool isEqual(const KDDevice *other) const;
    bool isEqual(const QSharedPointer<KDDevice> &other) const { return isEqual(other.data()); }

    void sendCommand(const KDCommandPtr &command, KDCommandResponseHandler handler);
    QString description() const;

    // Time limits in milliseconds. A command's limit counts from its link's last progress: the
    // command going out, an answer coming in, or kMinimumProgressBytes moved in either direction.
    // A long upload that keeps moving does not run out; a device that trickles a byte now and
    // then does, and is let go (KDErrorCommandTooSlow).
    int commandTimeLimit() const { return m_commandTimeLimit; }
    void setCommandTimeLimit(int milliseconds);
    int rebootTimeLimit() const { return m_rebootTimeLimit; }
    void setRebootTimeLimit(int milliseconds);
    // Defaults for new devices: 30 s and 60 s, or KALVEX_COMMAND_TIME_LIMIT_MS and
    // KALVEX_REBOOT_TIME_LIMIT_MS from the environment.
    static int defaultCommandTimeLimit();
    static void setDefaultCommandTimeLimit(int milliseconds);
    static int defaultRebootTimeLimit();
    static void setDefaultRebootTimeLimit(int milliseconds);
    // Far below the slowest link a device is attached by, far above what a trickle moves.
    static constexpr qint64 kMinimumProgressBytes = 4096;

    // For the framework's backends. A "Hello" header names a device when it has a serial number.
    static bool isValidHello(const QVariantMap &hello);
    // A new available device over the link (the device takes the link over).
    static QSharedPointer<KDDevice> createWithHello(const QVariantMap &hello, KDDeviceLink *link);
    // The device is back from a reboot over a new link. False (link untouched) when the device is
    // not waiting for that or the serial number differs.
    bool attachLink(KDDeviceLink *link, const QVariantMap &hello);
    // Gone for good: outstanding commands are answered with the reason.
    void detach(const VLError &reason);

signals:
    // Availability or attributes changed.
    void stateChanged();
    // The device is gone for good; emitted once.
    void removed();

private:
    enum class State { Available, Rebooting, Removed };
    struct Pending
    {
        KDCommandPtr command;
        KDCommandResponseHandler handler;
        qint64 lastProgress = 0;
        bool isReboot = false;
    };

    explicit KDDevice(const QVariantMap &hello);
    void takeLink(KDDeviceLink *link);
    void dropLink();
    void frameReceived(const KDFrame &frame);
    void linkLost(const VLError &reason);
    void linkActivity(qint64 bytes);
    void markProgress();
    // The bound on a frame from the device: what the answered command can need (KDWire::answerLimit).
    KDWire::FrameLimit answerLimit(const QVariantMap &header) const;
    void answer(qint64 id, const VLError &error, const QByteArray &data = {}, const KDMeasurementList &measurements = {});
    void answerAll(const VLError &error, bool rebootsToo);
    void updateAttributes(const QVariant &attributes);
    void armCommandTimer();
    void commandTimerFired();
    void rebootTimerFired();

    QString m_name;
    QString m_serialNumber;
    QVariantMap m_attributes;
    State m_state = State::Available;
    QPointer<KDDeviceLink> m_link;
    QMap<qint64, Pending> m_pending;
    qint64 m_nextId = 1;
    int m_commandTimeLimit;
    int m_rebootTimeLimit;
    QElapsedTimer m_clock;
    qint64 m_bytesSinceProgress = 0;
    qint64 m_lastBytesAt = 0;
    QTimer m_commandTimer;
    QTimer m_rebootTimer;
};

using KDDevicePtr = QSharedPointer<KDDevice>;
using KDDeviceWeakPtr = QWeakPointer<KDDevice>;

// Calls a handler with a response on the main thread, after the current call has returned.
void kdDeliverResponse(const KDCommandResponseHandler &handler, const KDCommandResponsePtr &response);
