#include "VLSyncManager.h"

#include "HBColorDocument.h"
#include "HBConstants.h"
#include "TSLogger.h"
#include "VLApplicationInfo.h"
#include "VLSyncInfo.h"

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
    m_downloadQueueStepToken = operationStepToken();
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
    completeOperation(m_downloadQueueStepToken, [&] {
        const VLSyncFileInfoPtr file = fileInfoOfDownload(download);
        VL_LOG("downloadManager:didBeginDownload:");
        VL_LOG("%@", file);
        setStatusMessage(vlFormat(tr("Downloading %@..."), file ? file->fileDescription() : QString()));
    });
}

void VLSyncManager::downloadManagerDownloadDidUpdate(VLFileDownloadManager *, VLFileDownload *download)
{
    // Per file, not overall.
    if (m_delegate)
        m_delegate->syncManagerDownloadDidUpdateAmount(this, download->fractionCompleted());
}

void VLSyncManager::downloadManagerDidFinishDownload(VLFileDownloadManager *, VLFileDownload *download)
{
    completeOperation(m_downloadQueueStepToken, [&] {
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
    });
}

void VLSyncManager::downloadManagerDownloadDidFailWithError(VLFileDownloadManager *, VLFileDownload *download,
                                                            const VLError &error)
{
    completeOperation(m_downloadQueueStepToken, [&] {
        VL_LOG("downloadManager:download:didFailWithError:");
        VL_LOG("%@", fileInfoOfDownload(download));
        syncDidReceiveErrorRunNextStep(error, false);
    });
}

void VLSyncManager::downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *)
{
    completeOperation(m_downloadQueueStepToken, [&] {
        VL_LOG("downloadManagerDidCompleteAllDownloads:");
        if (m_delegate)
            m_delegate->syncManagerDownloadingDidFinish(this);
        prefetchFandecksForExport();
        runNextSyncStep();
    });
}
