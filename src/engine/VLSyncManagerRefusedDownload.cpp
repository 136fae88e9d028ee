// What the service's refusal of a file shows while its step waits.
#include "VLSyncManager.h"

#include "TSLogger.h"
#include "VLFormat.h"

// A refused file keeps its step waiting until the user cancels (the next sync tries it again), so
// without this the refusal showed only as a stall. The step's message names the file and the
// service's answer from the moment it arrives; a stall message quotes it.
void VLSyncManager::fileDownloadWasRefused(VLFileDownload *download, const VLError &error)
{
    if (!isInSync() && !m_isJustGatheringPreliminaryInfo)
        return;
    const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
    const QString name = file ? file->fileDescription() : download->suggestedFilename();
    VL_LOG("the service refused %@: %@", download->URL().toString(), error);
    setStatusMessage(
        vlFormat(tr("The service refused %@ (HTTP %d, %@); waiting. Cancel the sync to stop; the next sync "
                    "tries again."),
            name, int(error.code()), error.localizedDescription()));
}

void VLSyncManager::downloadManagerDownloadWasRefused(
    VLFileDownloadManager *, VLFileDownload *download, const VLError &error)
{
    fileDownloadWasRefused(download, error);
}
