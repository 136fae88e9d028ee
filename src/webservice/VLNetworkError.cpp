#include "VLNetworkError.h"

#include "VLTransportSecurity.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>

const QString VLURLErrorDomain = QStringLiteral("VLURLErrorDomain");
const QString VLURLErrorFailingURLStringKey = QStringLiteral("NSErrorFailingURLStringKey");
const QString VLURLErrorNetworkReplyErrorKey = QStringLiteral("QNetworkReplyError");

namespace {

bool isHttpStatusError(QNetworkReply::NetworkError error)
{
    // Qt turns 4xx/5xx answers into these codes; the answer itself arrived in full.
    return (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError)
        || (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError)
        || error == QNetworkReply::ProtocolInvalidOperationError;
}

VLURLErrorCode codeForReplyError(QNetworkReply::NetworkError error, bool cancelledByCaller)
{
    switch (error) {
    case QNetworkReply::OperationCanceledError:
        return cancelledByCaller ? VLURLErrorCancelled : VLURLErrorTimedOut;
    case QNetworkReply::TimeoutError:
        return VLURLErrorTimedOut;
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return VLURLErrorNotConnectedToInternet;
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyNotFoundError:
        return VLURLErrorCannotConnectToHost;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
        return VLURLErrorNetworkConnectionLost;
    case QNetworkReply::SslHandshakeFailedError:
        return VLURLErrorSecureConnectionFailed;
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
        return VLURLErrorHTTPTooManyRedirects;
    case QNetworkReply::ProtocolUnknownError:
        return VLURLErrorUnsupportedURL;
    case QNetworkReply::ProtocolFailure:
        return VLURLErrorBadServerResponse;
    default:
        return VLURLErrorUnknown;
    }
}

} // namespace

VLError vlURLError(VLURLErrorCode code, const QString &description, const QString &failingURL)
{
    QVariantMap userInfo;
    if (!failingURL.isEmpty())
        userInfo.insert(VLURLErrorFailingURLStringKey, failingURL);
    return VLError(VLURLErrorDomain, code, description, userInfo);
}

VLError vlTransportErrorForReply(QNetworkReply *reply, bool cancelledByCaller)
{
    const QNetworkReply::NetworkError error = reply->error();
    if (error == QNetworkReply::NoError)
        return {};
    const bool hasStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (hasStatus && isHttpStatusError(error))
        return {};
    if (VLError noTLS = vlTLSUnavailableError(reply->url()); !noTLS.isNull())
        return noTLS;
    const VLURLErrorCode code = codeForReplyError(error, cancelledByCaller);
    QString description = reply->errorString();
    if (code == VLURLErrorCancelled)
        description = QCoreApplication::translate("VLURLError", "cancelled");
    else if (code == VLURLErrorTimedOut && error == QNetworkReply::OperationCanceledError)
        description = QCoreApplication::translate("VLURLError", "The request timed out.");
    // "Connection refused" alone does not say by whom: a mistyped or stale service URL shows here.
    if (code == VLURLErrorCannotConnectToHost || error == QNetworkReply::HostNotFoundError)
        description = QStringLiteral("%1 (%2)").arg(
            description, reply->url().adjusted(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment).toString());
    VLError result = vlURLError(code, description, reply->url().toString());
    QVariantMap userInfo = result.userInfo();
    userInfo.insert(VLURLErrorNetworkReplyErrorKey, int(error));
    return VLError(result.domain(), result.code(), result.localizedDescription(), userInfo);
}

QNetworkAccessManager *vlSharedNetworkAccessManager()
{
    static QPointer<QNetworkAccessManager> shared;
    if (!shared) {
        QCoreApplication *application = QCoreApplication::instance();
        Q_ASSERT_X(application && QThread::currentThread() == application->thread(),
                   "vlSharedNetworkAccessManager", "the client runs on the main thread");
        shared = new QNetworkAccessManager(application);
    }
    return shared;
}

QString vlLocalizedStringForHTTPStatusCode(int statusCode)
{
    struct Phrase { int code; const char *text; };
    static const Phrase phrases[] = {
        {100, "continue"}, {101, "switching protocols"}, {200, "no error"}, {201, "created"},
        {202, "accepted"}, {203, "non-authoritative information"}, {204, "no content"},
        {205, "reset content"}, {206, "partial content"}, {300, "multiple choices"},
        {301, "moved permanently"}, {302, "found"}, {303, "see other"}, {304, "not modified"},
        {305, "needs proxy"}, {307, "temporarily redirected"}, {308, "permanent redirect"},
        {400, "bad request"}, {401, "unauthorized"}, {402, "payment required"}, {403, "forbidden"},
        {404, "not found"}, {405, "method not allowed"}, {406, "unacceptable"},
        {407, "proxy authentication required"}, {408, "request timed out"}, {409, "conflict"},
        {410, "no longer exists"}, {411, "length required"}, {412, "precondition failed"},
        {413, "request too large"}, {414, "requested URL too long"}, {415, "unsupported media type"},
        {416, "requested range not satisfiable"}, {417, "expectation failed"},
        {429, "too many requests"}, {500, "internal server error"}, {501, "unimplemented"},
        {502, "bad gateway"}, {503, "service unavailable"}, {504, "gateway timed out"},
        {505, "unsupported version"},
    };
    for (const Phrase &phrase : phrases) {
        if (phrase.code == statusCode)
            return QCoreApplication::translate("VLHTTPStatus", phrase.text);
    }
    if (statusCode >= 100 && statusCode < 200)
        return QCoreApplication::translate("VLHTTPStatus", "informational");
    if (statusCode >= 200 && statusCode < 300)
        return QCoreApplication::translate("VLHTTPStatus", "success");
    if (statusCode >= 300 && statusCode < 400)
        return QCoreApplication::translate("VLHTTPStatus", "redirected");
    if (statusCode >= 400 && statusCode < 500)
        return QCoreApplication::translate("VLHTTPStatus", "client error");
    if (statusCode >= 500 && statusCode < 600)
        return QCoreApplication::translate("VLHTTPStatus", "server error");
    return QCoreApplication::translate("VLHTTPStatus", "unknown");
}
