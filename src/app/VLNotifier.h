#pragma once

#include <QList>
#include <QObject>
#ifndef Q_OS_MACOS
#include <QDBusConnection>
#endif
#include <QString>

#include <functional>

// A message on the desktop that the user can act on later (the end of a sync).
class VLNotifier
{
public:
    struct Action
    {
        QString key;
        QString label;
    };
    using ActionHandler = std::function<void(const QString &key)>;

    virtual ~VLNotifier() = default;
    // False when the desktop has no notification service: the caller then says it its own way.
    virtual bool notify(const QString &title, const QString &text, bool warning, const QList<Action> &actions,
                        ActionHandler onAction) = 0;
};

// Freedesktop notifications over the session bus (org.freedesktop.Notifications): the message
// replaces the previous one of the application, and its actions come back as ActionInvoked.
class VLFreedesktopNotifier : public QObject, public VLNotifier
{
    Q_OBJECT
public:
    explicit VLFreedesktopNotifier(QObject *parent = nullptr);
#ifndef Q_OS_MACOS
    // On another bus than the session's (tests).
    explicit VLFreedesktopNotifier(const QDBusConnection &bus, QObject *parent = nullptr);
#endif

    bool notify(const QString &title, const QString &text, bool warning, const QList<Action> &actions,
                ActionHandler onAction) override;
    uint lastNotificationId() const { return m_lastId; }

private slots:
    void actionInvoked(uint id, const QString &key);
    void notificationClosed(uint id, uint reason);

private:
#ifndef Q_OS_MACOS
    QDBusConnection m_bus;
#endif
    uint m_lastId = 0;
    ActionHandler m_onAction;
    QString m_defaultKey;
};
