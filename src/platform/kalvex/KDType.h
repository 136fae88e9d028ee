#pragma once

#include "KXTypes.h"

#include <QVariant>

// Conversion between the framework's values and native values: strings (QString), numbers (qint64
// or double), booleans, dates (QDateTime), data (QByteArray), arrays (QVariantList) and dictionaries
// (QVariantMap with string keys).
class KDType
{
public:
    // An invalid QVariant for null or for the device-command handle.
    static QVariant objectForKXType(KXTypeRef value);
    // A new value the caller owns; null for a native value without a framework form.
    static KXTypeRef KXTypeCreateWithObject(const QVariant &object);
};
