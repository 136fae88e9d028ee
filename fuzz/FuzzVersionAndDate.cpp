// Texts and numbers that name versions and times: published version strings (compared as numbers),
// "VersionDate" texts, the service's status codes, reply bodies in their encodings, and capture
// times in seconds since 1970 as devices report them.

#include "FuzzSupport.h"
#include "KDType.h"
#include "KXTypes.h"
#include "TinteraFuzzTargets.h"
#include "VLReplyText.h"
#include "VLSecondsSince1970.h"
#include "VLSyncFileInfo.h"
#include "VLSyncReply.h"

#include <cmath>
#include <cstring>

namespace {

void readCaptureTime(double seconds)
{
    const QDateTime date = vlDateFromSecondsSince1970(seconds);
    if (date.isValid()) {
        TINTERA_FUZZ_CHECK(date.date().year() >= 1 && date.date().year() <= 9999, "a capture date is a calendar date");
        TINTERA_FUZZ_CHECK(!date.toString(Qt::ISODateWithMs).isEmpty(), "a capture date has an ISO 8601 text");
    }
    // The framework's number holding the same real, as a device's answer carries it.
    KXTypeRef number = KDType::KXTypeCreateWithObject(seconds);
    const QVariant back = KDType::objectForKXType(number);
    KXRelease(number);
    TINTERA_FUZZ_CHECK(back.toDouble() == seconds || std::isnan(seconds), "a real keeps its value");
}

} // namespace

int tinteraFuzzVersionAndDate(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    const QByteArray bytes = tinteraFuzzBytes(data, size);
    const QString text = QString::fromUtf8(bytes);

    // Two versions, one per line, compared as the inventory compares them.
    const qsizetype newline = text.indexOf(QLatin1Char('\n'));
    const double first = VLSyncFileInfo::numberFromVersion(newline < 0 ? text : text.left(newline));
    const double second = VLSyncFileInfo::numberFromVersion(newline < 0 ? QString() : text.mid(newline + 1));
    TINTERA_FUZZ_CHECK(std::isfinite(first) && std::isfinite(second), "a version number is finite");
    (void)(first > second);

    const QDateTime versionDate = VLSyncFileInfo::dateFromVersionDateString(text);
    if (versionDate.isValid())
        (void)versionDate.toString(Qt::ISODate);
    (void)vlLeadingIntegerValue(text);
    (void)vlReplyBodyText(bytes);
    (void)vlReplyASCIIText(bytes);

    readCaptureTime(text.toDouble());
    if (size >= sizeof(double)) {
        double raw = 0;
        std::memcpy(&raw, data, sizeof raw);
        readCaptureTime(raw);
    }
    tinteraFuzzDrainEvents();
    return 0;
}
