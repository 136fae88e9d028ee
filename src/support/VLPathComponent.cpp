#include "VLPathComponent.h"

bool vlIsPlainPathComponent(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return false;
    if (name.toUtf8().size() > 255)
        return false;
    for (QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    }
    return true;
}
