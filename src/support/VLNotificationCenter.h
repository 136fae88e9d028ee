#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

struct VLNotification
{
    QString name;
    QPointer<QObject> object;
    QVariantMap userInfo;
};

// Named notifications, delivered synchronously inside post() to every observer of the name (and,
// when the observer gave one, of the posting object). Observers go away with their context object.
class VLNotificationCenter : public QObject
{
    Q_OBJECT
public:
    static VLNotificationCenter *defaultCenter();

    using Handler = std::function<void(const VLNotification &)>;
    // sender == nullptr observes the name from every object.
    QMetaObject::Connection addObserver(const QString &name, const QObject *sender, QObject *context, Handler handler);
    void removeObserver(const QMetaObject::Connection &connection);
    void postNotification(const QString &name, QObject *object, const QVariantMap &userInfo = {});

signals:
    void notificationPosted(const VLNotification &notification);
};
