#include "VLDescription.h"

#include <QDateTime>
#include <QStringList>
#include <QTimeZone>
#include <QUrl>

namespace {

QString indent(int level)
{
    return QString(level * 4, QLatin1Char(' '));
}

// Strings that are not a plain word are quoted, as a property-list description would.
QString quotedIfNeeded(const QString &text)
{
    if (text.isEmpty())
        return QStringLiteral("\"\"");
    for (QChar c : text) {
        if (!(c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.') || c == QLatin1Char('/')))
            return QLatin1Char('"') + QString(text).replace(QLatin1Char('"'), QStringLiteral("\\\"")) + QLatin1Char('"');
    }
    return text;
}

QString describe(const QVariant &value, int level, bool nested)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QString out = QStringLiteral("{\n");
        for (auto it = map.constBegin(); it != map.constEnd(); ++it)
            out += indent(level + 1) + quotedIfNeeded(it.key()) + QStringLiteral(" = ")
                + describe(it.value(), level + 1, true) + QStringLiteral(";\n");
        return out + indent(level) + QLatin1Char('}');
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        QString out = QStringLiteral("(\n");
        for (qsizetype i = 0; i < list.size(); ++i)
            out += indent(level + 1) + describe(list.at(i), level + 1, true)
                + (i + 1 < list.size() ? QStringLiteral(",\n") : QStringLiteral("\n"));
        return out + indent(level) + QLatin1Char(')');
    }
    case QMetaType::QByteArray:
        return QLatin1Char('<') + QString::fromLatin1(value.toByteArray().toHex()) + QLatin1Char('>');
    case QMetaType::QDateTime:
        return value.toDateTime().toTimeZone(QTimeZone::utc()).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::QUrl:
        return value.toUrl().toString();
    case QMetaType::UnknownType:
        return QStringLiteral("(null)");
    case QMetaType::QString:
        return nested ? quotedIfNeeded(value.toString()) : value.toString();
    default:
        return value.toString();
    }
}

} // namespace

QString vlDescribe(const QVariant &value)
{
    return describe(value, 0, false);
}
