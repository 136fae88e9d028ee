#include "VLSyncManager.h"

#include "VLDeviceSettings.h"
#include "VLSyncInfo.h"

VLSyncPlan VLSyncManager::syncPlan(std::optional<bool> selectedOnly)
{
    VLSyncPlanInputs inputs;
    if (m_syncInfo) {
        inputs.localFiles = m_syncInfo->localFiles();
        inputs.deviceFiles = m_syncInfo->deviceFiles();
        inputs.webServiceFiles = m_syncInfo->webServiceFiles();
    }
    inputs.selectedOnly = selectedOnly.value_or(syncSelectedFandecksOnly());
    inputs.wanted = [this](const QString &fileID) { return userWantsSyncForFandeckWithID(fileID); };
    inputs.trusted = [this](const VLSyncFileInfo &record) { return m_fileTrust.checkRecord(record).isNull(); };
    inputs.settingsToApplyAgain = [this](const VLSyncPlan &plan) -> VLSyncFileInfoPtr {
        if (!m_syncInfo || m_syncInfo->isNewDeviceSettingsAvailableForDevice())
            return {};
        if (VLSyncFileInfoPtr again = deviceSettingsToApplyAgain())
            return again;
        // The preferred fandeck gets another device id when it is uploaded again or removed, and
        // the settings then go to the device again to name it.
        const VLSyncFileList offered = m_syncInfo->webServiceDeviceSettings();
        const VLSyncFileInfoPtr held
            = offered.isEmpty() ? nullptr : m_syncInfo->localFileWithFileID(offered.last()->fileID());
        if (!held || !m_syncInfo->deviceFileWithFileID(held->fileID()))
            return {};
        const QString preferred = deviceSettingsOfFile(held).priorityFandeckID;
        for (const VLSyncFileList &moved : { plan.fandecksToAdd, plan.fandecksToRemove }) {
            for (const VLSyncFileInfoPtr &fandeck : moved) {
                if (!preferred.isNull() && fandeck->SKU() == preferred)
                    return held;
            }
        }
        return {};
    };
    VLSyncPlan plan = vlPlanSync(inputs);
    // A device lists no firmware file until one was installed through a sync; it still knows its version.
    for (VLSyncPlan::Install &install : plan.deviceFiles) {
        if (install.fromVersion.isEmpty() && install.file->fileType() == VLSyncSessionFileTypeFirmware && m_device)
            install.fromVersion = m_device->attributeForKey(KDDeviceAttributeFirmware);
    }
    return plan;
}
