#include "HBCxfNames.h"

#include <QHash>
#include <QStringList>

namespace {

const QHash<QString, QString> &tagNamesByKey()
{
    static const QHash<QString, QString> names = {
        {HBColorNumberAttributeKey, QStringLiteral("ColorNumber")},
    };
    return names;
}

} // namespace

QString hbTagNameForAttributeKey(const QString &key)
{
    return tagNamesByKey().value(key, key);
}

QString hbAttributeKeyForTagName(const QString &tagName)
{
    static const QHash<QString, QString> keys = [] {
        QHash<QString, QString> reverse;
        for (auto it = tagNamesByKey().cbegin(); it != tagNamesByKey().cend(); ++it)
            reverse.insert(it.value(), it.key());
        return reverse;
    }();
    return keys.value(tagName, tagName);
}

int hbObserverTypeForCxfObserver(const QByteArray &observer)
{
    if (observer == "2_Degree")
        return HBObserverTypeCIE1931TwoDegree;
    if (observer == "10_Degree")
        return HBObserverTypeCIE1964TenDegree;
    return -1;
}

const char *hbCxfObserverForObserverType(int observerType)
{
    switch (observerType) {
    case HBObserverTypeCIE1931TwoDegree:
        return "2_Degree";
    case HBObserverTypeCIE1964TenDegree:
        return "10_Degree";
    default:
        return nullptr;
    }
}

int hbMeasurementTypeForCxfIllumination(const QByteArray &illumination)
{
    static const QByteArray names[] = {"M0_Incandescent", "M1_Daylight", "M2_UVExcluded", "M3_Polarized"};
    for (int code = 0; code < 4; ++code) {
        if (illumination == names[code])
            return code;
    }
    return -1;
}

const char *hbCxfIlluminationForMeasurementType(int measurementType)
{
    static const char *const names[] = {"M0_Incandescent", "M1_Daylight", "M2_UVExcluded", "M3_Polarized"};
    return measurementType >= 0 && measurementType < 4 ? names[measurementType] : nullptr;
}

bool hbIsCxfIlluminant(const QString &illuminant)
{
    static const QStringList names = {
        QStringLiteral("A"),    QStringLiteral("B"),    QStringLiteral("C"),    QStringLiteral("D50"),
        QStringLiteral("D55"),  QStringLiteral("D60"),  QStringLiteral("D65"),  QStringLiteral("D75"),
        QStringLiteral("E"),    QStringLiteral("F2"),   QStringLiteral("F3"),   QStringLiteral("F7"),
        QStringLiteral("F9"),   QStringLiteral("F10"),  QStringLiteral("F11"),  QStringLiteral("F12"),
        QStringLiteral("9300"), QStringLiteral("TL84"), QStringLiteral("TL83"), QStringLiteral("UL30"),
        QStringLiteral("UL35"), QStringLiteral("UL50"), QStringLiteral("Custom")};
    return names.contains(illuminant);
}

bool hbIsCxfMethod(const QString &method)
{
    return method == QLatin1String("E308_Table5") || method == QLatin1String("E308_Table6") ||
           method == QLatin1String("E308_1nm") || method == QLatin1String("unknown");
}

bool hbIsCxfSingleAngleConfiguration(const QString &configuration)
{
    return configuration == QLatin1String("Annular") || configuration == QLatin1String("Uniplanar");
}

bool hbIsCxfWavelengthIncrement(int increment)
{
    return increment == 1 || increment == 2 || increment == 5 || increment == 10 || increment == 20;
}
