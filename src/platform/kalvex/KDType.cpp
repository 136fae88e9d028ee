#include "KDType.h"

#include "KXObject.h"

namespace {

constexpr int kMaxDepth = 256;

QVariant toObject(KXTypeRef value, int depth)
{
    if (!value || depth > kMaxDepth)
        return {};
    switch (KXGetTypeID(value)) {
    case KXDataTypeID: {
        const auto *data = static_cast<const KXData *>(value);
        return QByteArray(reinterpret_cast<const char *>(data->bytePtr()), qsizetype(data->length()));
    }
    case KXStringTypeID:
        return static_cast<const KXString *>(value)->text;
    case KXNumberTypeID: {
        const auto *number = static_cast<const KXNumber *>(value);
        return number->isInteger ? QVariant(number->integer) : QVariant(number->real);
    }
    case KXBooleanTypeID:
        return static_cast<const KXBoolean *>(value)->flag;
    case KXDateTypeID:
        return static_cast<const KXDate *>(value)->when;
    case KXArrayTypeID: {
        QVariantList list;
        for (KXTypeRef element : static_cast<const KXArray *>(value)->values)
            list.append(toObject(element, depth + 1));
        return list;
    }
    case KXDictionaryTypeID: {
        QVariantMap map;
        for (const auto &[key, element] : static_cast<const KXDictionary *>(value)->entries)
            map.insert(key->text, toObject(element, depth + 1));
        return map;
    }
    case KXDeviceCommandTypeID:
    case KXInvalidTypeID:
        break;
    }
    return {};
}

KXTypeRef fromObject(const QVariant &object, int depth)
{
    if (depth > kMaxDepth)
        return nullptr;
    switch (object.typeId()) {
    case QMetaType::QString:
        return new KXString(object.toString());
    case QMetaType::QByteArray:
        return kxDataCreateWithByteArray(object.toByteArray());
    case QMetaType::Bool:
        return new KXBoolean(object.toBool());
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return new KXNumber(object.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return new KXNumber(object.toDouble());
    case QMetaType::QDateTime:
        return new KXDate(object.toDateTime());
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        auto *array = new KXArray;
        const QVariantList list = object.toList();
        for (const QVariant &element : list) {
            KXTypeRef converted = fromObject(element, depth + 1);
            if (!converted) {
                KXRelease(array);
                return nullptr;
            }
            array->values.append(converted);
        }
        return array;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        auto *dictionary = new KXDictionary;
        const QVariantMap map = object.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
            KXTypeRef converted = fromObject(it.value(), depth + 1);
            if (!converted) {
                KXRelease(dictionary);
                return nullptr;
            }
            dictionary->entries.append({new KXString(it.key()), converted});
        }
        return dictionary;
    }
    default:
        return nullptr;
    }
}

} // namespace

QVariant KDType::objectForKXType(KXTypeRef value)
{
    return toObject(value, 0);
}

KXTypeRef KDType::KXTypeCreateWithObject(const QVariant &object)
{
    return fromObject(object, 0);
}
