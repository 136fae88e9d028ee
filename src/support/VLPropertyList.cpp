#include "VLPropertyList.h"

#include "VLBinaryPropertyListCheck.h"
#include "VLPrivateFolder.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>

namespace VLPropertyList {
namespace {

// Property-list dates count seconds from 2001-01-01 00:00:00 UTC.
constexpr qint64 kAppleEpochOffset = 978307200;
// Nesting beyond this is refused rather than risking the stack on hostile input.
constexpr int kMaxDepth = 256;

struct PlistDeleter
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

void setError(VLError *error, ErrorCode code, const QString &text)
{
    if (error)
        *error = VLError(ErrorDomain, code, text);
}

QVariant toVariant(plist_t node, int depth, bool *ok)
{
    if (depth > kMaxDepth) {
        *ok = false;
        return {};
    }
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!value) {
                std::free(key);
                break;
            }
            QVariant converted = toVariant(value, depth + 1, ok);
            map.insert(QString::fromUtf8(key ? key : ""), converted);
            std::free(key);
            if (!*ok)
                break;
        }
        std::free(it);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t n = plist_array_get_size(node);
        list.reserve(qsizetype(n));
        for (uint32_t i = 0; i < n && *ok; ++i)
            list.append(toVariant(plist_array_get_item(node, i), depth + 1, ok));
        return list;
    }
    case PLIST_STRING:
    case PLIST_KEY: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QString::fromUtf8(text, qsizetype(length));
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return bool(value);
    }
    case PLIST_UINT: {
        // libplist keeps every integer as 64 unsigned bits; negative values arrive two's-complement.
        // Signed reading is the useful one here: values beyond 2^63 never occur in this system's data.
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return qint64(value);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 msecs = (qint64(sec) + kAppleEpochOffset) * 1000 + usec / 1000;
        return QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc());
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QByteArray(bytes, qsizetype(length));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return qint64(value);
    }
    default:
        *ok = false;
        return {};
    }
}

plist_t fromVariant(const QVariant &value, int depth, QString *problem)
{
    if (depth > kMaxDepth) {
        *problem = QStringLiteral("nesting too deep");
        return nullptr;
    }
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        PlistPtr dict(plist_new_dict());
        const QVariantMap map = value.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
            plist_t child = fromVariant(it.value(), depth + 1, problem);
            if (!child)
                return nullptr;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), child);
        }
        return dict.release();
    }
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantHash hash = value.toHash();
        for (auto it = hash.constBegin(); it != hash.constEnd(); ++it)
            map.insert(it.key(), it.value());
        return fromVariant(map, depth, problem);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        PlistPtr array(plist_new_array());
        const QVariantList list = value.toList();
        for (const QVariant &item : list) {
            plist_t child = fromVariant(item, depth + 1, problem);
            if (!child)
                return nullptr;
            plist_array_append_item(array.get(), child);
        }
        return array.release();
    }
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return plist_new_uint(uint64_t(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QDateTime:
    case QMetaType::QDate: {
        const QDateTime when = value.toDateTime();
        if (!when.isValid()) {
            *problem = QStringLiteral("invalid date");
            return nullptr;
        }
        // plist_set_date_val in libplist 2.2 corrupts the node; plist_new_date is the safe way.
        const qint64 msecs = when.toMSecsSinceEpoch() - kAppleEpochOffset * 1000;
        qint64 secs = msecs / 1000;
        qint64 rest = msecs % 1000;
        if (rest < 0) {
            rest += 1000;
            --secs;
        }
        if (secs < std::numeric_limits<int32_t>::min() || secs > std::numeric_limits<int32_t>::max()) {
            *problem = QStringLiteral("date out of the property-list range");
            return nullptr;
        }
        return plist_new_date(int32_t(secs), int32_t(rest * 1000));
    }
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    default:
        *problem = QStringLiteral("a value of type %1 has no property-list form")
                       .arg(QString::fromLatin1(value.metaType().name() ? value.metaType().name() : "null"));
        return nullptr;
    }
}

PlistPtr toNode(const QVariant &value, VLError *error)
{
    QString problem;
    PlistPtr node(fromVariant(value, 0, &problem));
    if (!node)
        setError(error, UnsupportedValue, QStringLiteral("Cannot write property list: %1").arg(problem));
    return node;
}

} // namespace

QVariant fromData(const QByteArray &data, VLError *error)
{
    if (data.isEmpty() || data.size() > std::numeric_limits<uint32_t>::max()) {
        setError(error, ParseFailed, QStringLiteral("The property list is empty or too large."));
        return {};
    }
    // libplist must never see a binary list it could abort on; its XML reader refuses such keys itself.
    if (VLBinaryPropertyListCheck::looksBinary(data.constData(), std::size_t(data.size()))) {
        const QString problem = VLBinaryPropertyListCheck::problemWith(data.constData(), std::size_t(data.size()));
        if (!problem.isEmpty()) {
            setError(error, ParseFailed, QStringLiteral("The property list cannot be read: %1.").arg(problem));
            return {};
        }
    }
    plist_t raw = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &raw);
    PlistPtr root(raw);
    if (!root) {
        setError(error, ParseFailed, QStringLiteral("The data is not a property list."));
        return {};
    }
    bool ok = true;
    QVariant result = toVariant(root.get(), 0, &ok);
    if (!ok) {
        setError(error, ParseFailed, QStringLiteral("The property list holds a value that cannot be read."));
        return {};
    }
    return result;
}

QVariant readFile(const QString &path, VLError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, ReadFailed, QStringLiteral("Cannot read %1: %2").arg(path, file.errorString()));
        return {};
    }
    return fromData(file.readAll(), error);
}

QVariantMap readDictionary(const QString &path, VLError *error)
{
    const QVariant value = readFile(path, error);
    if (value.isValid() && value.typeId() != QMetaType::QVariantMap) {
        setError(error, ParseFailed, QStringLiteral("%1 does not hold a dictionary.").arg(path));
        return {};
    }
    return value.toMap();
}

QByteArray toXml(const QVariant &value, VLError *error)
{
    PlistPtr node = toNode(value, error);
    if (!node)
        return {};
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &xml, &length);
    QByteArray result(xml, qsizetype(length));
    plist_to_xml_free(xml);
    return result;
}

QByteArray toBinary(const QVariant &value, VLError *error)
{
    PlistPtr node = toNode(value, error);
    if (!node)
        return {};
    char *bin = nullptr;
    uint32_t length = 0;
    plist_to_bin(node.get(), &bin, &length);
    QByteArray result(bin, qsizetype(length));
    plist_to_bin_free(bin);
    return result;
}

bool writeXml(const QString &path, const QVariant &value, VLError *error, Durability durability)
{
    const QByteArray xml = toXml(value, error);
    if (xml.isEmpty())
        return false;
    if (durability == Durability::Replaceable) {
        // QSaveFile always syncs to disk on commit; this is the same swap without the sync.
        QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
        std::error_code renameError;
        if (file.open() && file.write(xml) == xml.size() && file.flush()) {
            std::filesystem::rename(file.fileName().toStdString(), path.toStdString(), renameError);
            if (!renameError) {
                file.setAutoRemove(false);
                return true;
            }
        }
        setError(error, WriteFailed,
                 QStringLiteral("Cannot write %1: %2")
                     .arg(path, renameError ? QString::fromStdString(renameError.message()) : file.errorString()));
        return false;
    }
    QSaveFile file(path);
    // Private like the temporary file above: property lists hold the user's state.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(kVLPrivateFilePermissions)
        || file.write(xml) != xml.size() || !file.commit()) {
        setError(error, WriteFailed, QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

} // namespace VLPropertyList

namespace VLPropertyList {
const QString ErrorDomain = QStringLiteral("VLPropertyListDomain");
} // namespace VLPropertyList
