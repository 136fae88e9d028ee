#pragma once

#include "VLSyncFileInfo.h"

#include <QString>

class VLSyncManager;

// What turning "sync selected fandecks only" on costs, told before it is turned on: the fandecks
// the next sync would remove from the device, and whether the user chose none at all.
struct VLSelectedOnlyWarning
{
    VLSyncFileList removed;
    bool noneSelected = false;

    // Empty when turning it on removes nothing and something is chosen.
    QString text() const;
    bool needsConfirmation() const { return noneSelected; }
};

// From the manager's inventory of its last run.
VLSelectedOnlyWarning vlSelectedOnlyWarning(VLSyncManager *manager);
