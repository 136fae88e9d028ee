#include "VLCapture.h"

#include <QStringList>

QString VLCapture::displayName() const
{
    return vlColourDisplayName(colorNumber, colorName);
}

QString VLCapture::hexColor() const
{
    return QStringLiteral("#%1%2%3")
        .arg(red, 2, 16, QLatin1Char('0'))
        .arg(green, 2, 16, QLatin1Char('0'))
        .arg(blue, 2, 16, QLatin1Char('0'));
}

QString VLCapture::clipboardText() const
{
    return QStringLiteral("%1\t%2\tL*a*b* %3 %4 %5")
        .arg(displayName(), hexColor())
        .arg(L, 0, 'f', 2)
        .arg(a, 0, 'f', 2)
        .arg(b, 0, 'f', 2);
}
