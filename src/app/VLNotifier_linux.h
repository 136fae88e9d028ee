#pragma once

#include "VLNotifier.h"

#include <QDBusConnection>
#include <QObject>

// Freedesktop notifications over the session bus (org.freedesktop.Notifications): the message
// replaces the previous one of the application, and its actions come back as ActionInvoked.
class VLFreedesktopNotifier : public QObject, public VLNotifier
{
    Q_OBJECT
public:
    explicit VLFreedesktopNotifier(QObject *parent = nullptr);
    // On another bus than the session's (tests).
    explicit VLFreedesktopNotifier(const QDBusConnection &bus, QObject *parent = nullptr);

    bool notify(const QString &title, const QString &text, bool warning, const QList<Action> &actions,
                ActionHandler onAction) override;
    uint lastNotificationId() const { return m_lastId; }

private slots:
    void actionInvoked(uint id, const QString &key);
    void notificationClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
    uint m_lastId = 0;
    ActionHandler m_onAction;
    QString m_defaultKey;
};
