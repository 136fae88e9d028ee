#include "ColorNames.h"

#include <numeric>

namespace {

const char *const kFirstWords[] = {
    "Harbour", "Quiet",   "Morning", "Velvet",  "Amber",   "Coastal", "Linen",   "Autumn",  "Silver",  "Olive",
    "Misty",   "Golden",  "Rustic",  "Arctic",  "Desert",  "Garden",  "Copper",  "Ivory",   "Meadow",  "Stone",
    "Twilight", "Summer", "Winter",  "Saffron", "Cedar",   "Heather", "Lagoon",  "Pebble",  "Sunlit",  "Coral",
    "Indigo",  "Juniper", "Maple",   "Orchid",  "Prairie", "Slate",   "Willow",  "Canyon",  "Frosted", "Honey",
    "Lavender", "Moss",   "Nordic",  "Ocean",   "Pearl",   "Rosy",    "Smoky",   "Tidal",
};

const char *const kSecondWords[] = {
    "Mist",   "Clay",    "Dawn",    "Breeze", "Sand",    "Harbour", "Meadow",  "Ember",  "Shore",   "Grove",
    "Stone",  "Haze",    "Petal",   "Ridge",  "Linen",   "Cove",    "Field",   "Glow",   "Bloom",   "Dune",
    "Frost",  "Spice",   "Willow",  "Lake",   "Canvas",  "Terrace", "Garden",  "Orchard", "Trail",  "Veil",
    "Whisper", "Cocoa",  "Lantern", "Pine",   "Quartz",  "River",   "Sage",    "Timber", "Umber",   "Valley",
    "Wheat",  "Bay",     "Cliff",   "Fern",   "Heath",   "Moor",    "Porcelain", "Reed",
};

constexpr qsizetype kFirstCount = sizeof kFirstWords / sizeof kFirstWords[0];
constexpr qsizetype kSecondCount = sizeof kSecondWords / sizeof kSecondWords[0];

} // namespace

qsizetype colorNameCount()
{
    return kFirstCount * kSecondCount;
}

QString colorName(quint64 seed, qsizetype index)
{
    const quint64 count = quint64(colorNameCount());
    // A bijection of [0, count): a stride coprime with count and a seed-chosen offset.
    quint64 stride = 7919 + seed % 1000;
    while (std::gcd(stride, count) != 1)
        ++stride;
    const quint64 slot = (quint64(index) * stride + seed) % count;
    const quint64 first = slot / quint64(kSecondCount);
    const quint64 second = slot % quint64(kSecondCount);
    QString name = QStringLiteral("%1 %2").arg(QLatin1String(kFirstWords[first]), QLatin1String(kSecondWords[second]));
    if (QLatin1String(kFirstWords[first]) == QLatin1String(kSecondWords[second]))
        name = QStringLiteral("Deep %1").arg(QLatin1String(kSecondWords[second]));
    const qsizetype round = index / colorNameCount();
    if (round > 0)
        name += QStringLiteral(" %1").arg(round + 1);
    return name;
}
