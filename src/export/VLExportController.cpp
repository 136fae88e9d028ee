#include "VLExportController.h"

#include "KDDeviceCommandSendTinteraSync.h"
#include "KDError.h"
#include "TSLogger.h"
#include "VLExportTarget.h"
#include "VLPathComponent.h"
#include "VLAudioNotes.h"
#include "VLDeviceVocabulary.h"
#include "VLPrivateFolder.h"
#include "VLSyncManager.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>

#include <memory>

VLExportController::VLExportController(VLSyncManager *syncManager, QObject *parent)
    : QObject(parent)
    , m_syncManager(syncManager)
{
}

VLExportController::~VLExportController()
{
    if (m_cmdManager)
        m_cmdManager->setDelegate(nullptr);
}

void VLExportController::exportToFilename(const QString &path)
{
    m_filename = path;
    m_finished = false;
    m_exportedRecords.clear();
    const KDDevicePtr device = m_syncManager ? m_syncManager->device() : KDDevicePtr();
    if (!device) {
        sendFinishDelegateWithError(kdError(KDErrorDeviceNotAvailable));
        return;
    }
    KDDeviceCommandSendTinteraSync::sendCommandDelegateResponseSelector(
        device, VLDeviceVocabulary::command(VLDeviceVocabulary::Command::GetMeasurements), this,
        &VLExportController::receivedMeasurementsFromDeviceResponse);
}

void VLExportController::receivedMeasurementsFromDeviceResponse(const KDDevicePtr &device,
                                                                 const KDCommandResponsePtr &response)
{
    VL_LOG("[VLExportController receivedMeasurementsFromDevice:response:]");
    if (!response->error().isNull()) {
        VL_LOG("%@", response->error());
        sendFinishDelegateWithError(response->error());
        return;
    }
    if (!m_cmdManager) {
        m_cmdManager = new VLDeviceCommandManager(device, this);
        m_cmdManager->setDelegate(this);
    }
    m_matches = response->measurements();
    // Only plain names: they become paths in the audio folder and in the export. Deliberately every
    // note the document refers to, the ones already on the computer too: the document names
    // "Audio/<note>" beside it, and a note left behind is a broken link.
    VLAudioNotes notes =
        VLAudioNotes::ofMatches(m_matches, m_syncManager ? m_syncManager->pathForGlobalAutoSyncMatchesAudioFolder() : QString());
    notes.named.removeDuplicates();
    notes.missing.removeDuplicates();
    // Only a CxF3 document can refer to its notes: other formats get none beside them.
    if (m_format != VLMatchExportFormat::CxF3)
        notes = VLAudioNotes();
    m_audioFileNames = notes.named;
    if (notes.missing.isEmpty()) {
        exportAll();
        return;
    }
    // Only the last missing note is fetched in one export; the others stay out of it.
    m_cmdManager->pause();
    m_cmdManager->addCommand(VLDeviceVocabulary::downloadCommand(notes.missing.last()));
    m_cmdManager->start();
}

void VLExportController::commandManagerWillSendCommand(VLDeviceCommandManager *, const KDCommandPtr &)
{
}

void VLExportController::commandManagerDidReceiveResponse(VLDeviceCommandManager *, const KDCommandResponsePtr &response)
{
    if (!response->error().isNull()) {
        VL_LOG("commandManager:didReceiveResponse: %@", response->error());
        return;
    }
    // A note that cannot be written is not reported: the export goes on without it.
    if (m_syncManager)
        VLAudioNotes::keepDownloadedNote(response, m_syncManager->pathForGlobalAutoSyncMatchesAudioFolder(), nullptr);
}

void VLExportController::commandManagerDidCompleteAllCommands(VLDeviceCommandManager *)
{
    exportAll();
}

QString VLExportController::documentPath() const
{
    if (m_audioFileNames.isEmpty())
        return m_filename;
    const QFileInfo chosen(m_filename);
    const QString folder = chosen.absolutePath() + QLatin1Char('/') + chosen.completeBaseName();
    return folder + QLatin1Char('/') + chosen.fileName();
}

void VLExportController::exportAll()
{
    if (m_finished)
        return; // a late completion of the command queue after the export ended
    if (const VLError target = vlPrepareExportTarget(documentPath(), !m_audioFileNames.isEmpty(), m_replacesExistingFile);
        !target.isNull()) {
        sendFinishDelegateWithError(target);
        return;
    }
    // The worker takes copies of what it needs and does not touch the controller: closing the
    // export sheet may delete the controller while the fandecks still load. The sync manager lives
    // as long as the process.
    WritingJob job{m_syncManager.data(), m_matches, m_audioFileNames, documentPath(), m_format, m_replacesExistingFile};
    auto records = std::make_shared<VLMatchRecordList>();
    QThread *worker = QThread::create([job = std::move(job), records] { *records = loadFandecksThenExport(job); });
    // The finish is reported once the worker has ended, not while it is still unwinding: a program
    // that quits on the report must not exit under a live thread. A deleted controller drops this
    // connection; the worker then only deletes itself.
    connect(worker, &QThread::finished, this, [this, worker, records] {
        worker->wait();
        m_exportedRecords = *records;
        sendFinishDelegateWithError(VLError());
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

VLMatchRecordList VLExportController::loadFandecksThenExport(const WritingJob &job)
{
    const QString exportAudio = QFileInfo(job.documentPath).absolutePath() + QStringLiteral("/Audio");
    const VLMatchRecordList records =
        job.syncManager ? job.syncManager->loadFandecksAndExportMatches({job.matches, job.documentPath, false, job.format})
                        : VLMatchRecordList();
    const QString audioFolder = job.syncManager ? job.syncManager->pathForGlobalAutoSyncMatchesAudioFolder() : QString();
    for (const QString &name : job.audioFileNames) {
        if (job.replaceExisting)
            QFile::remove(exportAudio + QLatin1Char('/') + name);
        vlCopyOutOfPrivateFolder(audioFolder + QLatin1Char('/') + name, exportAudio + QLatin1Char('/') + name);
    }
    return records;
}

void VLExportController::sendFinishDelegateWithError(const VLError &error)
{
    if (m_finished)
        return;
    m_finished = true;
    if (m_delegate)
        m_delegate->exportControllerFinishedWithError(this, error);
}
