#pragma once

#include <QtGlobal>

// The step a sync is in; 0 when no sync runs. The irregular names are the ones the log prints.
enum VLSyncManagerStatus : qint32 {
    VLSyncManagerStatusIdle = 0,
    VLSyncManagerResetSyncMode = 1,
    VLSyncManagerStatusOpeningSessionWithCloud = 2,
    VLSyncManagerStatusQueryLocalWebServiceCache = 3,
    VLSyncManagerStatusQueryLocalFandecks = 4,
    VLSyncManagerStatusQueryingDeviceFandecks = 5,
    VLSyncManagerStatusQueryCloudFandecks = 6,
    VLSyncManagerEndPrelimianryInfo = 7,
    VLSyncManagerBeginSyncMode = 8,
    VLSyncManagerStatusGettingDeviceMeasurements = 9,
    VLSyncManagerUpdateBootloaderIfNeeded = 10,
    VLSyncManagerUpdateFirmwareIfNeeded = 11,
    VLSyncManagerUpdateWallpaperImageIfNeeded = 12,
    VLSyncManagerUpdateWelcomeImageIfNeeded = 13,
    VLSyncManagerStatusUpdateStartSoundIfNeeded = 14,
    VLSyncManagerStatusUpdateEndSoundIfNeeded = 15,
    VLSyncManagerStatusUpdateMulticolorSoundIfNeeded = 16,
    VLSyncManagerStatusUpdateInversionMatrixIfNeeded = 17,
    VLSyncManagerStatusQueryingDeviceFandecks2 = 18,
    VLSyncManagerStatusDownloadFandecksFromCloud = 19,
    VLSyncManagerStatusCopyFandecksToDevice = 20,
    VLSyncManagerStatusReboot = 21,
    VLSyncManagerStatusUpdateDeviceFandeckCache = 22,
    VLSyncManagerStatusEnableAllFandecks = 23,
    VLSyncManagerUpdateDeviceSettingsIfNeeded = 24,
    VLSyncManagerUpdateDeviceClock = 25,
    VLSyncManagerStatusExportMatches = 26,
    VLSyncManagerEndSyncMode = 27,
    VLSyncManagerStatusDone = 28,
};
