#include "VLSyncRequest.h"

#include "TSLogger.h"
#include "VLNetworkError.h"
#include "VLReplyText.h"
#include "VLSyncReply.h"
#include "VLTransferPace.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace {

const char *const kCancelledByCallerProperty = "vlCancelledByCaller";
const char *const kTooLargeProperty = "vlBodyTooLarge";

QString describeResponse(QNetworkReply *reply)
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return QStringLiteral("(null)");
    QString headers;
    for (const auto &[name, value] : reply->rawHeaderPairs())
        headers += QStringLiteral("\n    \"%1\" = \"%2\";").arg(QString::fromLatin1(name), QString::fromLatin1(value));
    return QStringLiteral("<VLHTTPURLResponse> { URL: %1 } { Status Code: %2, Headers {%3\n} }")
        .arg(reply->url().toString(), QString::number(status.toInt()), headers);
}

} // namespace

QSharedPointer<VLSyncRequest> VLSyncRequest::create()
{
    return QSharedPointer<VLSyncRequest>::create();
}

VLSyncRequest::VLSyncRequest() = default;

VLSyncRequest::~VLSyncRequest()
{
    m_delegate = nullptr;
    if (m_dataTask) {
        m_dataTask->disconnect(this);
        m_dataTask->abort();
    }
}

QUrl VLSyncRequest::URLWithQueries(const QString &path, const VLSyncRequestQueries &queries)
{
    QUrl url(path);
    // Every character outside the unreserved set is escaped, "+" "&" "=" included, so a value
    // reaches the service exactly as given whatever the server makes of a literal "+".
    QByteArray query;
    for (auto it = queries.constBegin(); it != queries.constEnd(); ++it) {
        if (!query.isEmpty())
            query += '&';
        query += QUrl::toPercentEncoding(it.key()) + '=' + QUrl::toPercentEncoding(it.value());
    }
    if (queries.isEmpty())
        url.setQuery(QString());
    else
        url.setQuery(QString::fromLatin1(query), QUrl::StrictMode);
    return url;
}

QNetworkRequest VLSyncRequest::URLRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setTransferTimeout(kVLNetworkIdleTimeoutMilliseconds);
    return request;
}

bool VLSyncRequest::start()
{
    if (m_hasDataTask || m_path.isEmpty())
        return false;
    m_response = {};
    m_data = QByteArray();
    m_error = {};

    const QUrl url = URLWithQueries(m_path, m_queries);
    VL_LOG("\n>>>>> Request URL: %@\n", url.toString(QUrl::FullyEncoded));

    QNetworkReply *reply = vlSharedNetworkAccessManager()->get(URLRequest(url));
    m_dataTask = reply;
    m_hasDataTask = true;

    connect(reply, &QNetworkReply::readyRead, this, [reply] {
        if (reply->bytesAvailable() > kMaximumBodyLength) {
            reply->setProperty(kTooLargeProperty, true);
            reply->abort();
        }
    });
    auto tooSlow = std::make_shared<VLError>();
    VLTransferPace::watch(reply, [reply, tooSlow](const VLError &error) {
        *tooSlow = error;
        reply->abort();
    });
    // The transfer holds its request until it has reported, however the owner lets go of it.
    const QSharedPointer<VLSyncRequest> keepAlive = sharedFromThis();
    connect(reply, &QNetworkReply::finished, this, [this, reply, keepAlive, tooSlow] {
        const QByteArray body = reply->isOpen() ? reply->readAll() : QByteArray();
        Response response;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        response.statusCode = status.isValid() ? status.toInt() : 0;
        response.description = describeResponse(reply);
        VLError error;
        if (!tooSlow->isNull())
            error = *tooSlow;
        else if (reply->property(kTooLargeProperty).toBool())
            error = vlURLError(VLURLErrorDataLengthExceedsMaximum,
                               tr("The reply of the service is larger than %1 bytes.").arg(kMaximumBodyLength),
                               reply->url().toString());
        else
            error = vlTransportErrorForReply(reply, reply->property(kCancelledByCallerProperty).toBool());
        // Qt does not always notice a connection closed before the announced length; the length
        // of a compressed body counts encoded bytes, so only plain bodies can be checked.
        const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
        if (error.isNull() && announced.isValid() && !reply->hasRawHeader("Content-Encoding")
            && body.size() < announced.toLongLong())
            error = vlURLError(VLURLErrorNetworkConnectionLost,
                               tr("The network connection was lost after %1 of %2 bytes.")
                                   .arg(body.size())
                                   .arg(announced.toLongLong()),
                               reply->url().toString());
        reply->disconnect(this);
        reply->deleteLater();
        // Completion reaches the request through the event loop, as a reply that arrived from
        // the network would, also when the transfer ended inside cancel().
        QMetaObject::invokeMethod(
            this,
            [this, keepAlive, body = body.isNull() && response.statusCode ? QByteArray("") : body, response, error] {
                completionHandler(body, response, error);
            },
            Qt::QueuedConnection);
    });

    if (auto *delegate = m_delegate.get())
        delegate->syncRequestDidBegin(this);
    return true;
}

void VLSyncRequest::completionHandler(const QByteArray &body, const Response &response, const VLError &error)
{
    m_error = error;
    m_response = response;
    m_data = body;
    VL_LOG("\n>>>>> response: %@  error: %@ %@\n", response.description, error, error.localizedDescription());
    _finishedRetrieval();
}

void VLSyncRequest::cancel()
{
    if (QNetworkReply *reply = m_dataTask) {
        m_dataTask = nullptr;
        if (reply->isRunning()) {
            reply->setProperty(kCancelledByCallerProperty, true);
            reply->abort();
        }
    }
    m_hasDataTask = false;
    _finishedRetrieval();
}

void VLSyncRequest::_finishedRetrieval()
{
    // The delegate may let go of this request from inside its callback.
    const QSharedPointer<VLSyncRequest> keepAlive = sharedFromThis();
    if (!m_error.isNull()) {
        if (auto *delegate = m_delegate.get())
            delegate->syncRequestDidFailWithError(this, m_error);
        return;
    }
    const VLSyncReplyOutcome outcome = vlEvaluateSyncReply(m_data, m_response.statusCode);
    m_statusCode = outcome.statusCode;
    m_statusMessage = outcome.statusMessage;
    if (!outcome.error.isNull()) {
        m_error = outcome.error;
        if (auto *delegate = m_delegate.get())
            delegate->syncRequestDidFailWithError(this, m_error);
    } else if (auto *delegate = m_delegate.get()) {
        delegate->syncRequestDidFinishWithResult(this, *outcome.result);
    }
}

QString VLSyncRequest::requestStringResult() const
{
    return vlReplyASCIIText(m_data).value_or(QString());
}
