#pragma once

#include "VLSyncFileInfo.h"

#include <QList>
#include <QString>

#include <functional>

// What a full sync will do to the device and the computer, worked out from the inventory of a
// preliminary run before anything is installed. It follows the sync's own order and rules: device
// files (bootloader first) from the service or the computer's copy, then fandecks fetched, removed,
// uploaded and enabled, then the device settings.
struct VLSyncPlan
{
    struct Install
    {
        VLSyncFileInfoPtr file; // what goes to the device
        QString fromVersion; // what the device has now; empty when it has none
        bool downloaded = false; // fetched from the service first (else the computer's copy)
    };

    VLSyncFileList downloads; // in the order the sync fetches them
    QList<Install> deviceFiles; // in step order
    VLSyncFileList fandecksToAdd; // uploaded (new, or a newer version)
    VLSyncFileList fandecksToEnable;
    VLSyncFileList fandecksToRemove;
    VLSyncFileInfoPtr deviceSettings; // applied to the device (a new file, or the held one again)
    bool deviceSettingsAgain = false; // the device's own settings file applied again

    bool isEmpty() const;
    // The bootloader or firmware entry, when the sync writes one.
    const Install *installOfType(const QString &fileType) const;
    // Whether the device is written in a way that must not be interrupted.
    bool writesFirmware() const;
    // "2 updates: firmware 2.5, Velmora Interiors 1.1", or "Up to date".
    QString summary() const;
};

// What the plan is worked out from: the three lists of the inventory and the rules the sync
// applies to them.
struct VLSyncPlanInputs
{
    VLSyncFileList localFiles;
    VLSyncFileList deviceFiles;
    VLSyncFileList webServiceFiles;
    bool selectedOnly = false;
    std::function<bool(const QString &fileID)> wanted; // ticked by the user
    std::function<bool(const VLSyncFileInfo &record)> trusted; // may be fetched and installed
    // The device's settings file to apply again although the service offers nothing newer.
    std::function<VLSyncFileInfoPtr(const VLSyncPlan &planSoFar)> settingsToApplyAgain;
};

VLSyncPlan vlPlanSync(const VLSyncPlanInputs &inputs);

// "firmware", "bootloader", "welcome image", ... for a device file's type; the type itself otherwise.
QString vlDeviceFileTypeName(const QString &fileType);
// What a front end shows while firmware or a bootloader is written; composed by the engine's status
// messages too, so a front end can tell those messages by it.
QString vlKeepDeviceConnectedNotice();
