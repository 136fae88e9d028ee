#include "VLFileDownloadManager.h"

#include "TSLogger.h"

#include <QMutexLocker>
#include <QPointer>
#include <QThread>

#include <algorithm>

VLFileDownloadManager::VLFileDownloadManager() = default;

VLFileDownloadManager::~VLFileDownloadManager()
{
    m_delegate = nullptr;
    pause();
    detachCurrentDownload();
}

void VLFileDownloadManager::addDownload(const VLFileDownloadPtr &download)
{
    if (!download)
        return;
    // Its transfer events must arrive on the manager's thread, whoever made it.
    if (download->thread() != thread() && download->thread() == QThread::currentThread())
        download->moveToThread(thread());
    {
        QMutexLocker locker(&m_lock);
        // One entry per file: a list paused with downloads still waiting (a cancelled sync) and
        // filled again with the same files keeps each once, with the newest request's data. The
        // file already under way is not asked for a second time.
        const auto sameFile = [&download](const VLFileDownloadPtr &queued) {
            return queued->URL() == download->URL() && queued->destinationFolder() == download->destinationFolder()
                && !download->URL().isEmpty();
        };
        const auto waiting = std::find_if(_filesToDownload.begin(), _filesToDownload.end(), sameFile);
        if (waiting == _filesToDownload.end())
            _filesToDownload.append(download);
        else if (*waiting != m_currentDownload)
            *waiting = download;
    }
    if (QThread::currentThread() == thread())
        _pingQueue();
    else
        QMetaObject::invokeMethod(this, &VLFileDownloadManager::_pingQueue, Qt::QueuedConnection);
}

QList<VLFileDownloadPtr> VLFileDownloadManager::downloads() const
{
    QMutexLocker locker(&m_lock);
    return _filesToDownload;
}

void VLFileDownloadManager::start()
{
    if (m_isRunning)
        return;
    m_isRunning = true;
    const QPointer<VLFileDownloadManager> self(this);
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDidBeginAllDownloads(this);
    if (self)
        _pingQueue();
}

void VLFileDownloadManager::detachCurrentDownload()
{
    if (const VLFileDownloadPtr download = m_currentDownload) {
        m_currentDownload.reset();
        download->setDelegate(nullptr);
        download->cancel();
    }
}

void VLFileDownloadManager::pause()
{
    if (!m_isRunning)
        return;
    detachCurrentDownload();
    m_isRunning = false;
}

void VLFileDownloadManager::cancel()
{
    if (!m_isRunning)
        return;
    VL_LOG("%s", vlQualifiedFunctionName(__PRETTY_FUNCTION__).constData());
    {
        QMutexLocker locker(&m_lock);
        _filesToDownload.clear();
    }
    detachCurrentDownload();
    m_isRunning = false;
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDidCompleteAllDownloads(this);
}

void VLFileDownloadManager::discardWaitingDownloads()
{
    if (m_isRunning)
        return;
    QMutexLocker locker(&m_lock);
    _filesToDownload.clear();
}

void VLFileDownloadManager::_pingQueue()
{
    if (!m_isRunning || m_currentDownload)
        return;
    {
        QMutexLocker locker(&m_lock);
        if (_filesToDownload.isEmpty())
            return;
        m_currentDownload = _filesToDownload.first();
    }
    const VLFileDownloadPtr download = m_currentDownload;
    download->setDelegate(this);
    download->start();
}

void VLFileDownloadManager::fileDownloadDidBegin(VLFileDownload *download)
{
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDidBeginDownload(this, download);
}

void VLFileDownloadManager::fileDownloadProgressDidUpdate(VLFileDownload *download)
{
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDownloadDidUpdate(this, download);
}

void VLFileDownloadManager::fileDownloadDidFinish(VLFileDownload *download)
{
    const QPointer<VLFileDownloadManager> self(this);
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDidFinishDownload(this, download);
    if (self)
        downloadEnded(download);
}

void VLFileDownloadManager::fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error)
{
    const QPointer<VLFileDownloadManager> self(this);
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDownloadDidFailWithError(this, download, error);
    if (self)
        downloadEnded(download);
}

void VLFileDownloadManager::fileDownloadWasRefused(VLFileDownload *download, const VLError &error)
{
    if (auto *delegate = m_delegate.get())
        delegate->downloadManagerDownloadWasRefused(this, download, error);
}

void VLFileDownloadManager::downloadEnded(VLFileDownload *download)
{
    // The delegate may have paused or cancelled the queue from inside its callback.
    if (m_currentDownload.data() != download)
        return;
    bool empty = false;
    {
        QMutexLocker locker(&m_lock);
        _filesToDownload.removeOne(m_currentDownload);
        empty = _filesToDownload.isEmpty();
    }
    m_currentDownload.reset();
    if (empty) {
        m_isRunning = false;
        if (auto *delegate = m_delegate.get())
            delegate->downloadManagerDidCompleteAllDownloads(this);
    } else {
        _pingQueue();
    }
}
