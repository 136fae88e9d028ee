#include "VLSyncReply.h"

#include "VLFormat.h"
#include "VLNetworkError.h"
#include "VLReplyText.h"
#include "VLXMLDictionary.h"

#include <QCoreApplication>

#include <cstring>
#include <limits>

const QString VLSyncRequestErrorDomain = QStringLiteral("VLSyncRequestErrorDomain");
const QString VLSyncReplyStatusCodeKey = QStringLiteral("StatusCode");
const QString VLSyncReplyStatusMessageKey = QStringLiteral("StatusMessage");

qint64 vlLeadingIntegerValue(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        negative = text.at(i++) == QLatin1Char('-');
    qint64 value = 0;
    for (; i < text.size() && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9'); ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return negative ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

namespace {

// Start tags, counted on the bytes: every "<" that opens neither an end tag, a comment, a CDATA
// section nor a declaration (markup inside comments counts too, which only errs on the safe side).
qsizetype startTagCount(const QByteArray &body, qsizetype stopAfter)
{
    qsizetype count = 0;
    const char *p = body.constData();
    const char *end = p + body.size();
    while (count <= stopAfter && (p = static_cast<const char *>(std::memchr(p, '<', size_t(end - p))))) {
        ++p;
        if (p < end && *p != '/' && *p != '!' && *p != '?')
            ++count;
    }
    return count;
}

} // namespace

VLSyncReplyOutcome vlEvaluateSyncReply(const QByteArray &body, int httpStatus)
{
    VLSyncReplyOutcome outcome;
    const std::optional<QString> text = vlReplyBodyText(body);
    outcome.isXML = text && text->startsWith(QLatin1String("<?xml"));
    const bool tooManyElements = outcome.isXML && startTagCount(body, kVLMaximumReplyElements) > kVLMaximumReplyElements;
    if (outcome.isXML && !tooManyElements)
        outcome.result = VLXMLDictionaryForXMLData(body);

    if (outcome.result) {
        const QVariant code = outcome.result->value(VLSyncReplyStatusCodeKey);
        outcome.statusCode = code.typeId() == QMetaType::QString ? vlLeadingIntegerValue(code.toString()) : 0;
        const QVariant message = outcome.result->value(VLSyncReplyStatusMessageKey);
        outcome.statusMessage = message.typeId() == QMetaType::QString ? message.toString() : QString();
    }

    auto fail = [&](qint64 code, const QString &description) {
        outcome.error = VLError(VLSyncRequestErrorDomain, code, description);
    };
    if (!outcome.isXML) {
        fail(httpStatus, QCoreApplication::translate("VLSyncRequest", "Bad response from Cloud. Data is not XML"));
    } else if (tooManyElements) {
        fail(VLURLErrorDataLengthExceedsMaximum,
             QCoreApplication::translate("VLSyncRequest",
                                         "The reply of the service holds more than %1 elements (%2 bytes): refused")
                 .arg(kVLMaximumReplyElements)
                 .arg(body.size()));
    } else if (httpStatus != 200) {
        fail(httpStatus, vlFormat(QCoreApplication::translate("VLSyncRequest", "NSHTTPURLResponse, status code: %d"),
                                  httpStatus));
    } else if (!outcome.result) {
        fail(httpStatus, QCoreApplication::translate("VLSyncRequest", "Unknown response data from Cloud"));
    } else if (outcome.statusCode != 0) {
        QString description = outcome.statusMessage;
        // The service sends its message for the user; without one, say at least which status it was.
        if (description.isEmpty())
            description = vlFormat(QCoreApplication::translate("VLSyncRequest",
                                                               "The operation couldn't be completed. (%@ error %d.)"),
                                   VLSyncRequestErrorDomain, outcome.statusCode);
        fail(outcome.statusCode, description);
    }
    return outcome;
}
