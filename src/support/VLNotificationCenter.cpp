#include "VLNotificationCenter.h"

VLNotificationCenter *VLNotificationCenter::defaultCenter()
{
    static VLNotificationCenter *center = new VLNotificationCenter; // lives as long as the process
    return center;
}

QMetaObject::Connection VLNotificationCenter::addObserver(const QString &name, const QObject *sender,
                                                          QObject *context, Handler handler)
{
    QPointer<const QObject> wanted(sender);
    const bool anySender = sender == nullptr;
    return connect(this, &VLNotificationCenter::notificationPosted, context,
                   [name, wanted, anySender, handler = std::move(handler)](const VLNotification &n) {
                       if (n.name != name)
                           return;
                       if (!anySender && (wanted.isNull() || n.object.data() != wanted.data()))
                           return;
                       handler(n);
                   },
                   Qt::DirectConnection);
}

void VLNotificationCenter::removeObserver(const QMetaObject::Connection &connection)
{
    disconnect(connection);
}

void VLNotificationCenter::postNotification(const QString &name, QObject *object, const QVariantMap &userInfo)
{
    emit notificationPosted(VLNotification{name, object, userInfo});
}
