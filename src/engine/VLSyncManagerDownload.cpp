#include "VLSyncManager.h"

#include "HBColorDocument.h"
#include "HBConstants.h"
#include "TSLogger.h"
#include "VLApplicationInfo.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerServiceRelay.h"

#include <QFile>
#include <QFileInfo>

void VLSyncManager::downloadNeededFandecks()
{
    VLSyncFileList needed;
    for (const VLSyncFileInfoPtr &fandeck : m_syncInfo ? m_syncInfo->fandecksNeedingDownload() : VLSyncFileList()) {
        if (syncSelectedFandecksOnly() && !userWantsSyncForFandeckWithID(fandeck->fileID()))
            continue;
        // A record nobody trusted vouched for is not even fetched; the other fandecks go on.
        if (const VLError refused = m_fileTrust.checkRecord(*fandeck); !refused.isNull()) {
            VL_LOG("Refusing to download %@: %@", fandeck->SKU(), refused);
            syncDidReceiveErrorRunNextStep(refused, false);
            continue;
        }
        needed.append(fandeck);
    }
    if (needed.isEmpty() || !m_downloadManager) {
        runNextSyncStep();
        return;
    }
    m_run->startOperation(m_downloadManager.data(), operationStepToken());
    m_downloadManager->pause();
    const QString downloads = pathForGlobalDownloadsFolder();
    for (const VLSyncFileInfoPtr &fandeck : std::as_const(needed)) {
        const VLFileDownloadPtr download = VLFileDownload::initWithURLDestinationFolder(fandeck->fileURL(), downloads);
        download->setUserData(fandeck);
        download->setServiceURL(QUrl(vlSyncProductionURL()));
        download->setExpectedLength(fandeck->byteLength());
        m_downloadManager->addDownload(download);
    }
    m_downloadManager->start();
}

bool VLSyncManager::verifyAndinstallDownloadedFandeckWithInfoDownloadPathError(const VLSyncFileInfoPtr &file,
                                                                                const QString &downloadPath,
                                                                                VLError *error)
{
    VL_LOG("[VLSyncManager verifyAndinstallDownloadedFandeckWithInfo:downloadPath:error:]");
    setStatusMessage(vlFormat(tr("Installing %@..."), file->fileDescription()));
    // Only a fandeck that reads as a colour document is installed: the device refuses any other,
    // and one left installed would be uploaded again by every later sync. What it is left out for
    // (entities that expand past their bound, a document that is not CxF3) is the error. Read once
    // its bytes are known to be the published ones.
    const auto readsAsAFandeck = [&file](const QString &path) {
        VLError unreadable;
        if (HBColorDocument::initWithFile(path, nullptr, &unreadable))
            return VLError();
        return VLError(HBErrorDomain, unreadable.code(),
                       vlFormat(tr("The fandeck %@ is not a usable colour document: %@"), file->fileDescription(),
                                unreadable.localizedDescription()));
    };
    return installPackage(file, downloadPath, pathForGlobalFandecksFolder(), QStringLiteral("payload.cxf"),
                          tr("Error copying fandeck"), error, readsAsAFandeck);
}

void VLSyncManager::downloadManagerDidBeginAllDownloads(VLFileDownloadManager *)
{
    VL_LOG("downloadManagerDidCompleteAllDownloads:");
    if (m_delegate)
        m_delegate->syncManagerDownloadingDidBegin(this);
}

void VLSyncManager::downloadManagerDidBeginDownload(VLFileDownloadManager *, VLFileDownload *download)
{
    const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
    VL_LOG("downloadManager:didBeginDownload:");
    VL_LOG("%@", file);
    setStatusMessage(vlFormat(tr("Downloading %@..."), file ? file->fileDescription() : QString()));
}

void VLSyncManager::downloadManagerDownloadDidUpdate(VLFileDownloadManager *, VLFileDownload *download)
{
    // Per file, not overall.
    if (m_delegate)
        m_delegate->syncManagerDownloadDidUpdateAmount(this, download->fractionCompleted());
}

void VLSyncManager::downloadManagerDidFinishDownload(VLFileDownloadManager *, VLFileDownload *download)
{
    VL_LOG("downloadManager:didFinishDownload:");
    VL_LOG("%@", download->URL().toString());
    const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
    const QString downloaded = download->destinationFolder() + QLatin1Char('/') + download->suggestedFilename();
    VLError error;
    if (file && !verifyAndinstallDownloadedFandeckWithInfoDownloadPathError(file, downloaded, &error)) {
        VL_LOG("verifyAndinstallDownloadedFandeckWithInfo error");
        VL_LOG("%@", file);
        syncDidReceiveErrorRunNextStep(error, false);
    }
}

void VLSyncManager::downloadManagerDownloadDidFailWithError(VLFileDownloadManager *, VLFileDownload *download,
                                                            const VLError &error)
{
    VL_LOG("downloadManager:download:didFailWithError:");
    VL_LOG("%@", fileInfoOfDownload(download));
    syncDidReceiveErrorRunNextStep(error, false);
}

void VLSyncManager::downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *)
{
    VL_LOG("downloadManagerDidCompleteAllDownloads:");
    if (m_delegate)
        m_delegate->syncManagerDownloadingDidFinish(this);
    prefetchFandecksForExport();
    runNextSyncStep();
}

// ---- the relay: what reaches the handlers above, and those of the device files ----

void VLSyncManagerServiceRelay::complete(const void *source, const std::function<void()> &handler)
{
    if (!m_manager.completeOperationOf(source, false, handler))
        VL_LOG("ignoring an answer of the web service to a run that has ended");
}

void VLSyncManagerServiceRelay::syncSessionDidOpenSession(VLSyncSession *session)
{
    complete(session, [&] { m_manager.syncSessionDidOpenSession(session); });
}

void VLSyncManagerServiceRelay::syncSessionDidFailToOpenWithError(VLSyncSession *session, const VLError &error)
{
    complete(session, [&] { m_manager.syncSessionDidFailToOpenWithError(session, error); });
}

void VLSyncManagerServiceRelay::syncSessionDidCloseSession(VLSyncSession *session)
{
    m_manager.syncSessionDidCloseSession(session);
}

void VLSyncManagerServiceRelay::syncSessionDidFinishRequest(VLSyncSession *session, VLSyncSessionRequestType type)
{
    m_manager.syncSessionDidFinishRequest(session, type);
}

void VLSyncManagerServiceRelay::networkConnectionError()
{
    m_manager.networkConnectionError();
}

void VLSyncManagerServiceRelay::syncSessionDidReceiveAllFiles(VLSyncSession *session, const VLSyncFileList &files)
{
    complete(session, [&] { m_manager.syncSessionDidReceiveAllFiles(session, files); });
}

void VLSyncManagerServiceRelay::syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *session, const VLError &error)
{
    complete(session, [&] { m_manager.syncSessionAllFilesRequestsDidFailWithError(session, error); });
}

void VLSyncManagerServiceRelay::downloadManagerDidBeginAllDownloads(VLFileDownloadManager *manager)
{
    m_manager.downloadManagerDidBeginAllDownloads(manager);
}

void VLSyncManagerServiceRelay::downloadManagerDidBeginDownload(VLFileDownloadManager *manager, VLFileDownload *download)
{
    complete(manager, [&] { m_manager.downloadManagerDidBeginDownload(manager, download); });
}

void VLSyncManagerServiceRelay::downloadManagerDownloadDidUpdate(VLFileDownloadManager *manager, VLFileDownload *download)
{
    m_manager.downloadManagerDownloadDidUpdate(manager, download);
}

void VLSyncManagerServiceRelay::downloadManagerDidFinishDownload(VLFileDownloadManager *manager, VLFileDownload *download)
{
    complete(manager, [&] { m_manager.downloadManagerDidFinishDownload(manager, download); });
}

void VLSyncManagerServiceRelay::downloadManagerDownloadDidFailWithError(VLFileDownloadManager *manager,
                                                                        VLFileDownload *download, const VLError &error)
{
    complete(manager, [&] { m_manager.downloadManagerDownloadDidFailWithError(manager, download, error); });
}

void VLSyncManagerServiceRelay::downloadManagerDownloadWasRefused(VLFileDownloadManager *manager,
                                                                  VLFileDownload *download, const VLError &error)
{
    complete(manager, [&] { m_manager.downloadManagerDownloadWasRefused(manager, download, error); });
}

void VLSyncManagerServiceRelay::downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *manager)
{
    complete(manager, [&] { m_manager.downloadManagerDidCompleteAllDownloads(manager); });
}

void VLSyncManagerServiceRelay::fileDownloadDidBegin(VLFileDownload *download)
{
    complete(download, [&] { m_manager.fileDownloadDidBegin(download); });
}

void VLSyncManagerServiceRelay::fileDownloadProgressDidUpdate(VLFileDownload *download)
{
    m_manager.fileDownloadProgressDidUpdate(download);
}

void VLSyncManagerServiceRelay::fileDownloadDidFinish(VLFileDownload *download)
{
    complete(download, [&] { m_manager.fileDownloadDidFinish(download); });
}

void VLSyncManagerServiceRelay::fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error)
{
    complete(download, [&] { m_manager.fileDownloadDidFailWithError(download, error); });
}

void VLSyncManagerServiceRelay::fileDownloadWasRefused(VLFileDownload *download, const VLError &error)
{
    complete(download, [&] { m_manager.fileDownloadWasRefused(download, error); });
}
