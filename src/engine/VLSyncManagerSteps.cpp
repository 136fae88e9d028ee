#include "VLSyncManager.h"

#include "KDDeviceDirectory.h"
#include "KDError.h"
#include "TMAnalytics.h"
#include "TSLogger.h"
#include "VLDataFolder.h"
#include "VLDeviceCommandManager.h"
#include "VLDeviceVocabulary.h"
#include "VLPropertyList.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerServiceRelay.h"

#include <QDir>
#include <QFileInfo>

namespace Command = VLDeviceVocabulary::Command;

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

void VLSyncManager::beginRun(bool preliminary)
{
    // Keys added or removed and the policy changed since the last run count from this one on.
    m_fileTrust = VLFileTrust::load(requireSignedFiles());
    for (const QString &problem : m_fileTrust.keys().problems())
        VL_LOG("Trusted keys: %@", problem);
    replaceRun(preliminary);
}

void VLSyncManager::replaceRun(bool preliminary)
{
    const std::shared_ptr<VLSyncRun> previous = std::exchange(
        m_run, std::make_shared<VLSyncRun>(preliminary, m_run->step() + 1));
    // Deliberately carried over: step 20 replaces the list only when it uploads something, so the
    // fandecks an earlier run uploaded are enabled again by every later run that uploads nothing
    // (and found nothing else to do), until one uploads again.
    m_run->fandecksToEnableAfterReboot = previous->fandecksToEnableAfterReboot;
    m_run->report.began = QDateTime::currentDateTime();
}

// The end of a run, however it ends. Besides what the run itself ends, the queues it filled are
// emptied on purpose: a run cancelled in the middle of its downloads or device commands would
// otherwise leave them going on behind an idle manager, and the next run would queue the same
// files and commands a second time. What the queues report as they are emptied is still heard,
// but the run's steps are already over: it moves nothing. Then the run forgets its operations,
// and any answer that comes later is let go.
void VLSyncManager::endRun(VLSyncRunReport::Ending ending)
{
    m_syncLock.release();
    m_run->end(ending);
    if (m_downloadManager) {
        m_downloadManager->cancel();
        // A queue paused by a cancel or a stall is not running, so cancel() leaves it as it was;
        // its files would otherwise come back with the next run, selected or not.
        m_downloadManager->discardWaitingDownloads();
    }
    if (m_deviceFileDownload) {
        m_deviceFileDownload->setDelegate(nullptr);
        m_deviceFileDownload->cancel();
        m_deviceFileDownload.reset();
    }
    if (m_commandManager)
        m_commandManager->cancel();
    m_run->forgetOperations();
    stopFandeckPrefetch();
}

void VLSyncManager::runDidStall()
{
    m_run->stalled = true;
}

void VLSyncManager::completeOperation(StepToken token, const std::function<void()> &completion)
{
    const std::optional<StepToken> outer = std::exchange(m_completingStepToken, token);
    completion();
    m_completingStepToken = outer;
}

bool VLSyncManager::completeOperationOf(const void *source, bool answersOnce, const std::function<void()> &completion)
{
    const std::optional<StepToken> step = answersOnce ? m_run->takeOperation(source) : m_run->stepOfOperation(source);
    if (!step)
        return false;
    completeOperation(*step, completion);
    return true;
}

// A run may begin from inside another's completion (the delegate starts the full sync when the
// preliminary run ends): its first step belongs to the new run, not to the completion.
void VLSyncManager::runFirstStep()
{
    completeOperation(m_run->step(), [this] { runNextSyncStep(); });
}

// The refusal ends the run as a run given up: the delegate hears of it once, through
// syncManagerSyncDidFailWithError, without a begin or a finish of a run that never was.
bool VLSyncManager::refusedByAnotherProcess(bool preliminary)
{
    const VLError refusal = m_syncLock.acquire(m_device->serialNumber(),
                                                 kdDeviceDirectory() + QLatin1Char('\n') + vlApplicationDataFolder());
    if (refusal.isNull())
        return false;
    VL_LOG("%@", refusal);
    // A run of its own that ended before its first step, so that front ends print the refusal from
    // the report as they print every other run.
    replaceRun(preliminary);
    m_run->report.errors.append(refusal);
    m_run->end(VLSyncRunReport::Ending::Refused);
    m_run->forgetOperations();
    if (m_delegate)
        m_delegate->syncManagerSyncDidFailWithError(this, refusal);
    return true;
}

void VLSyncManager::startSync()
{
    if (!canStartSync() || refusedByAnotherProcess(false))
        return;
    beginRun(false);
    setLastSyncedDeviceSerialNumber(m_device->serialNumber());
    TMAnalytics::analytics()->logEventParameters(
        QStringLiteral("sync_begin"),
        {{QStringLiteral("device"),
          m_lastSyncedDeviceSerialNumber.isNull() ? QStringLiteral("-unknown-") : m_lastSyncedDeviceSerialNumber}});
    m_wasCancelled = false;
    setIsCancellingSync(false);
    VL_LOG("[VLSyncManager startSync]");
    if (m_errors)
        m_errors->clear();
    if (m_delegate)
        m_delegate->syncManagerDidBeginSync(this);
    setStatus(VLSyncManagerStatusIdle);
    runFirstStep();
}

void VLSyncManager::gatherPrelimiaryInfo()
{
    if (!canStartPreliminaryDataGathering() || refusedByAnotherProcess(true))
        return;
    VL_LOG("[VLSyncManager gatherPrelimiaryInfo]");
    beginRun(true);
    setIsJustGatheringPreliminaryInfo(true);
    setStatus(VLSyncManagerStatusIdle);
    if (m_delegate)
        m_delegate->syncManagerDidBeginPreliminaryInfoGathering(this);
    runFirstStep();
}

void VLSyncManager::runNextSyncStep(QObject *)
{
    // Deliberately stricter than advancing from anywhere: a completion of an operation whose step
    // is no longer under way (a second answer after a step already moved on, a late answer after
    // a cancel, a queue's completion after the run ended) must not move the machine.
    if (m_completingStepToken && *m_completingStepToken != m_run->step()) {
        VL_LOG("not advancing from step %d: the operation completing now belongs to a step that has ended",
               m_status);
        return;
    }
    const std::optional<StepToken> outer = std::exchange(m_completingStepToken, m_run->beginStep());
    setStatus(m_status + 1);
    ++m_stepLevel;
    runCurrentStep();
    --m_stepLevel;
    m_completingStepToken = outer;
}

void VLSyncManager::cancelSync()
{
    VL_LOG("[VLSyncManager cancelSync]");
    runCurrentStep();
}

void VLSyncManager::stopSyncSmoothly()
{
    VL_LOG("[VLSyncManager stopSyncSmoothly]");
    // The device gone explains a stall too; a stall, whatever else cancelled the run meanwhile.
    endRun(!m_device        ? VLSyncRunReport::Ending::DeviceGone
           : m_run->stalled ? VLSyncRunReport::Ending::Stalled
                            : VLSyncRunReport::Ending::Cancelled);
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
        if (VLSyncRunReport *report = reportOfRunUnderWay())
            report->errors.append(error);
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

VLSyncFileList VLSyncManager::webServiceCacheFiles() const
{
    VLSyncFileList cached;
    // A copy larger than any list this program writes was not written by it: left unread.
    const QString cache = pathForDeviceWebServiceCache();
    const bool oversized = QFileInfo(cache).size() > kMaximumServiceCacheBytes;
    if (oversized)
        VL_LOG("The cached service list %@ is larger than %lld bytes: not read", cache, kMaximumServiceCacheBytes);
    const QVariantList infos = oversized ? QVariantList() : VLPropertyList::readFile(cache).toList();
    for (const QVariant &info : infos) {
        if (info.typeId() == QMetaType::QVariantMap)
            cached.append(VLSyncFileInfo::initWithDictionary(info.toMap()));
    }
    return cached;
}

// Installed items are folders holding "info.plist" beside their payload; anything else is skipped,
// and so is a payload whose size is not the one its record gives: one cut short (by a power cut
// before the disk had all of it, or by hand) then counts as missing and the sync fetches it again.
VLSyncFileList VLSyncManager::localFilesInFolder(const QString &folder, const QString &payloadName) const
{
    VLSyncFileList files;
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &entry : entries) {
        const QString info = entry.filePath() + QStringLiteral("/info.plist");
        const QFileInfo payload(entry.filePath() + QLatin1Char('/') + payloadName);
        if (!QFileInfo(info).isFile() || !payload.isFile())
            continue;
        VLSyncFileInfoPtr file = VLSyncFileInfo::initWithFilename(info);
        if (!file)
            continue;
        if (file->byteLength() >= 0 && payload.size() != file->byteLength()) {
            VL_LOG("Skipping %@: its payload has %ld bytes, its record says %ld", entry.fileName(), payload.size(),
                   file->byteLength());
            continue;
        }
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
        sendDeviceCommand(Command::EndSync, &VLSyncManager::endSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusOpeningSessionWithCloud:
        setStatusMessage(tr("Opening session..."));
        if (m_syncSession && m_syncSession->isSessionOpen()) {
            VL_LOG("\n>>>>> session is open.\n");
            runNextSyncStep();
        } else if (m_syncSession) {
            VL_LOG("\n>>>>> !syncSession.isSessionOpen\n");
            m_run->startOperation(m_syncSession.data(), operationStepToken());
            m_syncSession->openSession();
        } else if (m_device) {
            VL_LOG("\n>>>>> syncSession == nil\n");
            m_syncSession = new VLSyncSession(m_device->serialNumber(), m_device->attributeForKey(QStringLiteral("ChipId")));
            m_syncSession->setParent(this);
            m_syncSession->setDelegate(m_serviceRelay.get());
            m_run->startOperation(m_syncSession.data(), operationStepToken());
            m_syncSession->openSession();
        } else {
            // Without a device there is no one to open a session for; the step still ends.
            syncDidReceiveErrorRunNextStep(kdError(KDErrorDeviceNotAvailable), true);
        }
        break;
    case VLSyncManagerStatusQueryLocalWebServiceCache: {
        setStatusMessage(tr("Gathering local webservice cache..."));
        updateSyncInfoWithWebserviceCache(webServiceCacheFiles());
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
        sendDeviceCommand(Command::GetFiles, &VLSyncManager::receivedFilesForDeviceDidReceiveResponse);
        break;
    case VLSyncManagerStatusQueryCloudFandecks:
        setStatusMessage(tr("Requesting store info..."));
        if (m_syncSession) {
            m_run->startOperation(m_syncSession.data(), operationStepToken());
            m_syncSession->requestAllFiles();
        } else {
            // No session (no device when step 2 ran): the inventory cannot be asked for, and the
            // step ends with that error rather than waiting for an answer that cannot come.
            syncDidReceiveErrorRunNextStep(
                VLError(QStringLiteral("SyncManager"), 10, tr("Session not open")), true);
        }
        break;
    case VLSyncManagerEndPrelimianryInfo:
        setStatusMessage(tr("Ending prelimiary info requests..."));
        if (!m_isJustGatheringPreliminaryInfo) {
            runNextSyncStep();
        } else {
            endRun(VLSyncRunReport::Ending::Completed);
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
        sendDeviceCommand(Command::BeginSync, &VLSyncManager::beginSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusGettingDeviceMeasurements:
        setStatusMessage(tr("Getting device measurements..."));
        sendDeviceCommand(Command::GetMeasurements,
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
        if (!m_run->needsRebootAfterSync) {
            runNextSyncStep();
        } else {
            setStatusMessage(tr("Waiting for device..."));
            sendDeviceCommand(Command::Reboot, &VLSyncManager::receivedRebootDidReceiveResponse);
        }
        break;
    case VLSyncManagerStatusUpdateDeviceFandeckCache:
        setStatusMessage(tr("Updating device cache..."));
        sendDeviceCommand(Command::GetFiles, &VLSyncManager::receivedFilesForDeviceDidReceiveResponse);
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
        sendDeviceCommand(Command::EndSync, &VLSyncManager::endSyncDidReceiveResponse);
        break;
    case VLSyncManagerStatusDone:
        setStatusMessage(QString());
        if (m_errors && m_errors->isEmpty())
            setLastSyncDate(QDateTime::currentDateTime());
        endRun(VLSyncRunReport::Ending::Completed);
        setStatus(VLSyncManagerStatusIdle);
        if (m_delegate)
            m_delegate->syncManagerDidFinishSync(this);
        break;
    default:
        break;
    }
}
