#include "VLNotifier_linux.h"

#include "VLAlertPresenter.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");
constexpr int kCallTimeoutMs = 3000;

bool serviceIsThere(const QDBusConnection &bus)
{
    QDBusConnectionInterface *names = bus.interface();
    if (!names)
        return false;
    if (names->isServiceRegistered(kService).value())
        return true;
    return names->activatableServiceNames().value().contains(kService);
}

} // namespace

VLFreedesktopNotifier::VLFreedesktopNotifier(QObject *parent)
    : VLFreedesktopNotifier(QDBusConnection::sessionBus(), parent)
{
}

VLFreedesktopNotifier::VLFreedesktopNotifier(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    if (!m_bus.isConnected())
        return;
    m_bus.connect(kService, kPath, kInterface, QStringLiteral("ActionInvoked"), this, SLOT(actionInvoked(uint, QString)));
    m_bus.connect(kService, kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                SLOT(notificationClosed(uint, uint)));
}

bool VLFreedesktopNotifier::notify(const QString &title, const QString &text, bool warning,
                                   const QList<Action> &actions, ActionHandler onAction)
{
    QDBusConnection &bus = m_bus;
    if (!bus.isConnected() || !serviceIsThere(bus))
        return false;
    QStringList actionList;
    for (const Action &action : actions)
        actionList << action.key << action.label;
    // "default" is what a click on the message itself invokes: the first action.
    if (!actions.isEmpty())
        actionList << QStringLiteral("default") << actions.first().label;
    const QVariantMap hints{{QStringLiteral("urgency"), QVariant::fromValue(uchar(warning ? 2 : 1))},
                            {QStringLiteral("desktop-entry"), QStringLiteral("com.velmora.VelmoraSync")}};
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Notify"));
    call << vlApplicationTitle() << m_lastId << QStringLiteral("tintera-sync") << title << text << actionList << hints
         << qint32(-1);
    const QDBusMessage reply = bus.call(call, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return false;
    m_lastId = reply.arguments().constFirst().toUInt();
    m_onAction = std::move(onAction);
    m_defaultKey = actions.isEmpty() ? QString() : actions.first().key;
    return true;
}

void VLFreedesktopNotifier::actionInvoked(uint id, const QString &key)
{
    if (id != m_lastId || !m_onAction)
        return;
    const ActionHandler handler = m_onAction;
    handler(key == QLatin1String("default") ? m_defaultKey : key);
}

void VLFreedesktopNotifier::notificationClosed(uint id, uint)
{
    if (id == m_lastId)
        m_onAction = nullptr;
}

std::shared_ptr<VLNotifier> vlCreateSystemNotifier()
{
    return std::make_shared<VLFreedesktopNotifier>();
}
