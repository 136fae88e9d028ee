#include "FuzzFileRecords.h"

#include "FuzzSupport.h"
#include "VLSyncInfo.h"

#include <cmath>

void tinteraFuzzExerciseFileRecords(const VLSyncFileList &files)
{
    for (const VLSyncFileInfoPtr &file : files) {
        TINTERA_FUZZ_CHECK(std::isfinite(file->version()), "a version number is finite");
        (void)file->fileType();
        (void)file->fileID();
        (void)file->SKU();
        (void)file->byteLength();
        (void)file->fileURL();
        (void)file->versionDate();
        (void)file->needsRebootAfterInstall();
        (void)file->description();
    }
    VLSyncInfo inventory;
    inventory.setWebServiceFiles(files);
    inventory.setLocalFiles(files);
    inventory.setDeviceFiles(files);
    (void)inventory.fandecksNeedingDownload();
    (void)inventory.fandecksNeedingTransferToDevice();
    (void)inventory.isNewFirmwareAvailableForDevice();
    (void)inventory.isNewDeviceSettingsAvailableForDevice();
    (void)inventory.isNewInversionMatriceAvailableForDevice();
    for (const VLSyncFileInfoPtr &fandeck : inventory.allUniqueFandecks())
        (void)inventory.debugInfoForFandeck(fandeck);
    (void)inventory.description();
}
