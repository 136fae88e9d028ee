#pragma once

#include "VLError.h"

#include <QString>

// Errors the emulated device answers with (its own domain; the framework passes them on unchanged).
inline const QString DevsimErrorDomain = QStringLiteral("KDDeviceErrorDomain");

enum DevsimErrorCode : qint64 {
    DevsimErrorUnknownCommand = 100,
    DevsimErrorBadArgument = 101,
    DevsimErrorMissingData = 102,
    DevsimErrorByteLengthMismatch = 103,
    DevsimErrorNotEnoughSpace = 104,
    DevsimErrorNoSuchFile = 105,
    DevsimErrorNotAFandeck = 106,
    DevsimErrorNotABitmap = 107,
    DevsimErrorStorageFailed = 108,
};

inline VLError devsimError(DevsimErrorCode code, const QString &text)
{
    return VLError(DevsimErrorDomain, code, text);
}
