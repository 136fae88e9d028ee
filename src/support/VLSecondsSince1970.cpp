#include "VLSecondsSince1970.h"

#include <QTimeZone>

#include <cmath>

namespace {
constexpr double kFirstSecond = -62135596800.0; // 0001-01-01T00:00:00Z
constexpr double kLastSecond = 253402300799.0;  // 9999-12-31T23:59:59Z
} // namespace

QDateTime vlDateFromSecondsSince1970(double seconds)
{
    if (!std::isfinite(seconds) || seconds < kFirstSecond || seconds > kLastSecond)
        return {};
    return QDateTime::fromMSecsSinceEpoch(qint64(std::floor(seconds * 1000.0)), QTimeZone::utc());
}
