#include "VLStatusMenu.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>

namespace {

const char *const kTagProperty = "vlMenuTag";
const char *const kActionProperty = "vlMenuAction";

QAction *addItem(QMenu *menu, const char *title, VLStatusMenuAction action, int tag = VLStatusMenuTagNone)
{
    QAction *item = menu->addAction(QCoreApplication::translate("VelmoraSyncAppDelegate", title));
    item->setProperty(kTagProperty, tag);
    item->setProperty(kActionProperty, int(action));
    return item;
}

} // namespace

QMenu *vlCreateStatusMenu(QObject *owner)
{
    auto *menu = new QMenu;
    if (owner)
        QObject::connect(owner, &QObject::destroyed, menu, &QObject::deleteLater);
    menu->setObjectName(QStringLiteral("statusItemMenu"));
    addItem(menu, "Sync Now", VLStatusMenuAction::SyncNow);
    // Shown only while a run goes on.
    addItem(menu, "Cancel Sync", VLStatusMenuAction::CancelSync)->setVisible(false);
    addItem(menu, "Last Sync: Never", VLStatusMenuAction::LastSyncDateNoop);
    menu->addSeparator();
    addItem(menu, "Preferences...", VLStatusMenuAction::RunPreferencesPanel);
    addItem(menu, "Measurements...", VLStatusMenuAction::ShowMeasurementsWindow);
    addItem(menu, "Launch at Login", VLStatusMenuAction::SwitchRunAtStartFromMenu, VLStatusMenuTagLaunchAtLogin)
        ->setCheckable(true);
    addItem(menu, "Check for Updates...", VLStatusMenuAction::None, VLStatusMenuTagCheckForUpdates);
    menu->addSeparator();
    addItem(menu, "Debug Window", VLStatusMenuAction::RunDebugWindow, VLStatusMenuTagDebugWindow);
    addItem(menu, "Clean Device", VLStatusMenuAction::CleanDevice, VLStatusMenuTagCleanDevice);
    addItem(menu, "Upload File...", VLStatusMenuAction::UploadFile, VLStatusMenuTagUploadFile);
    menu->addSeparator();
    addItem(menu, "Quit TINTERA Sync", VLStatusMenuAction::Terminate);
    return menu;
}

bool vlIsStatusMenuItem(const QAction *item)
{
    return item && !item->isSeparator() && item->property(kActionProperty).isValid();
}

int vlMenuItemTag(const QAction *item)
{
    return item ? item->property(kTagProperty).toInt() : VLStatusMenuTagNone;
}

VLStatusMenuAction vlMenuItemAction(const QAction *item)
{
    return item ? VLStatusMenuAction(item->property(kActionProperty).toInt()) : VLStatusMenuAction::None;
}

QAction *vlMenuItemWithTag(const QMenu *menu, int tag)
{
    if (!menu || tag == VLStatusMenuTagNone)
        return nullptr;
    for (QAction *item : menu->actions()) {
        if (vlMenuItemTag(item) == tag)
            return item;
    }
    return nullptr;
}

QAction *vlMenuItemWithAction(const QMenu *menu, VLStatusMenuAction action)
{
    if (!menu)
        return nullptr;
    for (QAction *item : menu->actions()) {
        if (vlIsStatusMenuItem(item) && vlMenuItemAction(item) == action)
            return item;
    }
    return nullptr;
}

bool vlRemoveMenuItemWithTag(QMenu *menu, int tag)
{
    QAction *item = vlMenuItemWithTag(menu, tag);
    if (!item)
        return false;
    menu->removeAction(item);
    if (item->parent() == menu)
        delete item;
    return true;
}
