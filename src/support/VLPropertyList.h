#pragma once

#include "VLError.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

// Property lists as QVariant trees: QVariantMap (dictionary), QVariantList (array), QString, bool,
// qint64 (integer), double (real), QDateTime (date) and QByteArray (data). Files are read in XML or
// binary form and written as XML, atomically. This is the only place that talks to libplist.
namespace VLPropertyList {

extern const QString ErrorDomain;
enum ErrorCode : qint64 { ReadFailed = 1, ParseFailed = 2, UnsupportedValue = 3, WriteFailed = 4 };

QVariant fromData(const QByteArray &data, VLError *error = nullptr);
QVariant readFile(const QString &path, VLError *error = nullptr);
// The dictionary at the path; an empty map (and an error) when the file is missing, unreadable,
// not a property list or not a dictionary.
QVariantMap readDictionary(const QString &path, VLError *error = nullptr);

QByteArray toXml(const QVariant &value, VLError *error = nullptr);
QByteArray toBinary(const QVariant &value, VLError *error = nullptr);

// Either way a file is written whole into a fresh file beside the old one and swapped in by one
// rename, so a killed process leaves the old file or the new one. Durable files also reach the
// disk before the call returns. A Replaceable file is one the program can fetch or rebuild again
// (a download's bookkeeping): after a power cut it may be missing or torn, which its readers take
// as absent, and it saves a wait on the disk per file.
enum class Durability { Durable, Replaceable };
bool writeXml(const QString &path, const QVariant &value, VLError *error = nullptr,
              Durability durability = Durability::Durable);

} // namespace VLPropertyList
