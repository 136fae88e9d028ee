#pragma once

#include "VLDescription.h"
#include "VLError.h"

#include <QString>
#include <QVariant>

#include <ostream>

// Readable failure messages for the Qt values these tests compare.
inline void PrintTo(const QString &value, std::ostream *out)
{
    *out << '"' << value.toStdString() << '"';
}
inline void PrintTo(const QVariant &value, std::ostream *out)
{
    *out << vlDescribe(value).toStdString();
}
inline void PrintTo(const QVariantMap &value, std::ostream *out)
{
    *out << vlDescribe(value).toStdString();
}
inline void PrintTo(const QVariantList &value, std::ostream *out)
{
    *out << vlDescribe(value).toStdString();
}
inline void PrintTo(const VLError &value, std::ostream *out)
{
    *out << value.description().toStdString();
}
