#pragma once

#include "VLFileDownload.h"
#include "VLWeakDelegate.h"

#include <QList>
#include <QMutex>
#include <QObject>

class VLFileDownloadManager;

// Events of a download queue, on the main thread. All optional.
class VLFileDownloadManagerDelegate
{
public:
    virtual ~VLFileDownloadManagerDelegate() = default;
    virtual void downloadManagerDidBeginAllDownloads(VLFileDownloadManager *) {}
    virtual void downloadManagerDidBeginDownload(VLFileDownloadManager *, VLFileDownload *) {}
    virtual void downloadManagerDownloadDidUpdate(VLFileDownloadManager *, VLFileDownload *) {}
    virtual void downloadManagerDidFinishDownload(VLFileDownloadManager *, VLFileDownload *) {}
    virtual void downloadManagerDownloadDidFailWithError(VLFileDownloadManager *, VLFileDownload *, const VLError &) {}
    // The server refused the running download: the queue waits (see VLFileDownload::fileDownloadWasRefused).
    virtual void downloadManagerDownloadWasRefused(VLFileDownloadManager *, VLFileDownload *, const VLError &) {}
    virtual void downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *) {}
};

// Runs downloads strictly one at a time, in the order they were added. A failed download is not
// retried; the queue goes on with the next. The running download stays first in the list until
// it has finished or failed.
// The delegate base is public so that a download can track the manager as a QObject and read it as
// gone once it is destroyed (a cross-cast from a private base finds nothing).
class VLFileDownloadManager : public QObject, public VLFileDownloadDelegate
{
    Q_OBJECT
public:
    VLFileDownloadManager();
    ~VLFileDownloadManager() override;

    VLFileDownloadManagerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(VLFileDownloadManagerDelegate *delegate) { m_delegate = delegate; }

    // May be called from any thread; the download starts on the manager's thread.
    void addDownload(const VLFileDownloadPtr &download);
    QList<VLFileDownloadPtr> downloads() const;
    VLFileDownloadPtr currentDownload() const { return m_currentDownload; }
    bool isRunning() const { return m_isRunning; }

    void start();
    // Stops the running download without a callback; it stays first in the list.
    void pause();
    // Empties the list, stops the running download and reports that all downloads are complete.
    void cancel();
    // Empties the list of a paused queue, without a report: what a paused run left waiting.
    void discardWaitingDownloads();

private:
    void fileDownloadDidBegin(VLFileDownload *download) override;
    void fileDownloadProgressDidUpdate(VLFileDownload *download) override;
    void fileDownloadDidFinish(VLFileDownload *download) override;
    void fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error) override;
    void fileDownloadWasRefused(VLFileDownload *download, const VLError &error) override;

    void _pingQueue();
    void downloadEnded(VLFileDownload *download);
    void detachCurrentDownload();

    mutable QMutex m_lock; // guards _filesToDownload
    QList<VLFileDownloadPtr> _filesToDownload;
    VLFileDownloadPtr m_currentDownload;
    bool m_isRunning = false;
    VLWeakDelegate<VLFileDownloadManagerDelegate> m_delegate;
};
