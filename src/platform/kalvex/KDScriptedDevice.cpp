#include "KDScriptedDevice.h"

#include "KDDeviceCenter.h"
#include "KDDeviceLink.h"
#include "KDError.h"
#include "KDWireProtocol.h"

#include <QTimer>

// The loopback link: frames go to the scripted device in-process, answers come back the same way,
// always from the event loop.
class KDLoopbackLink final : public KDDeviceLink
{
public:
    explicit KDLoopbackLink(KDScriptedDevice *device) : m_device(device) {}

    void send(const KDFrame &frame) override
    {
        if (m_closed)
            return;
        const QVariantMap header = frame.header;
        const QByteArray data = frame.payload.toByteArray();
        QMetaObject::invokeMethod(
            this,
            [this, header, data] {
                if (!m_closed && m_device)
                    m_device->handle(this, header, data);
            },
            Qt::QueuedConnection);
    }

    void deliver(const QVariantMap &header, const QByteArray &data)
    {
        if (m_closed)
            return;
        emit activity(qint64(data.size()) + 1);
        emit frameReceived(KDFrame{header, data.isNull() ? KDPayload() : KDPayload(data)});
    }

    void close(const VLError &reason) override
    {
        if (m_closed)
            return;
        m_closed = true;
        emit lost(reason);
    }

    bool isClosed() const { return m_closed; }

private:
    QPointer<KDScriptedDevice> m_device;
    bool m_closed = false;
};

KDScriptedDevice::KDScriptedDevice(const QString &serialNumber, const QVariantMap &attributes, const QString &name,
                                   QObject *parent)
    : QObject(parent)
    , m_serialNumber(serialNumber)
    , m_name(name)
    , m_attributes(attributes)
{
    m_device = KDDevice::createWithHello(hello(), newLink());
}

KDScriptedDevice::~KDScriptedDevice()
{
    if (m_link)
        m_link->close(kdError(KDErrorDeviceDisconnected));
}

KDLoopbackLink *KDScriptedDevice::newLink()
{
    m_link = new KDLoopbackLink(this);
    return m_link;
}

QVariantMap KDScriptedDevice::hello() const
{
    return {{KDWire::KindKey, KDWire::KindHello},
            {KDWire::ProtocolVersionKey, KDWire::kProtocolVersion},
            {KDWire::NameKey, m_name},
            {KDWire::SerialNumberKey, m_serialNumber},
            {KDWire::AttributesKey, m_attributes}};
}

void KDScriptedDevice::plugIn()
{
    if (!m_device->isConnected())
        m_device = KDDevice::createWithHello(hello(), newLink());
    KDDeviceCenter::defaultCenter()->addDevice(m_device);
}

void KDScriptedDevice::unplug()
{
    if (m_link)
        m_link->close(kdError(KDErrorDeviceDisconnected));
    else
        m_device->detach(kdError(KDErrorDeviceDisconnected)); // away in a reboot
}

void KDScriptedDevice::setReply(const QString &commandName, const Reply &reply)
{
    m_scripts.insert(commandName, [reply](const Received &) { return reply; });
}

void KDScriptedDevice::setScript(const QString &commandName, Script script)
{
    m_scripts.insert(commandName, std::move(script));
}

void KDScriptedDevice::setAttributes(const QVariantMap &attributes)
{
    m_attributes = attributes;
}

QStringList KDScriptedDevice::receivedCommandNames() const
{
    QStringList names;
    for (const Received &command : m_received)
        names.append(command.name);
    return names;
}

QVariantMap KDScriptedDevice::measurementRecord(const QVariantMap &attributes, const QList<double> &lab)
{
    HBColorPtr color = HBColor::color();
    for (auto it = attributes.constBegin(); it != attributes.constEnd(); ++it)
        color->setAttribute(it.value(), it.key());
    if (lab.size() == 3)
        color->addRepresentation(HBColorRepresentation::labRepresentation(lab.at(0), lab.at(1), lab.at(2)));
    return {{KDMeasurementColorSpaceColorInfo, color->propertyList()}};
}

void KDScriptedDevice::handle(KDLoopbackLink *link, const QVariantMap &header, const QByteArray &data)
{
    if (header.value(KDWire::KindKey).toString() != KDWire::KindCommand)
        return;
    Received command{header.value(KDWire::CommandKey).toString(), header.value(KDWire::ArgumentsKey).toMap(),
                     header.value(KDWire::HasDataKey).toBool(), data};
    m_received.append(command);
    emit commandReceived(command.name);

    Reply reply;
    if (const auto it = m_scripts.constFind(command.name); it != m_scripts.constEnd())
        reply = (*it)(command);
    else if (command.name == QStringLiteral("Reboot"))
        reply.reboot = true;

    const qint64 id = header.value(KDWire::IdKey).toLongLong();
    QPointer<KDLoopbackLink> target = link;
    auto act = [this, target, id, reply] {
        if (!target || target->isClosed())
            return;
        if (reply.disconnect) {
            target->close(kdError(KDErrorDeviceDisconnected));
            return;
        }
        if (reply.reboot) {
            target->close(kdError(KDErrorDeviceDisconnected, QStringLiteral("(rebooting)")));
            if (!m_comesBack)
                return;
            QTimer::singleShot(m_rebootDelay, this, [this] {
                if (m_device->isConnected() && !m_device->isAvailable()) {
                    KDLoopbackLink *fresh = newLink();
                    if (!m_device->attachLink(fresh, hello()))
                        delete fresh;
                }
            });
            return;
        }
        QVariantMap answer{{KDWire::KindKey, KDWire::KindResponse},
                           {KDWire::IdKey, id},
                           {KDWire::HasDataKey, !reply.data.isNull()},
                           {KDWire::AttributesKey, m_attributes}};
        if (!reply.error.isNull())
            answer.insert(KDWire::ErrorKey, KDWire::dictionaryFromError(reply.error));
        if (!reply.measurements.isEmpty())
            answer.insert(KDWire::MeasurementsKey, reply.measurements);
        target->deliver(answer, reply.data);
    };
    if (reply.noAnswer)
        return;
    QTimer::singleShot(std::max(0, reply.delay), link, act);
}
