#pragma once

#include <QString>

class QAction;
class QMenu;
class QObject;

// Tags by which the code finds items of the status menu.
enum VLStatusMenuTag : int {
    VLStatusMenuTagNone = 0,
    VLStatusMenuTagCheckForUpdates = 1037, // no function here: updates come from the package manager
    VLStatusMenuTagDebugWindow = 1040,
    VLStatusMenuTagCleanDevice = 1041,
    VLStatusMenuTagUploadFile = 1042,
    VLStatusMenuTagLaunchAtLogin = 1045,
};

// What an item does when chosen; menu validation goes by this.
enum class VLStatusMenuAction {
    None,
    SyncNow,
    CancelSync,
    LastSyncDateNoop,
    RunPreferencesPanel,
    ShowMeasurementsWindow,
    SwitchRunAtStartFromMenu,
    RunDebugWindow,
    CleanDevice,
    UploadFile,
    Terminate,
};

// The status item's menu as the application defines it: titles, order, tags and actions.
QMenu *vlCreateStatusMenu(QObject *owner = nullptr);

// Whether the item is one of the menu's own (not a separator or a line added by the status item).
bool vlIsStatusMenuItem(const QAction *item);
int vlMenuItemTag(const QAction *item);
VLStatusMenuAction vlMenuItemAction(const QAction *item);
QAction *vlMenuItemWithTag(const QMenu *menu, int tag);
QAction *vlMenuItemWithAction(const QMenu *menu, VLStatusMenuAction action);
// Removes (and deletes) the item with the tag; false when the menu has none.
bool vlRemoveMenuItemWithTag(QMenu *menu, int tag);
