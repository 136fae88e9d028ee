#pragma once

#include "VLError.h"

#include <QString>

class QNetworkAccessManager;
class QNetworkReply;

// Transport failures of the web-service client, in one domain with the codes the rest of the
// system tests for (the URL-loading codes of the platform the system was first written for).
extern const QString VLURLErrorDomain;

enum VLURLErrorCode : qint64 {
    VLURLErrorUnknown = -1,
    VLURLErrorCancelled = -999,
    VLURLErrorBadURL = -1000,
    VLURLErrorTimedOut = -1001,
    VLURLErrorUnsupportedURL = -1002,
    VLURLErrorCannotConnectToHost = -1004,
    VLURLErrorNetworkConnectionLost = -1005,
    VLURLErrorHTTPTooManyRedirects = -1007,
    VLURLErrorResourceUnavailable = -1008,
    VLURLErrorNotConnectedToInternet = -1009, // no route, host not found, network down
    VLURLErrorBadServerResponse = -1011,
    VLURLErrorDataLengthExceedsMaximum = -1103,
    VLURLErrorSecureConnectionFailed = -1200,
    VLURLErrorCannotCreateFile = -3000,
    VLURLErrorCannotOpenFile = -3001,
    VLURLErrorCannotWriteToFile = -3003,
    VLURLErrorCannotMoveFile = -3005,
};

// userInfo keys of transport errors.
extern const QString VLURLErrorFailingURLStringKey;
extern const QString VLURLErrorNetworkReplyErrorKey;

// The transport failure of a finished reply, or a null error when the transfer itself succeeded.
// An HTTP status of any kind is not a transport failure: callers judge the status themselves.
// `cancelledByCaller` tells a deliberate abort (cancelled) from a transfer time-out (timed out).
VLError vlTransportErrorForReply(QNetworkReply *reply, bool cancelledByCaller);

VLError vlURLError(VLURLErrorCode code, const QString &description, const QString &failingURL = {});

// The process-wide access manager of the client; it lives on the main thread and reports there.
QNetworkAccessManager *vlSharedNetworkAccessManager();

// Idle time-out of the client's transfers: a transfer that receives nothing this long fails.
constexpr int kVLNetworkIdleTimeoutMilliseconds = 60000;

// The standard phrase for an HTTP status ("not found", "internal server error", ...).
QString vlLocalizedStringForHTTPStatusCode(int statusCode);
