#pragma once

#include "VLError.h"
#include "VLWeakDelegate.h"

#include <QByteArray>
#include <QEnableSharedFromThis>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QUrl>

#include <memory>

class QFile;
class QNetworkReply;
class VLFileDownload;

extern const QString VLFileDownloadErrorDomain;

// Codes of VLFileDownloadDomain other than HTTP statuses (which are used as they are).
enum VLFileDownloadErrorCode : qint64 {
    VLFileDownloadErrorUnsafeFilename = 1,   // the server proposed a name that is not one plain file name
    VLFileDownloadErrorBadResumePackage = 2, // a work folder that cannot be resumed
    VLFileDownloadErrorResumeMismatch = 3,   // the server resumed at another offset than asked
    VLFileDownloadErrorTooLong = 4,          // more bytes than announced or than the file's known size
    VLFileDownloadErrorRefusedURL = 5,       // a URL this client does not fetch from (see VLFileURLPolicy.h)
};

// Events of one download, on the main thread. All optional.
class VLFileDownloadDelegate
{
public:
    virtual ~VLFileDownloadDelegate() = default;
    virtual void fileDownloadDidBegin(VLFileDownload *) {}
    virtual void fileDownloadProgressDidUpdate(VLFileDownload *) {}
    virtual void fileDownloadDidFinish(VLFileDownload *) {}
    virtual void fileDownloadDidFailWithError(VLFileDownload *, const VLError &) {}
    // The server refused the file (an HTTP status): the download has stopped without a failure,
    // and lastError() carries the status. Told so that the wait can be explained.
    virtual void fileDownloadWasRefused(VLFileDownload *, const VLError &) {}
};

// Fetches one file into a work folder inside `destinationFolder` and moves it into place when
// complete. The body is streamed to disk. The work folder, "<name without extension>.vldownload",
// holds the partial file and, once a transfer has stopped short, "resumeData" (this client's resume
// token) and "resume.plist" ({"suggestedFilename": name}); a download made from such a folder asks the server only for the
// bytes that are missing from the partial file (HTTP Range).
//
// A resume is made only with a validator: If-Range with the strong ETag, or else the Last-Modified,
// that the first response gave, so a file replaced at the same URL comes whole instead of being
// spliced from two versions. A response without either leaves nothing to resume: a transfer of it
// that stops short is discarded and the next one starts from byte 0.
//
// The URL is checked before anything is fetched (VLFileURLPolicy.h, against serviceURL()); a refused
// URL fails the download as any transfer failure does. Redirects may not lower the scheme.
//
// A server that answers with a status other than 200 (206 when resuming) makes the download
// cancel itself: lastError() carries the status and only fileDownloadWasRefused follows.
//
// The body is bounded: a server that sends (or announces) more bytes than its own Content-Length,
// or than the file's known size (setExpectedLength), makes the download fail with
// VLFileDownloadErrorTooLong, and the work folder with the partial file is removed.
class VLFileDownload : public QObject, public QEnableSharedFromThis<VLFileDownload>
{
    Q_OBJECT
public:
    static QSharedPointer<VLFileDownload> initWithURLDestinationFolder(const QUrl &URL, const QString &destinationFolder);
    static QSharedPointer<VLFileDownload> initWithResumePackageFilename(const QString &packagePath);

    VLFileDownload(const QUrl &URL, const QString &destinationFolder);
    explicit VLFileDownload(const QString &resumePackageFilename);
    ~VLFileDownload() override;

    QUrl URL() const { return m_URL; }
    QString destinationFolder() const { return m_destinationFolder; }
    QString suggestedFilename() const { return m_suggestedFilename; }
    qint64 receivedLength() const { return m_receivedLength; }
    qint64 contentLength() const { return m_contentLength; }
    // The size the file is known to have (the record's "ByteLength"); negative when unknown.
    qint64 expectedLength() const { return m_expectedLength; }
    void setExpectedLength(qint64 length) { m_expectedLength = length; }
    // How much of the file has arrived, always finite and within 0..1: received over the announced
    // length, or over the expected length when none was announced; 0 while both are unknown.
    double fractionCompleted() const;
    VLError lastError() const { return m_lastError; }
    QSharedPointer<QObject> userData() const { return m_userData; }
    void setUserData(const QSharedPointer<QObject> &userData) { m_userData = userData; }
    VLFileDownloadDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(VLFileDownloadDelegate *delegate) { m_delegate = delegate; }
    // The service that listed the file: an https service's files are fetched over https only.
    QUrl serviceURL() const { return m_serviceURL; }
    void setServiceURL(const QUrl &url) { m_serviceURL = url; }

    void start();
    // Stops without a callback, keeping the partial file and the resume files (the work folder goes
    // when the server gave no validator to resume with).
    void cancel();

    static constexpr const char *kWorkFolderSuffix = ".vldownload";
    static constexpr const char *kResumeDataName = "resumeData";
    static constexpr const char *kResumePlistName = "resume.plist";
    static constexpr const char *kSuggestedFilenameKey = "suggestedFilename";

    // "name.ext" -> "name"; a leading dot does not start an extension.
    static QString nameWithoutExtension(const QString &name);

private:
    bool resumeFromWorkFolder();
    void startTransfer(const QUrl &url, qint64 offset, const QByteArray &validator);
    // Fails from the event loop, before any transfer, as every later failure would be reported.
    void failLater(const VLError &error);
    // The resume token for the current response: empty when it carries no validator.
    void takeResumeTokenFromResponse();
    void reportBegin();
    void handleResponse();
    void handleData();
    void handleFinished();
    bool decideDestination(const QString &suggestedFilename);
    void finishDownload();
    void failWithError(const VLError &error);
    // Fails and removes the work folder: what arrived cannot be the file or be resumed into it.
    void failAndDiscard(const VLError &error);
    void discardWorkFolder();
    // An error when `length` bytes are more than the transfer may bring; null otherwise.
    VLError lengthError(qint64 length) const;
    void refuseWithStatus(int statusCode);
    void dropTransfer();
    void writeResumeFiles();
    QString proposedFilename() const;
    bool writeToFile(const QByteArray &bytes);

    QUrl m_URL;
    QUrl m_serviceURL;
    QString m_destinationFolder;
    QString m_suggestedFilename;
    qint64 m_receivedLength = 0;
    qint64 m_contentLength = 0;
    qint64 m_expectedLength = -1;
    VLError m_lastError;
    QSharedPointer<QObject> m_userData;
    VLWeakDelegate<VLFileDownloadDelegate> m_delegate;

    QString m_downloadPackagePath;
    QString m_destinationFilename;
    QByteArray m_resumeData;
    int m_responseStatus = 0;
    QPointer<QNetworkReply> m_downloader;
    std::unique_ptr<QFile> m_file;
    qint64 m_requestedOffset = -1; // >= 0 while resuming from that many bytes on disk
    bool m_responseHandled = false;
    bool m_completeOnDisk = false; // the server says the partial file already holds every byte
    bool m_beginReported = false;
    bool m_discardOnFailure = false; // the partial file has no validator to resume with
    VLError m_packageError;
};

using VLFileDownloadPtr = QSharedPointer<VLFileDownload>;
