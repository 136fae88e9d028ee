#include "KDDevice.h"

#include "KDDeviceLink.h"
#include "KDError.h"
#include "KDFrame.h"
#include "KDWireProtocol.h"
#include "TSLogger.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <limits>

const QString KDDeviceAttributeChipId = QStringLiteral("ChipId");
const QString KDDeviceAttributeFirmware = QStringLiteral("Firmware");
const QString KDDeviceAttributeFreeDiskSpace = QStringLiteral("FreeDiskSpace");

namespace {

int environmentLimit(const char *name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok && value > 0 ? value : fallback;
}

int s_defaultCommandTimeLimit = 0;
int s_defaultRebootTimeLimit = 0;

const QString kRebootCommand = QStringLiteral("Reboot");

} // namespace

void kdDeliverResponse(const KDCommandResponseHandler &handler, const KDCommandResponsePtr &response)
{
    if (!handler)
        return;
    QCoreApplication *application = QCoreApplication::instance();
    if (!application) {
        handler(response);
        return;
    }
    QMetaObject::invokeMethod(application, [handler, response] { handler(response); }, Qt::QueuedConnection);
}

int KDDevice::defaultCommandTimeLimit()
{
    if (s_defaultCommandTimeLimit <= 0)
        s_defaultCommandTimeLimit = environmentLimit("KALVEX_COMMAND_TIME_LIMIT_MS", 30000);
    return s_defaultCommandTimeLimit;
}

void KDDevice::setDefaultCommandTimeLimit(int milliseconds)
{
    s_defaultCommandTimeLimit = milliseconds;
}

int KDDevice::defaultRebootTimeLimit()
{
    if (s_defaultRebootTimeLimit <= 0)
        s_defaultRebootTimeLimit = environmentLimit("KALVEX_REBOOT_TIME_LIMIT_MS", 60000);
    return s_defaultRebootTimeLimit;
}

void KDDevice::setDefaultRebootTimeLimit(int milliseconds)
{
    s_defaultRebootTimeLimit = milliseconds;
}

bool KDDevice::isValidHello(const QVariantMap &hello)
{
    return hello.value(KDWire::KindKey).toString() == KDWire::KindHello
        && hello.value(KDWire::SerialNumberKey).typeId() == QMetaType::QString
        && !hello.value(KDWire::SerialNumberKey).toString().isEmpty()
        && hello.value(KDWire::ProtocolVersionKey).toLongLong() == KDWire::kProtocolVersion;
}

QSharedPointer<KDDevice> KDDevice::createWithHello(const QVariantMap &hello, KDDeviceLink *link)
{
    QSharedPointer<KDDevice> device(new KDDevice(hello), &QObject::deleteLater);
    device->takeLink(link);
    return device;
}

KDDevice::KDDevice(const QVariantMap &hello)
    : m_name(hello.value(KDWire::NameKey).toString())
    , m_serialNumber(hello.value(KDWire::SerialNumberKey).toString())
    , m_commandTimeLimit(defaultCommandTimeLimit())
    , m_rebootTimeLimit(defaultRebootTimeLimit())
{
    updateAttributes(hello.value(KDWire::AttributesKey));
    m_clock.start();
    m_commandTimer.setSingleShot(true);
    m_rebootTimer.setSingleShot(true);
    connect(&m_commandTimer, &QTimer::timeout, this, &KDDevice::commandTimerFired);
    connect(&m_rebootTimer, &QTimer::timeout, this, &KDDevice::rebootTimerFired);
}

KDDevice::~KDDevice()
{
    // Whoever still waits hears of it: every command is answered, even when the device object goes.
    answerAll(kdError(KDErrorDeviceDisconnected), true);
    dropLink();
}

QString KDDevice::attributeForKey(const QString &key) const
{
    const auto it = m_attributes.constFind(key);
    return it == m_attributes.constEnd() ? QString() : it->toString();
}

bool KDDevice::isEqual(const KDDevice *other) const
{
    return other && !m_serialNumber.isEmpty() && other->m_serialNumber == m_serialNumber;
}

QString KDDevice::description() const
{
    const char *state = m_state == State::Available ? "available" : m_state == State::Rebooting ? "rebooting" : "removed";
    return QStringLiteral("<KDDevice %1 %2 (%3)>").arg(m_name, m_serialNumber, QLatin1String(state));
}

void KDDevice::setCommandTimeLimit(int milliseconds)
{
    m_commandTimeLimit = std::max(1, milliseconds);
    armCommandTimer();
}

void KDDevice::setRebootTimeLimit(int milliseconds)
{
    m_rebootTimeLimit = std::max(1, milliseconds);
    if (m_rebootTimer.isActive())
        m_rebootTimer.start(m_rebootTimeLimit);
}

void KDDevice::takeLink(KDDeviceLink *link)
{
    m_link = link;
    link->setParent(this);
    connect(link, &KDDeviceLink::frameReceived, this, &KDDevice::frameReceived);
    connect(link, &KDDeviceLink::activity, this, &KDDevice::linkActivity);
    connect(link, &KDDeviceLink::lost, this, &KDDevice::linkLost);
    link->setFrameLimit([this](const QVariantMap &header) { return answerLimit(header); });
}

KDWire::FrameLimit KDDevice::answerLimit(const QVariantMap &header) const
{
    if (header.isEmpty()) {
        // The header is still to come: as much as the hungriest waiting command may get.
        KDWire::FrameLimit largest{KDWire::kOrdinaryAnswerLimit, tr("A frame from the device")};
        for (const Pending &pending : m_pending)
            largest.bytes = std::max(largest.bytes, KDWire::answerLimit(pending.command->name()));
        if (m_pending.size() == 1)
            largest.what = tr("The answer to %1").arg(m_pending.first().command->name());
        else if (!m_pending.isEmpty())
            largest.what = tr("An answer");
        return largest;
    }
    const auto it = m_pending.constFind(header.value(KDWire::IdKey).toLongLong());
    if (header.value(KDWire::KindKey).toString() != KDWire::KindResponse || it == m_pending.constEnd())
        return {KDWire::kOrdinaryAnswerLimit, tr("A frame from the device")};
    return {KDWire::answerLimit(it->command->name()), tr("The answer to %1").arg(it->command->name())};
}

void KDDevice::dropLink()
{
    if (!m_link)
        return;
    KDDeviceLink *link = m_link;
    m_link = nullptr;
    link->disconnect(this);
    link->deleteLater();
}

void KDDevice::sendCommand(const KDCommandPtr &command, KDCommandResponseHandler handler)
{
    if (thread() != QThread::currentThread()) {
        // Hop to the device's thread; a device gone by then still answers, with an error.
        QPointer<KDDevice> self(this);
        QObject *home = QCoreApplication::instance() ? static_cast<QObject *>(QCoreApplication::instance()) : this;
        QMetaObject::invokeMethod(
            home,
            [self, command, handler] {
                if (self)
                    self->sendCommand(command, handler);
                else
                    kdDeliverResponse(handler, KDCommandResponsePtr::create(command, kdError(KDErrorDeviceNotAvailable)));
            },
            Qt::QueuedConnection);
        return;
    }
    auto fail = [&](const VLError &error) {
        kdDeliverResponse(handler, KDCommandResponsePtr::create(command, error));
    };
    if (!command || command->name().isEmpty())
        return fail(kdError(KDErrorBadCommand));
    if (!command->payloadError().isNull())
        return fail(command->payloadError());
    if (m_state != State::Available || !m_link)
        return fail(kdError(KDErrorDeviceNotAvailable));

    const qint64 id = m_nextId++;
    const KDPayload payload(KXDeviceCommandGetData(command->KXType()));
    const QVariantMap header{{KDWire::KindKey, KDWire::KindCommand},
                             {KDWire::IdKey, id},
                             {KDWire::CommandKey, command->name()},
                             {KDWire::ArgumentsKey, command->arguments()},
                             {KDWire::HasDataKey, !payload.isNull()}};
    m_pending.insert(id, Pending{command, std::move(handler), m_clock.elapsed(), command->name() == kRebootCommand});
    armCommandTimer();
    m_link->send(KDFrame{header, payload});
}

void KDDevice::frameReceived(const KDFrame &frame)
{
    const QVariantMap &header = frame.header;
    if (header.value(KDWire::KindKey).toString() != KDWire::KindResponse) {
        // Only answers are expected once the device has introduced itself.
        VL_LOG("%@: unexpected frame %@", m_serialNumber, header.value(KDWire::KindKey));
        const VLError error = kdError(KDErrorBadFrame, QStringLiteral("(unexpected frame)"));
        dropLink();
        linkLost(error);
        return;
    }
    updateAttributes(header.value(KDWire::AttributesKey));
    const qint64 id = header.value(KDWire::IdKey).toLongLong();
    if (!m_pending.contains(id)) {
        VL_LOG("%@: answer to command %lld that is no longer waiting", m_serialNumber, id);
        return;
    }
    KDMeasurementList measurements;
    const QVariantList records = header.value(KDWire::MeasurementsKey).toList();
    for (const QVariant &record : records)
        measurements.append(KDMeasurement::initWithDictionary(record.toMap()));
    const bool hasData = header.value(KDWire::HasDataKey).toBool();
    QByteArray data = hasData ? frame.payload.toByteArray() : QByteArray();
    if (hasData && data.isNull())
        data = QByteArray("");
    // A device answering one command after the other keeps the others' time going.
    markProgress();
    answer(id, KDWire::errorFromDictionary(header.value(KDWire::ErrorKey)), data, measurements);
}

void KDDevice::linkActivity(qint64 bytes)
{
    m_lastBytesAt = m_clock.elapsed();
    m_bytesSinceProgress += bytes;
    if (m_bytesSinceProgress >= kMinimumProgressBytes)
        markProgress();
}

void KDDevice::markProgress()
{
    const qint64 now = m_clock.elapsed();
    m_bytesSinceProgress = 0;
    for (Pending &pending : m_pending)
        pending.lastProgress = now;
}

void KDDevice::linkLost(const VLError &reason)
{
    dropLink();
    if (m_state != State::Available)
        return;
    const bool rebooting = std::any_of(m_pending.cbegin(), m_pending.cend(),
                                       [](const Pending &pending) { return pending.isReboot; });
    if (rebooting && !kdIsProtocolError(reason)) {
        VL_LOG("%@: rebooting, waiting up to %d ms", m_serialNumber, m_rebootTimeLimit);
        answerAll(kdError(KDErrorDeviceDisconnected), false);
        m_state = State::Rebooting;
        m_rebootTimer.start(m_rebootTimeLimit);
        emit stateChanged();
        return;
    }
    detach(reason);
}

bool KDDevice::attachLink(KDDeviceLink *link, const QVariantMap &hello)
{
    if (m_state != State::Rebooting || !link || hello.value(KDWire::SerialNumberKey).toString() != m_serialNumber)
        return false;
    VL_LOG("%@: back from reboot", m_serialNumber);
    m_rebootTimer.stop();
    takeLink(link);
    m_name = hello.value(KDWire::NameKey).toString();
    const QVariant attributes = hello.value(KDWire::AttributesKey);
    if (attributes.typeId() == QMetaType::QVariantMap)
        m_attributes = attributes.toMap();
    m_state = State::Available;
    emit stateChanged();
    const QList<qint64> ids = m_pending.keys();
    for (qint64 id : ids)
        answer(id, VLError());
    return true;
}

void KDDevice::detach(const VLError &reason)
{
    if (m_state == State::Removed)
        return;
    VL_LOG("%@: removed (%@)", m_serialNumber, reason);
    m_state = State::Removed;
    m_rebootTimer.stop();
    dropLink();
    answerAll(reason.isNull() ? kdError(KDErrorDeviceDisconnected) : reason, true);
    emit removed();
}

void KDDevice::rebootTimerFired()
{
    if (m_state != State::Rebooting)
        return;
    detach(kdError(KDErrorRebootTimedOut));
}

void KDDevice::answer(qint64 id, const VLError &error, const QByteArray &data, const KDMeasurementList &measurements)
{
    const auto it = m_pending.find(id);
    if (it == m_pending.end())
        return;
    const Pending pending = it.value();
    m_pending.erase(it);
    armCommandTimer();
    kdDeliverResponse(pending.handler,
                      KDCommandResponsePtr::create(pending.command, error, data, measurements));
}

void KDDevice::answerAll(const VLError &error, bool rebootsToo)
{
    const QList<qint64> ids = m_pending.keys();
    for (qint64 id : ids) {
        if (rebootsToo || !m_pending.value(id).isReboot)
            answer(id, error);
    }
}

void KDDevice::updateAttributes(const QVariant &attributes)
{
    if (attributes.typeId() != QMetaType::QVariantMap)
        return;
    const QVariantMap map = attributes.toMap();
    if (map == m_attributes)
        return;
    m_attributes = map;
    if (m_clock.isValid())
        emit stateChanged();
}

void KDDevice::armCommandTimer()
{
    // While rebooting, the reboot limit governs what is still waiting.
    qint64 earliest = std::numeric_limits<qint64>::max();
    if (m_state == State::Available) {
        for (const Pending &pending : std::as_const(m_pending))
            earliest = std::min(earliest, pending.lastProgress);
    }
    if (earliest == std::numeric_limits<qint64>::max()) {
        m_commandTimer.stop();
        return;
    }
    const qint64 due = earliest + m_commandTimeLimit - m_clock.elapsed();
    m_commandTimer.start(int(std::clamp<qint64>(due, 0, std::numeric_limits<int>::max())));
}

void KDDevice::commandTimerFired()
{
    const qint64 now = m_clock.elapsed();
    QList<qint64> expired;
    for (auto it = m_pending.cbegin(); it != m_pending.cend(); ++it) {
        if (it->lastProgress + m_commandTimeLimit > now)
            continue;
        // Bytes still coming in the second half of the time without progress: a trickle. The
        // stream is in the middle of a frame that nothing else gets past, so the link goes too,
        // once the command has its answer (the removal would otherwise overtake it).
        if (m_lastBytesAt - it->lastProgress > m_commandTimeLimit / 2) {
            const VLError error = kdError(
                KDErrorCommandTooSlow,
                tr("%1 moved only %2 bytes in %3 s; at least %4 are needed.")
                    .arg(it->command->name())
                    .arg(m_bytesSinceProgress)
                    .arg(double(now - it->lastProgress) / 1000.0)
                    .arg(kMinimumProgressBytes));
            answer(it.key(), error);
            QMetaObject::invokeMethod(
                this, [link = m_link, error] { if (link) link->close(error); }, Qt::QueuedConnection);
            return;
        }
        expired.append(it.key());
    }
    for (qint64 id : expired) {
        VL_LOG("%@: %@ timed out", m_serialNumber, m_pending.value(id).command->name());
        answer(id, kdError(KDErrorCommandTimedOut));
    }
    armCommandTimer();
}
