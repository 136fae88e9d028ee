#pragma once

#include "VLError.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

// Fixed error domain of replies the sync web service got wrong or refused (not XML, HTTP status
// other than 200, a service "StatusCode" other than 0).
extern const QString VLSyncRequestErrorDomain;

extern const QString VLSyncReplyStatusCodeKey;
extern const QString VLSyncReplyStatusMessageKey;

// How the client judges one complete reply of the service.
struct VLSyncReplyOutcome
{
    bool isXML = false;                 // the body text begins with "<?xml"
    std::optional<QVariantMap> result;  // the decoded body, present exactly when it is XML
    qint64 statusCode = 0;              // the service's "StatusCode" (0 when missing or not a number)
    QString statusMessage = QStringLiteral(""); // the service's "StatusMessage"
    VLError error;                      // null on success
};

// The most elements a reply may hold. Decoded, an element costs a few hundred bytes whatever its
// size in the reply, so a reply of tiny elements under the size cap could take gigabytes; a file
// list of ten thousand records holds about 150,000. A reply past it is refused before decoding.
inline constexpr qsizetype kVLMaximumReplyElements = 250000;

// `body` is null when no body arrived; `httpStatus` is 0 when no response arrived.
VLSyncReplyOutcome vlEvaluateSyncReply(const QByteArray &body, int httpStatus);

// Integer value of a text as a lenient scanner reads it: leading blanks, an optional sign, then
// digits up to the first other character; 0 when there are none.
qint64 vlLeadingIntegerValue(const QString &text);
