#include "VLURLScheme.h"

const QString VLSyncURLScheme = QStringLiteral("x-tintera-sync");

QString vlURLSchemeAsWritten(const QString &url)
{
    const QString text = url.trimmed();
    const qsizetype colon = text.indexOf(QLatin1Char(':'));
    if (colon <= 0)
        return {};
    // RFC 3986: ALPHA *( ALPHA / DIGIT / "+" / "-" / "." )
    for (qsizetype i = 0; i < colon; ++i) {
        const QChar c = text.at(i);
        const bool letter = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) || (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
        const bool other = (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('+')
            || c == QLatin1Char('-') || c == QLatin1Char('.');
        if (!letter && (i == 0 || !other))
            return {};
    }
    return text.left(colon);
}

bool vlIsSyncURL(const QString &url)
{
    return vlURLSchemeAsWritten(url) == VLSyncURLScheme;
}
