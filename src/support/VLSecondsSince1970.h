#pragma once

#include <QDateTime>

// The UTC date of a count of seconds since 1970-01-01 00:00:00 UTC, as devices report capture times.
// An invalid date for counts that are not finite or fall outside the years 1 to 9999, the dates a
// document can carry in ISO 8601 form; converting those would be undefined or give an empty text.
QDateTime vlDateFromSecondsSince1970(double seconds);
