#pragma once

#include <QString>

// The device as the preferences window shows it. Live: present, available and connected.
struct VLPreferencesDevice
{
    bool live = false;
    QString serialNumber;
    QString chipId;
    QString firmware;
    QString freeDiskSpace; // bytes, as the device reports them (text)
};

// The sync manager as the preferences window shows it.
struct VLPreferencesSyncState
{
    bool isInSync = false;
    bool isJustGatheringPreliminaryInfo = false;
    QString statusMessage;
    // The manager's own device is available and connected.
    bool managerDeviceLive = false;
    QString lastSyncDateString;
    // A sync has ended well before: with the device away it is still worth knowing when.
    bool hasSynced = false;
    bool autoSyncOnDeviceConnection = false;
    bool syncSelectedFandecksOnly = false;
};

// Every text of the window's information section.
struct VLPreferencesInfoTexts
{
    QString serialNumber;
    QString chipId;
    QString firmware;
    QString storage;
    QString status;
    bool autoSyncChecked = false;
    bool syncSelectedOnlyChecked = false;
};

VLPreferencesInfoTexts vlPreferencesInfoTexts(const VLPreferencesDevice &device, const VLPreferencesSyncState &state);
// Free space in whole mebibytes, rounded to the nearest: "5 Mb Available".
QString vlPreferencesStorageText(const QString &freeDiskSpaceBytes);
QString vlPreferencesStatusText(const VLPreferencesSyncState &state);
// "<name> v<short version> (<build>)"
QString vlPreferencesVersionText(const QString &name, const QString &shortVersion, const QString &build);
