#include "VLSyncManager.h"

#include "KDCommandArgumentForKey.h"
#include "VLAudioNotes.h"
#include "VLDeviceVocabulary.h"
#include "KXTypes.h"
#include "KDType.h"

#include "KDError.h"
#include "TSLogger.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerDeviceRelay.h"

#include <QFile>
#include <QPointer>

#include <limits>

using namespace KDCommandArgumentForKey;
using namespace VLDeviceVocabulary;

namespace {

QString argument(const KDCommandPtr &command, const QString &key)
{
    return command ? argumentForKey(command, key) : QString();
}

} // namespace

void VLSyncManager::sendDeviceCommand(const QString &name, ResponseMethod method)
{
    sendDeviceCommand(VLDeviceVocabulary::command(name), method);
}

void VLSyncManager::sendDeviceCommand(const KDCommandPtr &command, ResponseMethod method)
{
    m_run->startOperation(command.data(), operationStepToken());
    const QPointer<VLSyncManager> self(this);
    const KDCommandResponseHandler handler = [self, method](const KDCommandResponsePtr &response) {
        if (self && !self->completeOperationOf(response->command().data(), true,
                                               [&] { (self.data()->*method)(self->m_device, response); }))
            self->ignoreAnswerFromEndedRun(response);
    };
    if (!m_device) {
        // Deliberate: with no device the command is answered with that error, later, as the device
        // framework answers any command, so the step that sent it still ends.
        VL_LOG("no device for '%@'", command->name());
        kdDeliverResponse(handler, KDCommandResponsePtr::create(command, kdError(KDErrorDeviceNotAvailable)));
        return;
    }
    m_device->sendCommand(command, handler);
}

// An answer counts only while the run that sent its command is still under way: after a cancel,
// a device loss or the end of the run, a late answer must not start the steps again.
void VLSyncManager::ignoreAnswerFromEndedRun(const KDCommandResponsePtr &response)
{
    VL_LOG("ignoring the answer to '%@' from a run that has ended",
           response->command() ? response->command()->name() : QString());
}

void VLSyncManager::startCommandQueue(const QList<KDCommandPtr> &commands)
{
    const StepToken step = operationStepToken();
    m_run->startOperation(m_commandManager.data(), step);
    m_commandManager->pause();
    for (const KDCommandPtr &command : commands) {
        m_run->startOperation(command.data(), step);
        m_commandManager->addCommand(command);
    }
    m_commandManager->start();
}

void VLSyncManager::reportResponseError(const KDCommandResponsePtr &response, bool runNextStep)
{
    VL_LOG("%@", response->error());
    syncDidReceiveErrorRunNextStep(response->error(), runNextStep);
}

void VLSyncManager::beginSyncDidReceiveResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager beginSync:didReceiveResponse:]");
    if (!response->error().isNull())
        reportResponseError(response, false);
    QFile image(QStringLiteral(":/syncscreen.bmp"));
    image.open(QIODevice::ReadOnly);
    sendDeviceCommand(syncImageCommand(image.readAll()), &VLSyncManager::syncImageDidReceiveResponse);
}

void VLSyncManager::syncImageDidReceiveResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager syncImage:didReceiveResponse:]");
    if (!response->error().isNull())
        reportResponseError(response, false);
    runNextSyncStep();
}

void VLSyncManager::endSyncDidReceiveResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager endSync:didReceiveResponse:]");
    if (!response->error().isNull())
        reportResponseError(response, false);
    runNextSyncStep();
}

void VLSyncManager::clockWasSetForDeviceResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager clockWasSetForDevice:response:]");
    if (!response->error().isNull())
        reportResponseError(response, false);
    runNextSyncStep();
}

void VLSyncManager::receivedRebootDidReceiveResponse(const KDDevicePtr &, const KDCommandResponsePtr &response)
{
    if (!response->error().isNull()) {
        VL_LOG("-----> REBOOT ERROR: %@", response->error());
        syncDidReceiveErrorRunNextStep(response->error(), false);
    }
    runNextSyncStep();
}

VLSyncFileList VLSyncManager::deviceFilesFromInventoryData(const QByteArray &bytes)
{
    VLSyncFileList files;
    // The framework counts data in 32 bits; the link never delivers more than that.
    if (!bytes.isNull() && quint64(bytes.size()) <= std::numeric_limits<uint32_t>::max()) {
        KXDataRef data = KXDataCreateWithBytes(bytes.constData(), uint32_t(bytes.size()));
        KXArrayRef inventory = KXArrayRef(KXCoderCopyDecodedObjectFromData(data));
        KXRelease(data);
        // Anything but an array of dictionaries is an unreadable inventory: an empty one.
        if (inventory && KXGetTypeID(inventory) == KXArrayTypeID) {
            const KXIndex count = KXArrayGetCount(inventory);
            for (KXIndex i = 0; i < count; ++i) {
                KXTypeRef entry = KXArrayGetValueAtIndex(inventory, i);
                if (KXGetTypeID(entry) != KXDictionaryTypeID)
                    continue;
                KXDictionaryRef dictionary = KXDictionaryRef(entry);
                KXArrayRef keys = KXDictionaryCopyAllKeys(dictionary);
                QVariantMap info;
                for (KXIndex k = 0; k < KXArrayGetCount(keys); ++k) {
                    KXTypeRef key = KXArrayGetValueAtIndex(keys, k);
                    const QVariant value = KDType::objectForKXType(KXDictionaryGetObjectForKey(dictionary, key));
                    info.insert(KDType::objectForKXType(key).toString(), value);
                }
                KXRelease(keys);
                files.append(VLSyncFileInfo::initWithDictionary(info));
            }
        }
        if (inventory)
            KXRelease(inventory);
    }
    return files;
}

void VLSyncManager::receivedFilesForDeviceDidReceiveResponse(const KDDevicePtr &,
                                                             const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager receivedFilesForDevice:didReceiveResponse:]");
    if (!response->error().isNull()) {
        reportResponseError(response, true);
        return;
    }
    const VLSyncFileList files = deviceFilesFromInventoryData(response->data());
    if (m_syncInfo)
        m_syncInfo->setDeviceFiles(files);
    rememberDeviceFandeckIdentities();
    runNextSyncStep();
}

void VLSyncManager::receivedMeasurementsForDeviceDidReceiveResponse(const KDDevicePtr &,
                                                                   const KDCommandResponsePtr &response)
{
    VL_LOG("[VLSyncManager receivedMeasurementsForDevice:didReceiveResponse:]");
    m_run->latestMatches.clear();
    if (!response->error().isNull()) {
        reportResponseError(response, true);
        return;
    }
    m_run->latestMatches = response->measurements();

    // Every note a match names and the computer lacks, as often as it is named.
    const VLAudioNotes notes = VLAudioNotes::ofMatches(m_run->latestMatches, pathForGlobalAutoSyncMatchesAudioFolder());
    for (const QString &name : notes.refused) {
        syncDidReceiveErrorRunNextStep(
            VLError(QStringLiteral("SyncManager"), 3, vlFormat(tr("Refused audio note name '%@'"), name)), false);
    }
    if (notes.missing.isEmpty() || !m_commandManager) {
        runNextSyncStep();
        return;
    }
    QList<KDCommandPtr> downloads;
    for (const QString &name : notes.missing)
        downloads.append(downloadCommand(name));
    startCommandQueue(downloads);
}

void VLSyncManager::updateDeviceClock()
{
    VL_LOG("[VLSyncManager updateDeviceClock]");
    setStatusMessage(tr("Updating clock on device..."));
    sendDeviceCommand(clockCommand(QDateTime::currentDateTime()), &VLSyncManager::clockWasSetForDeviceResponse);
}

// ---- command queue delegate ----

void VLSyncManagerDeviceRelay::commandManagerWillSendCommand(VLDeviceCommandManager *manager, const KDCommandPtr &command)
{
    m_manager.commandManagerWillSendCommand(manager, command);
}

void VLSyncManagerDeviceRelay::commandManagerDidReceiveResponse(VLDeviceCommandManager *manager,
                                                                const KDCommandResponsePtr &response)
{
    if (!m_manager.completeOperationOf(response->command().data(), true,
                                       [&] { m_manager.commandManagerDidReceiveResponse(manager, response); }))
        m_manager.ignoreAnswerFromEndedRun(response);
}

void VLSyncManagerDeviceRelay::commandManagerDidCompleteAllCommands(VLDeviceCommandManager *manager)
{
    if (!m_manager.completeOperationOf(manager, false, [&] { m_manager.commandManagerDidCompleteAllCommands(manager); }))
        VL_LOG("ignoring the end of the command queue of a run that has ended");
}

void VLSyncManager::commandManagerWillSendCommand(VLDeviceCommandManager *, const KDCommandPtr &command)
{
    const QString name = command->name();
    if (name == Command::Download) {
        setStatusMessage(vlFormat(tr("Downloading %@ from device..."), argument(command, Argument::Filename)));
    } else if (name == Command::DeleteFile) {
        setStatusMessage(vlFormat(tr("Deleting %@ from device..."), argument(command, Argument::Description)));
    } else if (name == Command::Upload) {
        const QString version = argument(command, Argument::VersionString);
        setStatusMessage(vlFormat(tr("Uploading %@ (%@) to device..."), argument(command, Argument::Description),
                                  version.isNull() ? QStringLiteral("0") : version));
    } else if (name == Command::EnableFandeck) {
        setStatusMessage(vlFormat(tr("Enabling %@ on device..."), argument(command, Argument::Description)));
    }
}

void VLSyncManager::commandManagerDidReceiveResponse(VLDeviceCommandManager *, const KDCommandResponsePtr &response)
{
    if (!response->error().isNull()) {
        m_run->needsRebootAfterSync = true;
        VL_LOG("commandManager:didReceiveResponse: %@", response->error());
        syncDidReceiveErrorRunNextStep(response->error(), false);
        return;
    }
    const KDCommandPtr command = response->command();
    const QString name = command ? command->name() : QString();
    if (name == Command::Download) {
        VLError error;
        if (!VLAudioNotes::keepDownloadedNote(response, pathForGlobalAutoSyncMatchesAudioFolder(), &error))
            syncDidReceiveErrorRunNextStep(error, false);
    } else if (name == Command::DeleteFile) {
        m_run->needsRebootAfterSync = true;
        if (m_syncInfo)
            m_syncInfo->removeDeviceFandeckWithFandeckID(argument(command, Argument::FileID));
    } else if (name == Command::Upload) {
        m_run->needsRebootAfterSync = true;
        const VLSyncFileInfoPtr local = m_syncInfo ? m_syncInfo->localFandeckWithFandeckID(argument(command, Argument::FileID))
                                                   : VLSyncFileInfoPtr();
        if (local)
            m_syncInfo->replaceDeviceFile(local);
        if (VLSyncRunReport *report = reportOfRunUnderWay())
            report->installed.append(local ? vlSyncRunReportFile(local) : uploadedFileOfCommand(command));
    } else if (name == Command::EnableFandeck) {
        const QString deviceFileID = argument(command, Argument::DeviceFileID);
        const VLSyncFileInfoPtr enabled = m_syncInfo ? m_syncInfo->deviceFileWithDeviceFileID(deviceFileID) : nullptr;
        if (VLSyncRunReport *report = reportOfRunUnderWay())
            report->fandecksEnabled.append(enabled ? vlSyncRunReportFile(enabled)
                                                   : VLSyncRunReport::File{QStringLiteral("Fandeck"), {}, {},
                                                                           argument(command, Argument::Description), {}});
    }
}

// What an upload's own arguments say of the file it carried.
VLSyncRunReport::File VLSyncManager::uploadedFileOfCommand(const KDCommandPtr &command)
{
    return {argument(command, "FileType"), argument(command, "FileID"), argument(command, "SKU"),
            argument(command, "Description"), argument(command, "VersionString")};
}

void VLSyncManager::commandManagerDidCompleteAllCommands(VLDeviceCommandManager *)
{
    runNextSyncStep();
}

// ---- fandecks on the device ----

KDCommandPtr VLSyncManager::uploadCommandForFile(const VLSyncFileInfoPtr &file, const QString &payloadPath) const
{
    return VLDeviceVocabulary::uploadCommand(file, payloadPath);
}

void VLSyncManager::updateDeviceFandecks()
{
    VL_LOG("");
    if (!m_syncInfo || !m_commandManager) {
        runNextSyncStep();
        return;
    }
    VLSyncFileList transfer, remove, keep;
    const VLSyncFileList deviceFandecks = m_syncInfo->deviceFandecks();
    const VLSyncFileList localFandecks = m_syncInfo->localFandecks();
    const bool selectedOnly = syncSelectedFandecksOnly();

    for (const VLSyncFileInfoPtr &candidate : m_syncInfo->fandecksNeedingTransferToDevice()) {
        if (selectedOnly && !userWantsSyncForFandeckWithID(candidate->fileID()))
            continue;
        if (candidate->fileID().isNull()) {
            VL_LOG("Error preparing for transfer of %@, no fileID", candidate->SKU());
            continue;
        }
        // The fandeck's folder is named by its SKU: anything but a plain name is not ours to read.
        if (!vlIsPlainPathComponent(candidate->SKU())) {
            VL_LOG("Error preparing for transfer of %@, unusable SKU", candidate->SKU());
            continue;
        }
        const QString payload = pathForGlobalFandecksFolder() + QLatin1Char('/') + candidate->SKU() + QStringLiteral("/payload.cxf");
        if (const VLError refused = verifyStoredPayloadForUpload(candidate, payload); !refused.isNull()) {
            syncDidReceiveErrorRunNextStep(refused, false);
            continue;
        }
        transfer.append(candidate);
    }
    for (const VLSyncFileInfoPtr &local : localFandecks) {
        if (!local->fileID().isNull() && (!selectedOnly || userWantsSyncForFandeckWithID(local->fileID())))
            keep.append(local);
    }
    for (const VLSyncFileInfoPtr &onDevice : deviceFandecks) {
        const bool kept = std::any_of(keep.cbegin(), keep.cend(), [&onDevice](const VLSyncFileInfoPtr &k) {
            return k->fileID() == onDevice->fileID();
        });
        if (kept)
            continue;
        if (onDevice->fileID().isNull() || onDevice->deviceFileID().isNull()) {
            VL_LOG("Error preparing for delete of %@, no fileID or deviceFileID", onDevice->SKU());
            continue;
        }
        if (!selectedOnly) {
            VL_LOG("Should delete %@ (%@) but won't since the user did not explicitly tell me to",
                   onDevice->fileDescription(), onDevice->SKU());
            continue;
        }
        remove.append(onDevice);
    }
    if (transfer.isEmpty() && remove.isEmpty()) {
        runNextSyncStep();
        return;
    }
    QList<KDCommandPtr> commands;
    for (const VLSyncFileInfoPtr &doomed : std::as_const(remove)) {
        commands.append(deleteFileCommand(doomed));
    }
    m_run->fandecksToEnableAfterReboot.clear();
    const QString fandecksFolder = pathForGlobalFandecksFolder();
    for (const VLSyncFileInfoPtr &fandeck : std::as_const(transfer)) {
        const QString payload = fandecksFolder + QLatin1Char('/') + fandeck->SKU() + QStringLiteral("/payload.cxf");
        commands.append(uploadCommandForFile(fandeck, payload));
        m_run->fandecksToEnableAfterReboot.append(fandeck);
    }
    startCommandQueue(commands);
}

// Deliberately more than the fandecks uploaded in this sync: a fandeck an earlier sync uploaded but
// never got enabled (its "EnableFandeck" failed or went unanswered, or the sync ended before it)
// is listed by the device as not enabled, and is enabled now, when it is one the user syncs.
VLSyncFileList VLSyncManager::disabledDeviceFandecksToEnable()
{
    VLSyncFileList disabled;
    if (!m_syncInfo)
        return disabled;
    const bool selectedOnly = syncSelectedFandecksOnly();
    for (const VLSyncFileInfoPtr &onDevice : m_syncInfo->deviceFandecks()) {
        const QVariant enabled = onDevice->info().value(QStringLiteral("Enabled"));
        if (!enabled.isValid() || enabled.toBool() || onDevice->deviceFileID().isEmpty())
            continue;
        if (!m_syncInfo->localFandeckWithFandeckID(onDevice->fileID()))
            continue;
        if (selectedOnly && !userWantsSyncForFandeckWithID(onDevice->fileID()))
            continue;
        disabled.append(onDevice);
    }
    return disabled;
}

void VLSyncManager::enableAllDeviceFandecks()
{
    VL_LOG("enableAllDeviceFandecks");
    VLSyncFileList found;
    for (const VLSyncFileInfoPtr &uploaded : std::as_const(m_run->fandecksToEnableAfterReboot)) {
        if (VLSyncFileInfoPtr onDevice = m_syncInfo ? m_syncInfo->deviceFileWithFileID(uploaded->fileID()) : nullptr)
            found.append(onDevice);
    }
    for (const VLSyncFileInfoPtr &disabled : disabledDeviceFandecksToEnable()) {
        const bool queued = std::any_of(found.cbegin(), found.cend(), [&disabled](const VLSyncFileInfoPtr &f) {
            return f->deviceFileID() == disabled->deviceFileID();
        });
        if (!queued)
            found.append(disabled);
    }
    if (found.isEmpty() || !m_commandManager) {
        runNextSyncStep();
        return;
    }
    QList<KDCommandPtr> commands;
    for (const VLSyncFileInfoPtr &fandeck : std::as_const(found)) {
        commands.append(enableFandeckCommand(fandeck));
    }
    startCommandQueue(commands);
}
