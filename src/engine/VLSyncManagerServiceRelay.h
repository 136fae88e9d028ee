#pragma once

#include "VLFileDownload.h"
#include "VLFileDownloadManager.h"
#include "VLSyncSession.h"

#include <QObject>

class VLSyncManager;

// Where the web service answers a sync manager: its session, its fandeck download queue and the
// download of a device file. An answer reaches the manager's handler only while the run that
// asked for it is still under way (as the step that asked); progress and the network's loss always do.
// A QObject, so that what it is set on reads it as gone once the manager is.
class VLSyncManagerServiceRelay : public QObject,
                                  public VLSyncSessionDelegate,
                                  public VLSyncSessionDelegateDidReceiveAllFiles,
                                  public VLSyncSessionDelegateAllFilesRequestsDidFail,
                                  public VLFileDownloadManagerDelegate,
                                  public VLFileDownloadDelegate
{
public:
    explicit VLSyncManagerServiceRelay(VLSyncManager &manager)
        : m_manager(manager)
    {
    }

    void syncSessionDidOpenSession(VLSyncSession *session) override;
    void syncSessionDidFailToOpenWithError(VLSyncSession *session, const VLError &error) override;
    void syncSessionDidCloseSession(VLSyncSession *session) override;
    void syncSessionDidFinishRequest(VLSyncSession *session, VLSyncSessionRequestType type) override;
    void networkConnectionError() override;
    void syncSessionDidReceiveAllFiles(VLSyncSession *session, const VLSyncFileList &files) override;
    void syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *session, const VLError &error) override;

    void downloadManagerDidBeginAllDownloads(VLFileDownloadManager *manager) override;
    void downloadManagerDidBeginDownload(VLFileDownloadManager *manager, VLFileDownload *download) override;
    void downloadManagerDownloadDidUpdate(VLFileDownloadManager *manager, VLFileDownload *download) override;
    void downloadManagerDidFinishDownload(VLFileDownloadManager *manager, VLFileDownload *download) override;
    void downloadManagerDownloadDidFailWithError(VLFileDownloadManager *manager, VLFileDownload *download,
                                                 const VLError &error) override;
    void downloadManagerDownloadWasRefused(VLFileDownloadManager *manager, VLFileDownload *download,
                                           const VLError &error) override;
    void downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *manager) override;

    void fileDownloadDidBegin(VLFileDownload *download) override;
    void fileDownloadProgressDidUpdate(VLFileDownload *download) override;
    void fileDownloadDidFinish(VLFileDownload *download) override;
    void fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error) override;
    void fileDownloadWasRefused(VLFileDownload *download, const VLError &error) override;

private:
    void complete(const void *source, const std::function<void()> &handler);

    VLSyncManager &m_manager;
};
