#include "FuzzFileRecords.h"

#include "FuzzSupport.h"
#include "VLFileTrust.h"
#include "VLRecordSignature.h"
#include "VLSyncInfo.h"

#include <QCryptographicHash>

#include <cmath>

namespace {

// The demo catalog's key is trusted, so that the signed records of the seeds verify and a
// signature from outside goes all the way through the verification.
const VLFileTrust &fuzzTrust()
{
    static const VLFileTrust trust = [] {
        VLTrustedKeys keys;
        keys.addPublicKeyPem(VLRecordSigning::publicKeyPem(VLRecordSigning::privateKeyPemFromSeed(
            QCryptographicHash::hash("TINTERA demo catalog signing key", QCryptographicHash::Sha256))));
        return VLFileTrust(std::move(keys), false);
    }();
    return trust;
}

} // namespace

void tinteraFuzzExerciseFileRecords(const VLSyncFileList &files)
{
    for (const VLSyncFileInfoPtr &file : files) {
        (void)fuzzTrust().checkRecord(*file);
        (void)VLFileTrust::unverifiableWarning(*file);
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
