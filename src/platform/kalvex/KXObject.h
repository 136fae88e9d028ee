#pragma once

// Inside of the value layer: the object layout behind the opaque references of KXTypes.h.
// Only the framework's own files include this.

#include "KXTypes.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QList>
#include <QString>

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

struct KXObject
{
    explicit KXObject(KXTypeID id) : typeID(id) {}
    virtual ~KXObject() = default;
    KXObject(const KXObject &) = delete;
    KXObject &operator=(const KXObject &) = delete;

    const KXTypeID typeID;
    mutable std::atomic<KXIndex> retainCount{1};
};

struct KXData final : KXObject
{
    KXData() : KXObject(KXDataTypeID) {}
    ~KXData() override;

    const uint8_t *bytePtr() const;
    KXIndex length() const;

    QByteArray bytes;                 // when the data is held in memory
    std::unique_ptr<QFile> file;      // when it is a mapped file
    uchar *mapped = nullptr;
    qint64 mappedLength = 0;
};

struct KXString final : KXObject
{
    explicit KXString(QString value) : KXObject(KXStringTypeID), text(std::move(value)) {}
    const QString text;
};

// The integer part of a real number, saturated at the 64-bit range (0 for NaN): a device may send
// any real, and converting one outside the range is undefined.
inline qint64 kxIntegerFromReal(double value)
{
    constexpr double kLimit = 9223372036854775808.0; // 2^63
    if (std::isnan(value))
        return 0;
    if (value >= kLimit)
        return std::numeric_limits<qint64>::max();
    if (value < -kLimit)
        return std::numeric_limits<qint64>::min();
    return qint64(value);
}

struct KXNumber final : KXObject
{
    explicit KXNumber(qint64 value) : KXObject(KXNumberTypeID), isInteger(true), integer(value), real(double(value)) {}
    explicit KXNumber(double value)
        : KXObject(KXNumberTypeID), isInteger(false), integer(kxIntegerFromReal(value)), real(value) {}
    const bool isInteger;
    const qint64 integer;
    const double real;
};

struct KXBoolean final : KXObject
{
    explicit KXBoolean(bool value) : KXObject(KXBooleanTypeID), flag(value) {}
    const bool flag;
};

struct KXDate final : KXObject
{
    explicit KXDate(QDateTime value) : KXObject(KXDateTypeID), when(std::move(value)) {}
    const QDateTime when;
};

// Containers own one reference to each element.
struct KXArray final : KXObject
{
    KXArray() : KXObject(KXArrayTypeID) {}
    ~KXArray() override;
    QList<KXTypeRef> values;
};

struct KXDictionary final : KXObject
{
    KXDictionary() : KXObject(KXDictionaryTypeID) {}
    ~KXDictionary() override;
    QList<std::pair<KXStringRef, KXTypeRef>> entries; // keys unique, in insertion order
};

struct KXDeviceCommand final : KXObject
{
    KXDeviceCommand() : KXObject(KXDeviceCommandTypeID) {}
    ~KXDeviceCommand() override;
    KXStringRef name = nullptr;
    KXDictionary *arguments = nullptr;
    KXDataRef data = nullptr;
};

// Checked view of a reference as a given object type; null when the reference is null or of
// another type.
template <typename T, KXTypeID ID>
const T *kxCast(KXTypeRef ref)
{
    const auto *object = static_cast<const KXObject *>(ref);
    return object && object->typeID == ID ? static_cast<const T *>(object) : nullptr;
}

// Puts a new value into a dictionary under construction, taking over the caller's reference to the
// value; an existing entry of the same key is replaced.
void kxDictionarySetValue(KXDictionary *dictionary, const QString &key, KXTypeRef ownedValue);

// Data over a QByteArray without copying it again.
KXDataRef kxDataCreateWithByteArray(const QByteArray &bytes);

// Drops the resident pages of a mapped range that has been consumed, so that streaming a large
// mapped file does not keep it all resident. A no-op for data held in memory.
void kxDataReleaseResidentPages(KXDataRef data, qint64 offset, qint64 length);
// The open file behind data mapped from a file (its bytes start at offset 0 of the file), or -1.
int kxDataFileDescriptor(KXDataRef data);
