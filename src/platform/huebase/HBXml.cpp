#include "HBXml.h"

#include "TSLogger.h"

#include <libxml/parser.h>

#include <mutex>

namespace {

constexpr char16_t kReplacementCharacter = 0xFFFD;

bool isXmlCharacter(char16_t unit)
{
    return unit >= 0x20 ? unit != 0xFFFE && unit != 0xFFFF : unit == 0x9 || unit == 0xA || unit == 0xD;
}

} // namespace

QByteArray hbXmlCharacters(const QString &text, const char *where)
{
    QString cleaned;
    qsizetype replaced = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text.at(i).unicode();
        const bool pair = QChar::isHighSurrogate(unit) && i + 1 < text.size() && QChar::isLowSurrogate(text.at(i + 1).unicode());
        const qsizetype width = pair ? 2 : 1;
        const bool keep = pair || (!QChar::isSurrogate(unit) && isXmlCharacter(unit));
        if (!keep && !replaced)
            cleaned = text.left(i);
        if (!keep) {
            ++replaced;
            cleaned.append(QChar(kReplacementCharacter));
        } else if (replaced) {
            cleaned.append(text.constData() + i, width);
        }
        i += width - 1;
    }
    if (!replaced)
        return text.toUtf8();
    VL_LOG("%s: %lld character(s) that XML cannot carry replaced by U+FFFD in \"%@\"", where, qint64(replaced),
           cleaned);
    return cleaned.toUtf8();
}

QByteArray hbXmlCharacters(const QByteArray &utf8, const char *where)
{
    for (const char byte : utf8) {
        const auto unit = static_cast<unsigned char>(byte);
        if (unit < 0x20 || unit >= 0x7F) // anything but printable ASCII gets the full check
            return hbXmlCharacters(QString::fromUtf8(utf8), where);
    }
    return utf8;
}

bool hbIsNCName(const QString &name)
{
    return !name.isEmpty() && xmlValidateNCName(hbXmlText(name.toUtf8().constData()), 0) == 0;
}

void hbEnsureXmlInitialized()
{
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}

