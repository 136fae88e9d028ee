#include "VLDescription.h"

#include <QDateTime>
#include <QStringList>
#include <QTimeZone>
#include <QUrl>

#include <algorithm>

namespace {

// Everything is appended to one string: a reply of many records is described in one pass, without
// copying each nested level's text into its parent again.
void appendIndent(QString &out, int level)
{
    out.resize(out.size() + level * 4, QLatin1Char(' '));
}

// Strings that are not a plain word are quoted, as a property-list description would.
void appendQuotedIfNeeded(QString &out, const QString &text)
{
    const bool plain = !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.') || c == QLatin1Char('/');
    });
    if (plain) {
        out += text;
        return;
    }
    out += QLatin1Char('"');
    for (QChar c : text) {
        if (c == QLatin1Char('"'))
            out += QLatin1Char('\\');
        out += c;
    }
    out += QLatin1Char('"');
}

void describe(QString &out, const QVariant &value, int level, bool nested)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        out += QLatin1String("{\n");
        for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
            appendIndent(out, level + 1);
            appendQuotedIfNeeded(out, it.key());
            out += QLatin1String(" = ");
            describe(out, it.value(), level + 1, true);
            out += QLatin1String(";\n");
        }
        appendIndent(out, level);
        out += QLatin1Char('}');
        return;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        out += QLatin1String("(\n");
        for (qsizetype i = 0; i < list.size(); ++i) {
            appendIndent(out, level + 1);
            describe(out, list.at(i), level + 1, true);
            out += i + 1 < list.size() ? QLatin1String(",\n") : QLatin1String("\n");
        }
        appendIndent(out, level);
        out += QLatin1Char(')');
        return;
    }
    case QMetaType::QByteArray:
        out += QLatin1Char('<') + QString::fromLatin1(value.toByteArray().toHex()) + QLatin1Char('>');
        return;
    case QMetaType::QDateTime:
        out += value.toDateTime().toTimeZone(QTimeZone::utc()).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
        return;
    case QMetaType::Bool:
        out += value.toBool() ? QLatin1Char('1') : QLatin1Char('0');
        return;
    case QMetaType::QUrl:
        out += value.toUrl().toString();
        return;
    case QMetaType::UnknownType:
        out += QLatin1String("(null)");
        return;
    case QMetaType::QString:
        if (nested)
            appendQuotedIfNeeded(out, value.toString());
        else
            out += value.toString();
        return;
    default:
        out += value.toString();
        return;
    }
}

} // namespace

QString vlDescribe(const QVariant &value)
{
    QString out;
    describe(out, value, 0, false);
    return out;
}
