#include "VLSyncManager.h"

#include "TMAnalytics.h"
#include "TSLogger.h"
#include "VLPropertyList.h"
#include "VLSyncInfo.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Log names of the steps; step 1 deliberately logs the name of step 27, both end sync mode.
const char *stepName(qint32 status)
{
    static const char *const names[] = {
        "VLSyncManagerStatusIdle",
        "VLSyncManagerEndSyncMode",
        "VLSyncManagerStatusOpeningSessionWithCloud",
        "VLSyncManagerStatusQueryLocalWebServiceCache",
        "VLSyncManagerStatusQueryLocalFandecks",
        "VLSyncManagerStatusQueryingDeviceFandecks",
        "VLSyncManagerStatusQueryCloudFandecks",
        "VLSyncManagerEndPrelimianryInfo",
        "VLSyncManagerBeginSyncMode",
        "VLSyncManagerStatusGettingDeviceMeasurements",
        "VLSyncManagerUpdateBootloaderIfNeeded",
        "VLSyncManagerUpdateFirmwareIfNeeded",
        "VLSyncManagerUpdateWallpaperImageIfNeeded",
        "VLSyncManagerUpdateWelcomeImageIfNeeded",
        "VLSyncManagerStatusUpdateStartSoundIfNeeded",
        "VLSyncManagerStatusUpdateEndSoundIfNeeded",
        "VLSyncManagerStatusUpdateMulticolorSoundIfNeeded",
        "VLSyncManagerStatusUpdateInversionMatrixIfNeeded",
        "VLSyncManagerStatusQueryingDeviceFandecks2",
        "VLSyncManagerStatusDownloadFandecksFromCloud",
        "VLSyncManagerStatusCopyFandecksToDevice",
        "VLSyncManagerStatusReboot",
        "VLSyncManagerStatusUpdateDeviceFandeckCache",
        "VLSyncManagerStatusEnableAllFandecks",
        "VLSyncManagerUpdateDeviceSettingsIfNeeded",
        "VLSyncManagerUpdateDeviceClock",
        "VLSyncManagerStatusExportMatches",
        "VLSyncManagerEndSyncMode",
        "VLSyncManagerStatusDone",
    };
    return names[status];
}

} // namespace

void VLSyncManager::beginRun()
{
    ++m_runGeneration;
    m_outstandingCommands.clear();
}

void VLSyncManager::endRun()
{
    ++m_runGeneration;
    m_outstandingCommands.clear();
}

void VLSyncManager::startSync()
{
    if (!canStartSync())
        return;
    beginRun();
    setLastSyncedDeviceSerialNumber(m_device->serialNumber());
    TMAnalytics::analytics()->logEventParameters(
        QStringLiteral("sync_begin"),
        {{QStringLiteral("device"),
          m_lastSyncedDeviceSerialNumber.isNull() ? QStringLiteral("-unknown-") : m_lastSyncedDeviceSerialNumber}});
    m_wasCancelled = false;
    setIsCancellingSync(false);
    m_needsRebootAfterSync = false;
    VL_LOG("[VLSyncManager startSync]");
    if (m_errors)
        m_errors->clear();
    if (m_delegate)
        m_delegate->syncManagerDidBeginSync(this);
    setStatus(VLSyncManagerStatusIdle);
    runNextSyncStep();
}

void VLSyncManager::gatherPrelimiaryInfo()
{
    if (!canStartPreliminaryDataGathering())
        return;
    VL_LOG("[VLSyncManager gatherPrelimiaryInfo]");
    beginRun();
    setIsJustGatheringPreliminaryInfo(true);
    setStatus(VLSyncManagerStatusIdle);
    if (m_delegate)
        m_delegate->syncManagerDidBeginPreliminaryInfoGathering(this);
    runNextSyncStep();
}

void VLSyncManager::runNextSyncStep(QObject *)
{
    setStatus(m_status + 1);
    ++m_stepLevel;
    runCurrentStep();
    --m_stepLevel;
}

void VLSyncManager::cancelSync()
{
    VL_LOG("[VLSyncManager cancelSync]");
    runCurrentStep();
}

void VLSyncManager::stopSyncSmoothly()
{
    VL_LOG("[VLSyncManager stopSyncSmoothly]");
    endRun();
    const bool wasPreliminary = m_isJustGatheringPreliminaryInfo;
    setIsJustGatheringPreliminaryInfo(false);
    setStatus(VLSyncManagerStatusIdle);
    if (!m_delegate)
        return;
    if (wasPreliminary)
        m_delegate->syncManagerDidFinishPreliminaryInfoGathering(this);
    else
        m_delegate->syncManagerDidFinishSync(this);
}

void VLSyncManager::syncDidReceiveErrorRunNextStep(const VLError &error, bool runNextStep)
{
    VL_LOG("---------> syncDidReceiveError: %@", error);
    VL_LOG("---------> info: %@", error.userInfo());
    if (!error.isNull()) {
        if (m_errors)
            m_errors->append(error);
        if (error.code() == -1024)
            setIsCancellingSync(true);
    }
    if (runNextStep)
        runNextSyncStep();
}

QString VLSyncManager::localizedStatus(const char *englishText) const
{
    return tr(englishText);
}

// Installed items are folders holding "info.plist" beside their payload; anything else is skipped.
VLSyncFileList VLSyncManager::localFilesInFolder(const QString &folder, const QString &payloadName) const
{
    VLSyncFileList files;
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &entry : entries) {
        const QString info = entry.filePath() + QStringLiteral("/info.plist");
        const QString payload = entry.filePath() + QLatin1Char('/') + payloadName;
        if (!QFileInfo(info).isFile() || !QFileInfo(payload).isFile())
            continue;
        if (VLSyncFileInfoPtr file = VLSyncFileInfo::initWithFilename(info))
            files.append(file);
    }
    return files;
}

void VLSyncManager::runCurrentStep(QObject *)
{
    if (m_isCancellingSync) {
        VL_LOG("Cancelling sync...");
        m_wasCancelled = true;
        stopSyncSmoothly();
        m_wasCancelled = false;
        setIsCancellingSync(false);
        return;
    }
    VL_LOG("running step %d at level %d", m_status, m_stepLevel);
    if (m_status < VLSyncManagerResetSyncMode || m_status > VLSyncManagerStatusDone) {
        VL_LOG("[VLSyncManager runCurrentStep] - unknown sync step %d", m_status);
        return;
    }
    if (m_status != VLSyncManagerStatusQueryLocalFandecks)
        VL_LOG("[VLSyncManager runCurrentStep] - %s", stepName(m_status));

    switch (m_status) {
    case VLSyncManagerResetSyncMode:
        sendDeviceCommand(QStringLiteral("EndSync"), &VLSyncManager::endSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusOpeningSessionWithCloud:
        setStatusMessage(tr("Opening session..."));
        if (m_syncSession && m_syncSession->isSessionOpen()) {
            VL_LOG("\n>>>>> session is open.\n");
            runNextSyncStep();
        } else if (m_syncSession) {
            VL_LOG("\n>>>>> !syncSession.isSessionOpen\n");
            m_syncSession->openSession();
        } else if (m_device) {
            VL_LOG("\n>>>>> syncSession == nil\n");
            m_syncSession = new VLSyncSession(m_device->serialNumber(), m_device->attributeForKey(QStringLiteral("ChipId")));
            m_syncSession->setParent(this);
            m_syncSession->setDelegate(this);
            m_syncSession->openSession();
        }
        break;
    case VLSyncManagerStatusQueryLocalWebServiceCache: {
        setStatusMessage(tr("Gathering local webservice cache..."));
        VLSyncFileList cached;
        const QVariantList infos = VLPropertyList::readFile(pathForDeviceWebServiceCache()).toList();
        for (const QVariant &info : infos) {
            if (info.typeId() == QMetaType::QVariantMap)
                cached.append(VLSyncFileInfo::initWithDictionary(info.toMap()));
        }
        updateSyncInfoWithWebserviceCache(cached);
        runNextSyncStep();
        break;
    }
    case VLSyncManagerStatusQueryLocalFandecks: {
        setStatusMessage(tr("Gathering local fandeck info..."));
        VLSyncFileList local = localFilesInFolder(pathForGlobalFandecksFolder(), QStringLiteral("payload.cxf"));
        local += localFilesInFolder(pathForGlobalFilesFolder(), QStringLiteral("payload"));
        if (m_syncInfo)
            m_syncInfo->setLocalFiles(local);
        runNextSyncStep();
        break;
    }
    case VLSyncManagerStatusQueryingDeviceFandecks:
    case VLSyncManagerStatusQueryingDeviceFandecks2:
        setStatusMessage(tr("Gathering device files info..."));
        sendDeviceCommand(QStringLiteral("GetFiles"), &VLSyncManager::receivedFilesForDeviceDidReceiveResponse);
        break;
    case VLSyncManagerStatusQueryCloudFandecks:
        setStatusMessage(tr("Requesting store info..."));
        if (m_syncSession)
            m_syncSession->requestAllFiles();
        break;
    case VLSyncManagerEndPrelimianryInfo:
        setStatusMessage(tr("Ending prelimiary info requests..."));
        if (!m_isJustGatheringPreliminaryInfo) {
            runNextSyncStep();
        } else {
            endRun();
            setIsJustGatheringPreliminaryInfo(false);
            setStatus(VLSyncManagerStatusIdle);
            m_wasCancelled = false;
            setIsCancellingSync(false);
            if (m_delegate)
                m_delegate->syncManagerDidFinishPreliminaryInfoGathering(this);
        }
        break;
    case VLSyncManagerBeginSyncMode:
        setStatusMessage(tr("Starting sync..."));
        sendDeviceCommand(QStringLiteral("BeginSync"), &VLSyncManager::beginSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusGettingDeviceMeasurements:
        setStatusMessage(tr("Getting device measurements..."));
        sendDeviceCommand(QStringLiteral("GetMeasurements"),
                          &VLSyncManager::receivedMeasurementsForDeviceDidReceiveResponse);
        break;
    case VLSyncManagerUpdateBootloaderIfNeeded:
        updateBootloaderIfNeccessary();
        break;
    case VLSyncManagerUpdateFirmwareIfNeeded:
        updateFirmwareIfNeccessary();
        break;
    case VLSyncManagerUpdateWallpaperImageIfNeeded:
        updateWallpaperImageIfNeccessary();
        break;
    case VLSyncManagerUpdateWelcomeImageIfNeeded:
        updateWelcomeImageIfNeccessary();
        break;
    case VLSyncManagerStatusUpdateStartSoundIfNeeded:
        updateStartSoundIfNeccessary();
        break;
    case VLSyncManagerStatusUpdateEndSoundIfNeeded:
        updateEndSoundIfNeccessary();
        break;
    case VLSyncManagerStatusUpdateMulticolorSoundIfNeeded:
        updateMulticolorSoundIfNeccessary();
        break;
    case VLSyncManagerStatusUpdateInversionMatrixIfNeeded:
        updateInversionMatrixIfNeccessary();
        break;
    case VLSyncManagerStatusDownloadFandecksFromCloud:
        setStatusMessage(tr("Downloading fandecks..."));
        downloadNeededFandecks();
        break;
    case VLSyncManagerStatusCopyFandecksToDevice:
        setStatusMessage(tr("Updating device..."));
        updateDeviceFandecks();
        break;
    case VLSyncManagerStatusReboot:
        if (!m_needsRebootAfterSync) {
            runNextSyncStep();
        } else {
            setStatusMessage(tr("Waiting for device..."));
            sendDeviceCommand(QStringLiteral("Reboot"), &VLSyncManager::receivedRebootDidReceiveResponse);
        }
        break;
    case VLSyncManagerStatusUpdateDeviceFandeckCache:
        setStatusMessage(tr("Updating device cache..."));
        sendDeviceCommand(QStringLiteral("GetFiles"), &VLSyncManager::receivedFilesForDeviceDidReceiveResponse);
        break;
    case VLSyncManagerStatusEnableAllFandecks:
        setStatusMessage(tr("Enabling fandecks..."));
        enableAllDeviceFandecks();
        break;
    case VLSyncManagerUpdateDeviceSettingsIfNeeded:
        updateDeviceSettingsIfNeeded();
        break;
    case VLSyncManagerUpdateDeviceClock:
        updateDeviceClock();
        break;
    case VLSyncManagerStatusExportMatches:
        setStatusMessage(tr("Exporting matches..."));
        runExportMatchStep();
        break;
    case VLSyncManagerEndSyncMode:
        setStatusMessage(tr("Finishing sync..."));
        sendDeviceCommand(QStringLiteral("EndSync"), &VLSyncManager::endSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusDone:
        setStatusMessage(QString());
        if (m_errors && m_errors->isEmpty())
            setLastSyncDate(QDateTime::currentDateTime());
        endRun();
        setStatus(VLSyncManagerStatusIdle);
        if (m_delegate)
            m_delegate->syncManagerDidFinishSync(this);
        break;
    default:
        break;
    }
}
