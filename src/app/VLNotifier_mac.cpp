#include "VLNotifier.h"

// No notification service is spoken to here: the status item's own message says it.
VLFreedesktopNotifier::VLFreedesktopNotifier(QObject *parent)
    : QObject(parent)
{
}

bool VLFreedesktopNotifier::notify(const QString &, const QString &, bool, const QList<Action> &, ActionHandler)
{
    return false;
}

void VLFreedesktopNotifier::actionInvoked(uint, const QString &)
{
}

void VLFreedesktopNotifier::notificationClosed(uint, uint)
{
}
