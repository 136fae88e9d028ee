#include "VLFileDownload.h"

#include "TSLogger.h"
#include "VLFileURLPolicy.h"
#include "VLNetworkError.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"
#include "VLPropertyList.h"
#include "VLTransferPace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QRegularExpression>

#include <algorithm>
#include <filesystem>

const QString VLFileDownloadErrorDomain = QStringLiteral("VLFileDownloadDomain");

namespace {

const QString kTokenURLKey = QStringLiteral("URL");
const QString kTokenETagKey = QStringLiteral("ETag");
const QString kTokenLastModifiedKey = QStringLiteral("Last-Modified");

// Bodies from this size on keep their resume token on disk from the start.
constexpr qint64 kResumeFromStartBytes = 256 * 1024;

// Bytes read from the network are written at once; the transfer never holds more than this.
constexpr qint64 kReadBufferBytes = 1024 * 1024;

// A token only for a response that names its version: without one, bytes resumed from a later
// response could belong to another file at the same URL.
QByteArray makeResumeToken(const QUrl &url, const QByteArray &etag, const QByteArray &lastModified)
{
    // If-Range takes only a strong entity tag; a weak one would never let a range through.
    const bool strongETag = !etag.isEmpty() && !etag.startsWith("W/");
    if (!strongETag && lastModified.isEmpty())
        return {};
    QVariantMap token{{kTokenURLKey, url.toString(QUrl::FullyEncoded)}};
    if (strongETag)
        token.insert(kTokenETagKey, QString::fromLatin1(etag));
    else
        token.insert(kTokenLastModifiedKey, QString::fromLatin1(lastModified));
    return VLPropertyList::toXml(token);
}

QByteArray validatorOfToken(const QVariantMap &token)
{
    const QString etag = token.value(kTokenETagKey).toString();
    return (etag.isEmpty() ? token.value(kTokenLastModifiedKey).toString() : etag).toLatin1();
}

// "bytes 100-199/1000" -> 100 (first) and 1000 (total; -1 when "*"); "bytes */1000" -> -1, 1000.
bool parseContentRange(const QByteArray &header, qint64 *first, qint64 *total)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*bytes\\s+(?:(\\d+)-(\\d+)|\\*)/(\\d+|\\*)\\s*$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(header));
    if (!match.hasMatch())
        return false;
    *first = match.captured(1).isEmpty() ? -1 : match.captured(1).toLongLong();
    *total = match.captured(3) == QLatin1String("*") ? -1 : match.captured(3).toLongLong();
    return true;
}

// The file name of a Content-Disposition header, raw as the server sent it (checked later).
QString filenameFromContentDisposition(const QByteArray &header)
{
    static const QRegularExpression extended(QStringLiteral("filename\\*\\s*=\\s*([^']*)'[^']*'([^;\\s]+)"),
                                             QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression quoted(QStringLiteral("filename\\s*=\\s*\"((?:[^\"\\\\]|\\\\.)*)\""),
                                           QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression plain(QStringLiteral("filename\\s*=\\s*([^;\\s]+)"),
                                          QRegularExpression::CaseInsensitiveOption);
    const QString text = QString::fromUtf8(header);
    QRegularExpressionMatch match = extended.match(text);
    if (match.hasMatch())
        return QString::fromUtf8(QByteArray::fromPercentEncoding(match.captured(2).toLatin1()));
    match = quoted.match(text);
    if (match.hasMatch()) {
        QString name = match.captured(1);
        name.replace(QRegularExpression(QStringLiteral("\\\\(.)")), QStringLiteral("\\1"));
        return name;
    }
    match = plain.match(text);
    return match.hasMatch() ? match.captured(1) : QString();
}

} // namespace

QSharedPointer<VLFileDownload> VLFileDownload::initWithURLDestinationFolder(const QUrl &URL,
                                                                            const QString &destinationFolder)
{
    return QSharedPointer<VLFileDownload>::create(URL, destinationFolder);
}

QSharedPointer<VLFileDownload> VLFileDownload::initWithResumePackageFilename(const QString &packagePath)
{
    return QSharedPointer<VLFileDownload>::create(packagePath);
}

VLFileDownload::VLFileDownload(const QUrl &URL, const QString &destinationFolder)
    : m_URL(URL)
    , m_destinationFolder(destinationFolder)
{
    // Provisional until the server names the file; nothing is written there before that.
    const QString name = nameWithoutExtension(URL.fileName(QUrl::FullyDecoded));
    if (vlIsPlainPathComponent(name))
        m_downloadPackagePath = QDir(destinationFolder).filePath(name + QLatin1String(kWorkFolderSuffix));
}

VLFileDownload::VLFileDownload(const QString &resumePackageFilename)
{
    const QFileInfo package(QDir::cleanPath(resumePackageFilename));
    m_destinationFolder = package.absolutePath();
    m_downloadPackagePath = package.absoluteFilePath();
    const QVariantMap resume = VLPropertyList::readDictionary(
        QDir(m_downloadPackagePath).filePath(QLatin1String(kResumePlistName)));
    const QString suggested = resume.value(QLatin1String(kSuggestedFilenameKey)).toString();
    QFile token(QDir(m_downloadPackagePath).filePath(QLatin1String(kResumeDataName)));
    if (!vlIsPlainPathComponent(suggested)) {
        m_packageError = VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorBadResumePackage,
                                 tr("The download in \"%1\" cannot be resumed: it names no plain file name.")
                                     .arg(m_downloadPackagePath));
    } else if (!token.open(QIODevice::ReadOnly)) {
        m_packageError = VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorBadResumePackage,
                                 tr("The download in \"%1\" cannot be resumed: it has no resume data.")
                                     .arg(m_downloadPackagePath));
    } else {
        m_suggestedFilename = suggested;
        m_destinationFilename = QDir(m_downloadPackagePath).filePath(suggested);
        m_resumeData = token.readAll();
    }
}

VLFileDownload::~VLFileDownload()
{
    m_delegate = nullptr;
    if (m_downloader) {
        m_downloader->disconnect(this);
        m_downloader->abort();
        m_downloader->deleteLater();
    }
}

QString VLFileDownload::nameWithoutExtension(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

void VLFileDownload::failLater(const VLError &error)
{
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    QMetaObject::invokeMethod(this, [this, keepAlive, error] {
        if (!m_downloader)
            failWithError(error);
    }, Qt::QueuedConnection);
}

void VLFileDownload::start()
{
    if (m_downloader)
        return;
    m_lastError = {};
    if (!m_URL.isEmpty()) {
        if (const VLError refused = vlFileURLRefusal(m_URL, m_serviceURL); !refused.isNull())
            failLater(refused);
        else if (!resumeFromWorkFolder())
            startTransfer(m_URL, -1, {});
        return;
    }
    const QVariantMap token = VLPropertyList::fromData(m_resumeData).toMap();
    const QUrl url(token.value(kTokenURLKey).toString());
    if (m_resumeData.isEmpty() || !url.isValid() || url.isEmpty()) {
        // Nothing to fetch from: say so once, as any other failure would.
        failLater(!m_packageError.isNull() ? m_packageError
                                           : VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorBadResumePackage,
                                                     tr("The download has neither a URL nor usable resume data.")));
        return;
    }
    if (const VLError refused = vlFileURLRefusal(url, m_serviceURL, m_suggestedFilename); !refused.isNull()) {
        failLater(refused);
        return;
    }
    m_file = std::make_unique<QFile>(m_destinationFilename);
    if (!m_file->open(QIODevice::ReadWrite)) {
        const VLError error = vlURLError(VLURLErrorCannotOpenFile,
                                         tr("The partial file \"%1\" cannot be opened: %2")
                                             .arg(m_destinationFilename, m_file->errorString()));
        m_file.reset();
        failWithError(error);
        return;
    }
    // A token written before validators were required may have none: such bytes are not trusted.
    const QByteArray validator = validatorOfToken(token);
    if (validator.isEmpty())
        m_file->resize(0);
    startTransfer(url, validator.isEmpty() ? 0 : m_file->size(), validator);
}

// A download of the same URL that stopped short, even in a process that was killed, left its work
// folder with the partial file and the resume token: the transfer goes on from the bytes on disk
// instead of fetching them again.
bool VLFileDownload::resumeFromWorkFolder()
{
    if (m_downloadPackagePath.isEmpty() || !QFileInfo(m_downloadPackagePath).isDir())
        return false;
    const VLFileDownload package(m_downloadPackagePath);
    const QVariantMap token = VLPropertyList::fromData(package.m_resumeData).toMap();
    const QByteArray validator = validatorOfToken(token);
    if (!package.m_packageError.isNull() || QUrl(token.value(kTokenURLKey).toString()) != m_URL || validator.isEmpty())
        return false;
    auto partial = std::make_unique<QFile>(package.m_destinationFilename);
    if (partial->size() <= 0 || !partial->open(QIODevice::ReadWrite))
        return false;
    m_suggestedFilename = package.m_suggestedFilename;
    m_destinationFilename = package.m_destinationFilename;
    m_resumeData = package.m_resumeData;
    m_file = std::move(partial);
    startTransfer(m_URL, m_file->size(), validator);
    return true;
}

void VLFileDownload::startTransfer(const QUrl &url, qint64 offset, const QByteArray &validator)
{
    QNetworkRequest request(url);
    // Byte offsets must count bytes of the file itself, never of an encoded body.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setTransferTimeout(kVLNetworkIdleTimeoutMilliseconds);
    // Redirects are followed only to the same scheme or up to https (Qt refuses the rest).
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    if (offset > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(offset) + '-');
        if (!validator.isEmpty())
            request.setRawHeader("If-Range", validator);
    }
    m_requestedOffset = offset;
    m_discardOnFailure = false;
    m_responseHandled = false;
    m_completeOnDisk = false;
    m_responseStatus = 0;

    QNetworkReply *reply = vlSharedNetworkAccessManager()->get(request);
    reply->setReadBufferSize(kReadBufferBytes);
    m_downloader = reply;
    connect(reply, &QNetworkReply::readyRead, this, &VLFileDownload::handleData);
    connect(reply, &QNetworkReply::finished, this, &VLFileDownload::handleFinished);
    VLTransferPace::watch(reply, [self = QPointer<VLFileDownload>(this), reply](const VLError &error) {
        if (self && self->m_downloader == reply)
            self->failWithError(error);
    });

    // Begin is reported from the event loop, like every later event of the transfer, and in any
    // case before the first of them.
    m_beginReported = false;
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    QMetaObject::invokeMethod(this, [this, keepAlive, reply] {
        if (m_downloader == reply)
            reportBegin();
    }, Qt::QueuedConnection);
}

void VLFileDownload::reportBegin()
{
    if (m_beginReported)
        return;
    m_beginReported = true;
    if (auto *delegate = m_delegate.get())
        delegate->fileDownloadDidBegin(this);
}

QString VLFileDownload::proposedFilename() const
{
    const QString disposition = filenameFromContentDisposition(m_downloader->rawHeader("Content-Disposition"));
    if (!disposition.isEmpty())
        return disposition;
    const QString fromURL = m_downloader->url().fileName(QUrl::FullyDecoded);
    return fromURL.isEmpty() ? QStringLiteral("Unknown") : fromURL;
}

bool VLFileDownload::decideDestination(const QString &suggestedFilename)
{
    if (!vlIsPlainPathComponent(suggestedFilename)) {
        failWithError(VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorUnsafeFilename,
                              tr("The server named the file \"%1\", which is not a plain file name.")
                                  .arg(suggestedFilename)));
        return false;
    }
    m_suggestedFilename = suggestedFilename;
    m_downloadPackagePath = QDir(m_destinationFolder)
                                .filePath(nameWithoutExtension(suggestedFilename) + QLatin1String(kWorkFolderSuffix));
    m_destinationFilename = QDir(m_downloadPackagePath).filePath(suggestedFilename);
    vlPreparePrivateFolder(m_downloadPackagePath, VLWiderPermissions::Tighten);
    m_file = std::make_unique<QFile>(m_destinationFilename);
    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Truncate) || !m_file->setPermissions(kVLPrivateFilePermissions)) {
        const VLError error = vlURLError(VLURLErrorCannotCreateFile,
                                         tr("The file \"%1\" cannot be created: %2")
                                             .arg(m_destinationFilename, m_file->errorString()),
                                         m_downloader->url().toString());
        m_file.reset();
        failWithError(error);
        return false;
    }
    // The token is kept from the start but written only when the transfer stops short: writing
    // it for every download cost two more files and a disk sync each, on the sync's critical path.
    takeResumeTokenFromResponse();
    return true;
}

void VLFileDownload::takeResumeTokenFromResponse()
{
    m_resumeData = makeResumeToken(m_downloader->url(), m_downloader->rawHeader("ETag"),
                                   m_downloader->rawHeader("Last-Modified"));
    m_discardOnFailure = m_resumeData.isEmpty();
}

void VLFileDownload::handleResponse()
{
    m_responseHandled = true;
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    const QPointer<VLFileDownload> self(this);
    QNetworkReply *reply = m_downloader;
    reportBegin();
    if (!self || m_downloader != reply)
        return;
    const QVariant status = m_downloader->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return; // no response at all: the transport failure is reported when the reply finishes
    m_responseStatus = status.toInt();
    const QVariant length = m_downloader->header(QNetworkRequest::ContentLengthHeader);
    // A negative length is no length: the body is then bounded by the expected length alone.
    const qint64 announced = length.isValid() ? std::max<qint64>(length.toLongLong(), 0) : 0;

    if (m_requestedOffset >= 0) {
        qint64 first = -1;
        qint64 total = -1;
        const bool hasRange = parseContentRange(m_downloader->rawHeader("Content-Range"), &first, &total);
        if (m_responseStatus == 206 && hasRange && first == m_requestedOffset) {
            m_file->seek(m_requestedOffset);
            m_receivedLength = m_requestedOffset;
            m_contentLength = announced + m_requestedOffset;
        } else if (m_responseStatus == 206) {
            m_file->close();
            m_file->remove();
            failWithError(VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorResumeMismatch,
                                  tr("The server resumed the download at another point than asked; it will start over.")));
            return;
        } else if (m_responseStatus == 416 && hasRange && total == m_requestedOffset) {
            m_completeOnDisk = true;
            m_receivedLength = m_contentLength = m_requestedOffset;
        } else if (m_responseStatus == 200) {
            // The file changed on the server or it ignores ranges: the whole file comes again,
            // and a later resume goes by this response's validator.
            m_file->resize(0);
            m_file->seek(0);
            m_receivedLength = 0;
            m_contentLength = announced;
            takeResumeTokenFromResponse();
        } else {
            if (m_responseStatus == 416) {
                m_file->close();
                m_file->remove(); // the partial file does not fit the server's file any more
            }
            refuseWithStatus(m_responseStatus);
            return;
        }
    } else {
        m_receivedLength = 0;
        m_contentLength = announced;
        if (m_responseStatus != 200) {
            refuseWithStatus(m_responseStatus);
            return;
        }
        if (!decideDestination(proposedFilename()))
            return;
    }
    if (const VLError tooLong = lengthError(m_contentLength); !tooLong.isNull()) {
        failAndDiscard(tooLong);
        return;
    }
    // A large body is worth resuming even after the process was killed in the middle, when no
    // resume files could be written: for those the token goes to disk before the body.
    if (m_requestedOffset < 0 && m_contentLength >= kResumeFromStartBytes)
        writeResumeFiles();
    if (auto *delegate = m_delegate.get())
        delegate->fileDownloadProgressDidUpdate(this);
}

VLError VLFileDownload::lengthError(qint64 length) const
{
    if (m_contentLength > 0 && length > m_contentLength && !m_completeOnDisk)
        return VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorTooLong,
                       tr("The server sent more than the %1 bytes it announced for \"%2\".")
                           .arg(m_contentLength)
                           .arg(m_suggestedFilename));
    if (m_expectedLength >= 0 && length > m_expectedLength)
        return VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorTooLong,
                       tr("The server sent %1 bytes or more for \"%2\", which has %3 bytes.")
                           .arg(length)
                           .arg(m_suggestedFilename)
                           .arg(m_expectedLength));
    return {};
}

double VLFileDownload::fractionCompleted() const
{
    const qint64 total = m_contentLength > 0 ? m_contentLength : m_expectedLength;
    if (total <= 0 || m_receivedLength <= 0)
        return 0.0;
    return std::min(1.0, double(m_receivedLength) / double(total));
}

void VLFileDownload::refuseWithStatus(int statusCode)
{
    // cancel() clears the delegate, so the refusal is no failure to anyone: the caller finds the
    // download stopped with lastError set, and hears of the status only to explain the wait.
    VLFileDownloadDelegate *delegate = m_delegate.get();
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    cancel();
    m_lastError = VLError(VLFileDownloadErrorDomain, statusCode, vlLocalizedStringForHTTPStatusCode(statusCode));
    if (delegate)
        delegate->fileDownloadWasRefused(this, m_lastError);
}

bool VLFileDownload::writeToFile(const QByteArray &bytes)
{
    // A write that fills the disk stores what fits and says nothing; only the next one fails with
    // the reason, so the rest is written until everything is or a write fails.
    qint64 written = 0;
    while (m_file && written < bytes.size()) {
        const qint64 count = m_file->write(bytes.constData() + written, bytes.size() - written);
        if (count <= 0)
            break;
        written += count;
    }
    if (m_file && written == bytes.size())
        return true;
    failWithError(vlURLError(VLURLErrorCannotWriteToFile,
                             tr("The file \"%1\" cannot be written: %2")
                                 .arg(m_destinationFilename, m_file ? m_file->errorString() : QString()),
                             m_downloader ? m_downloader->url().toString() : QString()));
    return false;
}

void VLFileDownload::handleData()
{
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    const QPointer<VLFileDownload> self(this);
    if (!m_responseHandled) {
        handleResponse();
        if (!self || !m_downloader)
            return;
    }
    QNetworkReply *reply = m_downloader;
    if (!reply || !m_file)
        return;
    const QByteArray bytes = reply->readAll();
    if (bytes.isEmpty() || m_completeOnDisk)
        return;
    // Checked before anything is written: a server must not be able to fill the disk.
    if (const VLError tooLong = lengthError(m_receivedLength + bytes.size()); !tooLong.isNull()) {
        failAndDiscard(tooLong);
        return;
    }
    if (!writeToFile(bytes))
        return;
    m_receivedLength += bytes.size();
    if (auto *delegate = m_delegate.get())
        delegate->fileDownloadProgressDidUpdate(this);
}

void VLFileDownload::handleFinished()
{
    const QSharedPointer<VLFileDownload> keepAlive = sharedFromThis();
    const QPointer<VLFileDownload> self(this);
    QNetworkReply *reply = m_downloader;
    if (!reply)
        return;
    if (reply->bytesAvailable() > 0 || !m_responseHandled) {
        handleData();
        if (!self || m_downloader != reply)
            return;
    }
    VLError error = vlTransportErrorForReply(reply, false);
    // Qt does not always notice a server that closes the connection before the announced
    // length has arrived; a short body must never pass for a complete file.
    if (error.isNull() && m_contentLength > 0 && m_receivedLength < m_contentLength)
        error = vlURLError(VLURLErrorNetworkConnectionLost,
                           tr("The network connection was lost after %1 of %2 bytes.")
                               .arg(m_receivedLength)
                               .arg(m_contentLength),
                           reply->url().toString());
    if (!error.isNull())
        failWithError(error);
    else
        finishDownload();
}

void VLFileDownload::dropTransfer()
{
    if (QNetworkReply *reply = m_downloader) {
        m_downloader = nullptr;
        reply->disconnect(this);
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply->isRunning() && status >= 400) {
            // Qt has the error of such a reply already on its way; aborting it now makes Qt
            // report a second one. The small error page is left to end by itself.
            connect(reply, &QNetworkReply::readyRead, reply, [reply] { reply->skip(reply->bytesAvailable()); });
            connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
        } else {
            if (reply->isRunning())
                reply->abort();
            reply->deleteLater();
        }
    }
    if (m_file) {
        m_file->close();
        m_file.reset();
    }
}

void VLFileDownload::finishDownload()
{
    m_lastError = {};
    dropTransfer();
    const QString finalPath = QDir(m_destinationFolder).filePath(m_suggestedFilename);
    // Deliberately a replacing move: a stale file of the same name (left by an earlier run that
    // never installed it) would otherwise make every new download of that name vanish with its
    // work folder. The rename takes the old file's place in one step, so the name never refers to
    // a half-written file.
    std::error_code moveError;
    std::filesystem::rename(m_destinationFilename.toStdString(), finalPath.toStdString(), moveError);
    if (moveError) {
        m_lastError = vlURLError(VLURLErrorCannotMoveFile,
                                 tr("The downloaded file cannot be moved to \"%1\": %2")
                                     .arg(finalPath, QString::fromStdString(moveError.message())));
        if (auto *delegate = m_delegate.get())
            delegate->fileDownloadDidFailWithError(this, m_lastError);
        return;
    }
    QDir(m_downloadPackagePath).removeRecursively();
    if (auto *delegate = m_delegate.get())
        delegate->fileDownloadDidFinish(this);
}

void VLFileDownload::failWithError(const VLError &error)
{
    if (m_downloader) {
        const QPointer<VLFileDownload> self(this);
        QNetworkReply *reply = m_downloader;
        reportBegin();
        if (!self || m_downloader != reply)
            return;
    }
    m_lastError = error;
    dropTransfer();
    if (m_discardOnFailure)
        discardWorkFolder();
    else
        writeResumeFiles();
    if (auto *delegate = m_delegate.get())
        delegate->fileDownloadDidFailWithError(this, error);
}

void VLFileDownload::discardWorkFolder()
{
    m_resumeData.clear();
    if (!m_downloadPackagePath.isEmpty())
        QDir(m_downloadPackagePath).removeRecursively();
}

void VLFileDownload::failAndDiscard(const VLError &error)
{
    dropTransfer();
    discardWorkFolder();
    failWithError(error);
}

void VLFileDownload::cancel()
{
    m_delegate = nullptr;
    dropTransfer();
    m_lastError = {};
    if (m_discardOnFailure)
        discardWorkFolder();
    else
        writeResumeFiles();
}

void VLFileDownload::writeResumeFiles()
{
    if (m_downloadPackagePath.isEmpty() || m_resumeData.isEmpty() || !QFileInfo(m_downloadPackagePath).isDir())
        return;
    const QDir package(m_downloadPackagePath);
    QFile token(package.filePath(QLatin1String(kResumeDataName)));
    if (token.open(QIODevice::WriteOnly | QIODevice::Truncate) && token.setPermissions(kVLPrivateFilePermissions))
        token.write(m_resumeData);
    // Without its resume files a download starts over: no need to wait for the disk.
    VLPropertyList::writeXml(package.filePath(QLatin1String(kResumePlistName)),
                             QVariantMap{{QLatin1String(kSuggestedFilenameKey), m_suggestedFilename}}, nullptr,
                             VLPropertyList::Durability::Replaceable);
}
