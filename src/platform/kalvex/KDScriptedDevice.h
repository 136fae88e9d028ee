#pragma once

#include "KDDevice.h"
#include "KDMeasurement.h"

#include <QHash>
#include <QObject>
#include <QPointer>

#include <functional>

class KDLoopbackLink;

// An in-process device for tests of code that talks to devices: no emulator and no socket. Its
// answers are scripted; the client side is a real KDDevice over a loopback link, so time limits,
// reboots and the exactly-once answers behave as with a real device.
//
// Unless told otherwise the device answers every command with success and no data, and answers
// "Reboot" by going away and coming back after rebootDelay() (the answer follows the return).
class KDScriptedDevice : public QObject
{
    Q_OBJECT
public:
    // A command as the device received it.
    struct Received
    {
        QString name;
        QVariantMap arguments;
        bool hasData = false;
        QByteArray data;
    };

    struct Reply
    {
        VLError error;
        QByteArray data;           // null: no data
        QVariantList measurements; // measurement records (KDMeasurement::dictionary() form)
        int delay = 0;             // milliseconds before the answer
        bool noAnswer = false;     // never answer
        bool disconnect = false;   // go away instead of answering (the device is removed)
        bool reboot = false;       // reboot instead of answering ("Reboot" does this by default)
    };

    using Script = std::function<Reply(const Received &command)>;

    explicit KDScriptedDevice(const QString &serialNumber, const QVariantMap &attributes = {},
                              const QString &name = QStringLiteral("Velmora"), QObject *parent = nullptr);
    ~KDScriptedDevice() override;

    // The client-side device; a new one after each plugIn() that follows a removal.
    KDDevicePtr device() const { return m_device; }
    // Makes the device known to observers (arrival) and takes it away again (removal).
    void plugIn();
    void unplug();

    void setReply(const QString &commandName, const Reply &reply);
    void setScript(const QString &commandName, Script script);
    // Changes reach the client with the next answer (or the next return from a reboot).
    void setAttributes(const QVariantMap &attributes);
    void setRebootDelay(int milliseconds) { m_rebootDelay = milliseconds; }
    int rebootDelay() const { return m_rebootDelay; }
    // A device that stays away after "Reboot" (the framework's reboot time limit then runs out).
    void setComesBackAfterReboot(bool comesBack) { m_comesBack = comesBack; }

    const QList<Received> &receivedCommands() const { return m_received; }
    QStringList receivedCommandNames() const;

    // A measurement record with a "ColorInfo" colour: the attributes and, when given, CIELAB values.
    static QVariantMap measurementRecord(const QVariantMap &attributes, const QList<double> &lab = {});

signals:
    void commandReceived(const QString &name);

private:
    friend class KDLoopbackLink;
    void handle(KDLoopbackLink *link, const QVariantMap &header, const QByteArray &data);
    QVariantMap hello() const;
    KDLoopbackLink *newLink();

    QString m_serialNumber;
    QString m_name;
    QVariantMap m_attributes;
    KDDevicePtr m_device;
    QPointer<KDLoopbackLink> m_link;
    QHash<QString, Script> m_scripts;
    QList<Received> m_received;
    int m_rebootDelay = 0;
    bool m_comesBack = true;
};
