#include "VLMatchesRead.h"

#include "VLSecondsSince1970.h"

#include <QHash>

size_t qHash(const VLCaptureKey &key, size_t seed)
{
    return qHashMulti(seed, key.capturedAtMsecs, key.deviceFileID, key.colorID);
}

namespace {

VLMatchesReadHandler &handler()
{
    static VLMatchesReadHandler installed;
    return installed;
}

} // namespace

std::optional<VLCaptureKey> vlCaptureKey(double secondsSince1970, const QString &deviceFileID, const QString &colorID)
{
    const QDateTime date = vlDateFromSecondsSince1970(secondsSince1970);
    if (!date.isValid())
        return std::nullopt;
    return VLCaptureKey{date.toMSecsSinceEpoch(), deviceFileID, colorID};
}

std::optional<VLCaptureKey> vlCaptureKey(const VLMatchRecord &record)
{
    if (!record.captureDate.isValid())
        return std::nullopt;
    return VLCaptureKey{record.captureDate.toMSecsSinceEpoch(), record.deviceFileID, record.colorID};
}

void vlSetMatchesReadHandler(VLMatchesReadHandler newHandler)
{
    handler() = std::move(newHandler);
}

void vlMatchesWereRead(const VLMatchesRead &read)
{
    if (handler())
        handler()(read);
}
