#include "VLFormat.h"

#include <cstdio>

namespace {

// The conversion spec is assembled from the caller's format, so it cannot be a literal; the
// argument type always matches it because the value is converted to the type the conversion names.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
QString formatted(const QByteArray &spec, const QVariant &value, char conversion)
{
    char buffer[512];
    int n = 0;
    switch (conversion) {
    case 'd':
    case 'i':
        n = std::snprintf(buffer, sizeof buffer, (spec + "lld").constData(), static_cast<long long>(value.toLongLong()));
        break;
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
        const QByteArray full = spec + "ll" + conversion;
        n = std::snprintf(buffer, sizeof buffer, full.constData(), static_cast<unsigned long long>(value.toULongLong()));
        break;
    }
    case 'c':
        return QString(QChar(char16_t(value.toUInt())));
    default: { // f F e E g G a A
        const QByteArray full = spec + conversion;
        n = std::snprintf(buffer, sizeof buffer, full.constData(), value.toDouble());
        break;
    }
    }
    if (n < 0)
        return {};
    return QString::fromLatin1(buffer, qMin(n, int(sizeof buffer) - 1));
}
#pragma GCC diagnostic pop

// Applies a printf width to text conversions (%s, %@), which snprintf cannot do for QString.
QString padded(const QString &text, const QByteArray &spec)
{
    const bool left = spec.contains('-');
    QByteArray digits;
    for (char c : spec.mid(1)) {
        if (c == '.')
            break;
        if (c >= '0' && c <= '9')
            digits += c;
    }
    const int width = digits.toInt();
    if (text.size() >= width)
        return text;
    return left ? text.leftJustified(width) : text.rightJustified(width);
}

} // namespace

QString vlFormatList(const QString &format, const QVariantList &arguments)
{
    QString out;
    out.reserve(format.size() + 32 * arguments.size());
    qsizetype next = 0;
    auto take = [&]() -> QVariant { return next < arguments.size() ? arguments.at(next++) : QVariant(); };

    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != QLatin1Char('%') || i + 1 >= format.size()) {
            out += c;
            continue;
        }
        QByteArray spec("%");
        qsizetype j = i + 1;
        while (j < format.size() && QByteArrayView("-+ #0'").contains(format.at(j).toLatin1()))
            spec += format.at(j++).toLatin1();
        auto readNumber = [&]() {
            if (j < format.size() && format.at(j) == QLatin1Char('*')) {
                spec += QByteArray::number(take().toInt());
                ++j;
                return;
            }
            while (j < format.size() && format.at(j).isDigit())
                spec += format.at(j++).toLatin1();
        };
        readNumber();
        if (j < format.size() && format.at(j) == QLatin1Char('.')) {
            spec += '.';
            ++j;
            readNumber();
        }
        while (j < format.size() && QByteArrayView("hlqLzjt").contains(format.at(j).toLatin1()))
            ++j; // length modifiers: the argument already carries its own width
        if (j >= format.size()) {
            out += format.mid(i);
            break;
        }
        const char conversion = format.at(j).toLatin1();
        switch (conversion) {
        case '%':
            out += QLatin1Char('%');
            break;
        case '@':
        case 's': {
            const QVariant value = take();
            QString text = value.isValid() ? vlDescribe(value) : QStringLiteral("(null)");
            const qsizetype dot = spec.indexOf('.');
            if (conversion == 's' && dot >= 0)
                text.truncate(spec.mid(dot + 1).toInt());
            out += padded(text, spec);
            break;
        }
        case 'd': case 'i': case 'u': case 'x': case 'X': case 'o': case 'c':
        case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': case 'a': case 'A':
            out += formatted(spec, take(), conversion);
            break;
        default: // unknown conversion: keep it as written
            out += format.mid(i, j - i + 1);
            break;
        }
        i = j;
    }
    return out;
}
