#pragma once

#include "VLDescription.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <concepts>
#include <memory>
#include <type_traits>

// printf-style formatting with "%@" for an object's description, over typed arguments: each
// argument is turned into a QVariant first, so a mismatched conversion can never read garbage.
QString vlFormatList(const QString &format, const QVariantList &arguments);

template <typename T>
concept VLDescribable = requires(const T &value) {
    { value.description() } -> std::convertible_to<QString>;
};

// Raw, shared and guarded pointers to describable objects; a null one prints "(null)".
template <typename T>
concept VLDescribablePointer = requires(const T &pointer) {
    { pointer->description() } -> std::convertible_to<QString>;
    static_cast<bool>(pointer);
};

template <typename T>
QVariant vlFormatArgument(const T &value)
{
    using U = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<U, bool>)
        return QVariant(value);
    else if constexpr (std::is_enum_v<U>)
        return QVariant(qint64(value));
    else if constexpr (std::is_integral_v<U> && std::is_signed_v<U>)
        return QVariant(qint64(value));
    else if constexpr (std::is_integral_v<U>)
        return QVariant(quint64(value));
    else if constexpr (std::is_floating_point_v<U>)
        return QVariant(double(value));
    else if constexpr (std::is_same_v<U, const char *> || std::is_same_v<U, char *>)
        return value ? QVariant(QString::fromUtf8(value)) : QVariant();
    else if constexpr (std::is_array_v<U>)
        return QVariant(QString::fromUtf8(value));
    else if constexpr (std::is_same_v<U, QVariant>)
        return value;
    else if constexpr (VLDescribable<U>)
        return QVariant(value.description());
    else if constexpr (VLDescribablePointer<U>)
        return value ? QVariant(value->description()) : QVariant();
    else
        return QVariant::fromValue(value);
}

template <typename... A>
QString vlFormat(const QString &format, const A &...arguments)
{
    return vlFormatList(format, QVariantList{vlFormatArgument(arguments)...});
}
