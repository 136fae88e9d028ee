#include "VLSyncManager.h"

#include "KDCommandArgumentForKey.h"
#include "KDDeviceCommandSendTinteraSync.h"
#include "TSLogger.h"
#include "VLApplicationInfo.h"
#include "VLDeviceSettings.h"
#include "VLDeviceVocabulary.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerServiceRelay.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace KDCommandArgumentForKey;

VLSyncFileInfoPtr VLSyncManager::fileInfoOfDownload(const VLFileDownload *download)
{
    return download ? qSharedPointerObjectCast<VLSyncFileInfo>(download->userData()) : VLSyncFileInfoPtr();
}

namespace {

VLError syncManagerError(const QString &description)
{
    return VLError(QStringLiteral("SyncManager"), 2, description);
}

// What the device confirmed of the last settings applied to it: the settings file ("FileID",
// "VersionString") and the device file id of the preferred fandeck ("PreferredFandeck", empty
// when the settings named none the device holds).
const QString kAppliedDeviceSettings = QStringLiteral("VLSyncManagerDefaultsAppliedDeviceSettings");

} // namespace

// One update step: the last file the service offers of a type, if it is newer than the device's.
void VLSyncManager::updateDeviceFileIfNeccessary(const char *logName, const QString &statusMessage,
                                                 const VLSyncFileList &offered, bool newAvailable)
{
    VL_LOG("%s", logName);
    setStatusMessage(statusMessage);
    if (offered.isEmpty() || !newAvailable) {
        runNextSyncStep();
        return;
    }
    const VLSyncFileInfoPtr offer = offered.last();
    const VLSyncFileInfoPtr local = m_syncInfo ? m_syncInfo->localFileWithFileID(offer->fileID()) : nullptr;
    if (local && !(offer->version() > local->version())) {
        installDeviceFile(local);
        return;
    }
    if (const VLError refused = m_fileTrust.checkRecord(*offer); !refused.isNull()) {
        VL_LOG("Refusing to download %@: %@", offer->SKU(), refused);
        syncDidReceiveErrorRunNextStep(refused, true);
        return;
    }
    if (const QString warning = VLFileTrust::unverifiableWarning(*offer); !warning.isEmpty()) {
        VL_LOG("%@", warning);
        setStatusMessage(warning);
    }
    m_deviceFileDownload = VLFileDownload::initWithURLDestinationFolder(offer->fileURL(), pathForGlobalDownloadsFolder());
    m_deviceFileDownload->setUserData(offer);
    m_deviceFileDownload->setServiceURL(QUrl(vlSyncProductionURL()));
    m_run->startOperation(m_deviceFileDownload.data(), operationStepToken());
    m_deviceFileDownload->setExpectedLength(offer->byteLength());
    m_deviceFileDownload->setDelegate(m_serviceRelay.get());
    m_deviceFileDownload->start();
}

void VLSyncManager::updateBootloaderIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateBootloaderIfNeccessary", tr("Checking for newer bootloader..."),
                                 m_syncInfo ? m_syncInfo->webServiceBootloaders() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewBootloaderAvailableForDevice());
}

void VLSyncManager::updateFirmwareIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateFirmwareIfNeccessary", tr("Checking for newer firmware..."),
                                 m_syncInfo ? m_syncInfo->webServiceFirmwares() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewFirmwareAvailableForDevice());
}

void VLSyncManager::updateWallpaperImageIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateWallpaperImageIfNeccessary", tr("Checking for newer wallpaper..."),
                                 m_syncInfo ? m_syncInfo->webServiceBrandingMeasurementImages() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewWallpaperImageAvailableForDevice());
}

void VLSyncManager::updateDeviceSettingsIfNeeded()
{
    // Deliberately more than a newer file: settings the device never confirmed (a "SetDeltaE" or
    // "SetPreferredFandeck" that failed or went unanswered), or a preferred fandeck the device has
    // since been given under another id (a new upload of it), are applied again from the settings
    // file the device already holds.
    if (m_syncInfo && !m_syncInfo->isNewDeviceSettingsAvailableForDevice()) {
        if (const VLSyncFileInfoPtr settings = deviceSettingsToApplyAgain()) {
            VL_LOG("updateDeviceSettingsIfNeeded: applying %@ again", settings->fileID());
            setStatusMessage(tr("Checking for newer device settings..."));
            installDeviceSettingsFile(settings);
            return;
        }
    }
    updateDeviceFileIfNeccessary("updateDeviceSettingsIfNeeded", tr("Checking for newer device settings..."),
                                 m_syncInfo ? m_syncInfo->webServiceDeviceSettings() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewDeviceSettingsAvailableForDevice());
}

void VLSyncManager::updateWelcomeImageIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateWelcomeImageIfNeccessary", tr("Checking for newer welcome image..."),
                                 m_syncInfo ? m_syncInfo->webServiceBrandingStartupImages() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewWelcomeImageAvailableForDevice());
}

void VLSyncManager::updateStartSoundIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateStartSoundIfNeccessary", tr("Checking for newer start sound..."),
                                 m_syncInfo ? m_syncInfo->webServiceStartSounds() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewStartSoundAvailableForDevice());
}

void VLSyncManager::updateEndSoundIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateEndSoundIfNeccessary", tr("Checking for newer end sound..."),
                                 m_syncInfo ? m_syncInfo->webServiceEndSounds() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewEndSoundAvailableForDevice());
}

void VLSyncManager::updateMulticolorSoundIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateMulticolorSoundIfNeccessary", tr("Checking for newer multicolor sound..."),
                                 m_syncInfo ? m_syncInfo->webServiceMulticolorSounds() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewMulticolorSoundAvailableForDevice());
}

void VLSyncManager::updateInversionMatrixIfNeccessary()
{
    updateDeviceFileIfNeccessary("updateInversionMatrixIfNeccessary", tr("Checking for newer inversion matrix..."),
                                 m_syncInfo ? m_syncInfo->webServiceInversionMatrices() : VLSyncFileList(),
                                 m_syncInfo && m_syncInfo->isNewInversionMatriceAvailableForDevice());
}

// ---- the single download of a device file ----

void VLSyncManager::fileDownloadDidBegin(VLFileDownload *download)
{
    const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
    VL_LOG("fileDownloadDidBegin: %@", download->URL().toString());
    setStatusMessage(vlFormat(tr("Downloading %@ (%@)..."), file ? file->fileDescription() : QString(),
                              file ? file->versionString() : QString()));
    if (m_delegate)
        m_delegate->syncManagerDownloadingDidBegin(this);
}

void VLSyncManager::fileDownloadProgressDidUpdate(VLFileDownload *download)
{
    if (m_delegate)
        m_delegate->syncManagerDownloadDidUpdateAmount(this, download->fractionCompleted());
}

void VLSyncManager::fileDownloadDidFinish(VLFileDownload *download)
{
    const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
    VL_LOG("fileDownloadDidFinish: %@", download->URL().toString());
    if (m_delegate)
        m_delegate->syncManagerDownloadingDidFinish(this);
    if (!file) {
        runNextSyncStep();
        return;
    }
    VLError error;
    const QString downloaded = download->destinationFolder() + QLatin1Char('/') + download->suggestedFilename();
    if (!verifyAndInstallDeviceFileWithInfoDownloadPathError(file, downloaded, &error)) {
        VL_LOG("verifyAndInstallDeviceFileWithInfo error: %@", error);
        syncDidReceiveErrorRunNextStep(error, true);
    }
    // Even after a failed verification the package's current payload goes to the device; the
    // step then advances twice, once for the report and once for the upload's answer.
    installDeviceFile(file);
}

void VLSyncManager::fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error)
{
    if (m_delegate)
        m_delegate->syncManagerDownloadingDidFinish(this);
    Q_UNUSED(download);
    syncDidReceiveErrorRunNextStep(error, true);
}

QString VLSyncManager::packageFolderForFile(const VLSyncFileInfoPtr &file, const QString &storeFolder) const
{
    if (!file || !vlIsPlainPathComponent(file->SKU()))
        return {};
    return storeFolder + QLatin1Char('/') + file->SKU();
}

bool VLSyncManager::verifyAndInstallDeviceFileWithInfoDownloadPathError(const VLSyncFileInfoPtr &file,
                                                                         const QString &downloadPath, VLError *error)
{
    VL_LOG("[VLSyncManager verifyAndInstallDeviceFileWithInfo:downloadPath:error:]");
    setStatusMessage(vlFormat(tr("Installing %@ (%@)..."), file->fileDescription(), file->versionString()));
    return installPackage(file, downloadPath, pathForGlobalFilesFolder(), QStringLiteral("payload"),
                          tr("Error copying fandeck"), error);
}

// Moves a verified download into its package folder ("<store>/<SKU>/<payload>" beside "info.plist")
// and enters it in the local inventory. The size is always checked, the bytes against the record's
// SHA-256 where it has one: a download that fails either is removed, so the next sync fetches it
// whole, and the package installed before stays as it was.
bool VLSyncManager::installPackage(const VLSyncFileInfoPtr &file, const QString &downloadPath,
                                   const QString &storeFolder, const QString &payloadName,
                                   const QString &infoWriteFailure, VLError *error,
                                   const std::function<VLError(const QString &)> &contentError)
{
    auto fail = [error](const QString &description) {
        if (error)
            *error = syncManagerError(description);
        return false;
    };
    const QString folder = packageFolderForFile(file, storeFolder);
    if (folder.isEmpty()) {
        VL_LOG("Refusing SKU '%@': not a plain folder name", file ? file->SKU() : QString());
        return fail(vlFormat(tr("Refused file name '%@'"), file ? file->SKU() : QString()));
    }
    vlPreparePrivateFolder(folder, VLWiderPermissions::Tighten);
    const QString payload = folder + QLatin1Char('/') + payloadName;
    const QString info = folder + QStringLiteral("/info.plist");

    const QFileInfo downloaded(downloadPath);
    if (!downloaded.exists()) {
        VL_LOG("File does not exists on disk");
        return fail(tr("Downloaded file does not exist"));
    }
    if (downloaded.size() != file->byteLength()) {
        VL_LOG("Downloaded file is incomplete ( Downloaded: %d, Real: %d )", downloaded.size(), file->byteLength());
        return fail(tr("Downloaded file is incomplete"));
    }
    VLError refused = m_fileTrust.checkPayload(*file, downloadPath);
    if (refused.isNull() && contentError)
        refused = contentError(downloadPath);
    if (!refused.isNull()) {
        VL_LOG("Refusing the download of %@: %@", file->SKU(), refused);
        QFile::remove(downloadPath);
        if (error)
            *error = refused;
        return false;
    }
    if (QFileInfo::exists(payload) && !QFile::remove(payload))
        VL_LOG("Error removing payload: %@", payload);
    if (QFileInfo::exists(info) && !QFile::remove(info))
        VL_LOG("Error removing info: %@", info);
    if (!QFile::rename(downloadPath, payload)) {
        VL_LOG("Error copying downloaded file to payload: %@", payload);
        QFile::remove(payload);
        QFile::remove(info);
        return fail(tr("Error copying payload to path"));
    }
    if (!file->writeToFilename(info)) {
        VL_LOG("Error copying file info file to payload");
        QFile::remove(payload);
        QFile::remove(info);
        return fail(infoWriteFailure);
    }
    if (m_syncInfo)
        m_syncInfo->replaceLocalFile(file);
    if (VLSyncRunReport *report = reportOfRunUnderWay())
        report->downloaded.append(vlSyncRunReportFile(file));
    return true;
}

void VLSyncManager::installDeviceFile(const VLSyncFileInfoPtr &file)
{
    VL_LOG("installDeviceFile: %@", file);
    // A device cut off while its firmware or bootloader is written may not start again: say so.
    const bool firmware = file->fileType() == VLSyncSessionFileTypeFirmware || file->fileType() == VLSyncSessionFileTypeBootloader;
    setStatusMessage(firmware ? vlFormat(tr("Installing %@ (%@) on device: %@..."), file->fileDescription(),
                                         file->versionString(), vlKeepDeviceConnectedNotice())
                              : vlFormat(tr("Installing %@ (%@) on device..."), file->fileDescription(), file->versionString()));
    const QString folder = packageFolderForFile(file, pathForGlobalFilesFolder());
    if (folder.isEmpty()) {
        syncDidReceiveErrorRunNextStep(syncManagerError(vlFormat(tr("Refused file name '%@'"), file->SKU())), true);
        return;
    }
    const QString payload = folder + QStringLiteral("/payload");
    if (const VLError refused = verifyStoredPayloadForUpload(file, payload); !refused.isNull()) {
        // Stands for the upload's answer, which this step waits for.
        syncDidReceiveErrorRunNextStep(refused, true);
        return;
    }
    if (file->fileType() == VLSyncSessionFileTypeBrandingStartup && m_delegate)
        m_delegate->syncManagerChangedImage(this, QImage(payload));
    sendDeviceCommand(uploadCommandForFile(file, payload), &VLSyncManager::installDeviceFileForDeviceDidReceiveResponse);
}

VLError VLSyncManager::verifyStoredPayloadForUpload(const VLSyncFileInfoPtr &file, const QString &payloadPath)
{
    VLError refused = m_fileTrust.checkRecord(*file);
    if (refused.isNull())
        refused = m_fileTrust.checkPayload(*file, payloadPath);
    if (!refused.isNull()) {
        // Bytes changed on disk since they were installed are nobody's file, and a package kept
        // under a record the policy now refuses would count as up to date for ever: without it,
        // the next sync fetches the file again under the service's current record.
        VL_LOG("Not sending %@ to the device: %@", file->SKU(), refused);
        QDir(QFileInfo(payloadPath).absolutePath()).removeRecursively();
    }
    return refused;
}

void VLSyncManager::installDeviceFileForDeviceDidReceiveResponse(const KDDevicePtr &,
                                                                  const KDCommandResponsePtr &response)
{
    const VLSyncFileInfoPtr local =
        m_syncInfo ? m_syncInfo->localFileWithFileID(argumentForKey(response->command(), VLDeviceVocabulary::Argument::FileID))
                   : nullptr;
    if (!response->error().isNull()) {
        VL_LOG("installDeviceFileForDevice error");
        VL_LOG("%@", response->error());
        syncDidReceiveErrorRunNextStep(response->error(), true);
        return;
    }
    if (!local) {
        runNextSyncStep();
        return;
    }
    if (m_syncInfo)
        m_syncInfo->replaceDeviceFile(local);
    if (VLSyncRunReport *report = reportOfRunUnderWay())
        report->installed.append(vlSyncRunReportFile(local));
    if (local->needsRebootAfterInstall() && operationStepToken() != m_run->step()) {
        // The upload that follows a failed verification is answered after its step has already
        // moved on: the reboot it needs waits for the reboot step rather than pulling the device
        // away from the step now under way.
        m_run->needsRebootAfterSync = true;
    } else if (local->needsRebootAfterInstall()) {
        setStatusMessage(tr("Waiting for device..."));
        sendDeviceCommand(VLDeviceVocabulary::Command::Reboot, &VLSyncManager::receivedRebootDidReceiveResponse);
    } else if (local->fileType() == VLSyncSessionFileTypeDeviceSettings) {
        installDeviceSettingsFile(local);
    } else {
        runNextSyncStep();
    }
}

VLDeviceSettings VLSyncManager::deviceSettingsOfFile(const VLSyncFileInfoPtr &file) const
{
    const QString folder = packageFolderForFile(file, pathForGlobalFilesFolder());
    QFile payload(folder + QStringLiteral("/payload"));
    return VLDeviceSettings::fromXml(!folder.isEmpty() && payload.open(QIODevice::ReadOnly) ? payload.readAll() : QByteArray());
}

QString VLSyncManager::preferredDeviceFileIDOfSettings(const VLDeviceSettings &settings) const
{
    if (settings.priorityFandeckID.isNull() || !m_syncInfo)
        return {};
    const VLSyncFileInfoPtr preferred = m_syncInfo->deviceFileWithSKU(settings.priorityFandeckID);
    return preferred ? preferred->deviceFileID() : QString();
}

// The settings file the device holds, when the device has not confirmed all of it.
VLSyncFileInfoPtr VLSyncManager::deviceSettingsToApplyAgain() const
{
    const VLSyncFileList offered = m_syncInfo ? m_syncInfo->webServiceDeviceSettings() : VLSyncFileList();
    if (offered.isEmpty())
        return {};
    const VLSyncFileInfoPtr local = m_syncInfo->localFileWithFileID(offered.last()->fileID());
    if (!local || !m_syncInfo->deviceFileWithFileID(local->fileID()))
        return {};
    const QVariantMap applied = defaults().value(kAppliedDeviceSettings).toMap();
    const bool confirmed = applied.value(QStringLiteral("FileID")).toString() == local->fileID()
        && applied.value(QStringLiteral("VersionString")).toString() == local->versionString()
        && applied.value(QStringLiteral("PreferredFandeck")).toString()
               == preferredDeviceFileIDOfSettings(deviceSettingsOfFile(local));
    return confirmed ? VLSyncFileInfoPtr() : local;
}

void VLSyncManager::recordAppliedDeviceSettings(bool confirmed)
{
    if (!m_defaults)
        return;
    const VLSyncFileInfoPtr applied = m_run->deviceSettingsBeingApplied;
    if (confirmed && applied) {
        m_defaults->insert(kAppliedDeviceSettings,
                           QVariantMap{{QStringLiteral("FileID"), applied->fileID()},
                                       {QStringLiteral("VersionString"), applied->versionString()},
                                       {QStringLiteral("PreferredFandeck"), m_run->storedDeviceFileIDToSetAsPrefered}});
        if (VLSyncRunReport *report = reportOfRunUnderWay())
            report->settingsApplied.append(vlSyncRunReportFile(applied));
    } else {
        m_defaults->remove(kAppliedDeviceSettings);
    }
    synchronizeDefaults();
}

void VLSyncManager::installDeviceSettingsFile(const VLSyncFileInfoPtr &file)
{
    VL_LOG("installDeviceSettingsFile");
    setStatusMessage(tr("Installing device settings..."));
    m_run->deviceSettingsBeingApplied = file;
    const VLDeviceSettings settings = deviceSettingsOfFile(file);
    // An unreadable file advances at once and goes on anyway: "SetDeltaE" then goes out without
    // arguments and its answer advances a second time.
    if (!settings.parsed)
        runNextSyncStep();

    m_run->storedDeviceFileIDToSetAsPrefered = preferredDeviceFileIDOfSettings(settings);
    const KDCommandPtr deltaE = settings.deltaECommand();
    sendDeviceCommand(deltaE, &VLSyncManager::deviceSettingsWereSetForDeviceResponse);
}

void VLSyncManager::deviceSettingsWereSetForDeviceResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("deviceSettingsWereSetForDevice:response:");
    if (!response->error().isNull()) {
        VL_LOG("deviceSettingsWereSetForDevice:response: error - %@", response->error());
        recordAppliedDeviceSettings(false);
        syncDidReceiveErrorRunNextStep(response->error(), true);
        return;
    }
    if (!m_run->storedDeviceFileIDToSetAsPrefered.isEmpty() && m_syncInfo
        && m_syncInfo->deviceFileWithDeviceFileID(m_run->storedDeviceFileIDToSetAsPrefered)) {
        sendDeviceCommand(VLDeviceVocabulary::preferredFandeckCommand(m_run->storedDeviceFileIDToSetAsPrefered),
                          &VLSyncManager::preferedFandeckWasSetForDeviceResponse);
    } else {
        m_run->storedDeviceFileIDToSetAsPrefered.clear();
        recordAppliedDeviceSettings(true);
        runNextSyncStep();
    }
}

void VLSyncManager::preferedFandeckWasSetForDeviceResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("deviceSettingsWereSetForDevice:response:");
    if (!response->error().isNull()) {
        VL_LOG("preferedFandeckWasSetForDevice:response: error - %@", response->error());
        recordAppliedDeviceSettings(false);
        syncDidReceiveErrorRunNextStep(response->error(), true);
        return;
    }
    recordAppliedDeviceSettings(true);
    runNextSyncStep();
}
