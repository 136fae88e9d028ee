#include "LinkProfile.h"

#include <QList>

namespace {

constexpr qint64 kMegabitPerSecond = 1000 * 1000 / 8;

QList<LinkProfile> profiles()
{
    using Side = LinkProfile::Side;
    // USB full speed carries about 1 MB/s of payload once framing and polling are paid, and a
    // command waits for the next 1 ms frame; high speed about 30 MB/s with 125 us microframes.
    // DSL and mobile: typical subscriber lines, with their slower upstream.
    return {
        LinkProfile{QStringLiteral("loopback"), Side::Any, 0, 0, 0, 0},
        LinkProfile{QStringLiteral("usb-full-speed"), Side::Device, 1000 * 1000, 1000 * 1000, 1000, 0.05},
        LinkProfile{QStringLiteral("usb-high-speed"), Side::Device, 30 * 1000 * 1000, 30 * 1000 * 1000, 200, 0.05},
        LinkProfile{QStringLiteral("dsl"), Side::Service, 16 * kMegabitPerSecond, 1 * kMegabitPerSecond, 30000, 0.1},
        LinkProfile{QStringLiteral("mobile"), Side::Service, 5 * kMegabitPerSecond, 2 * kMegabitPerSecond, 80000, 0.25},
    };
}

} // namespace

qint64 LinkProfile::transferMicros(qint64 bytes, qint64 bytesPerSecond)
{
    if (bytesPerSecond <= 0 || bytes <= 0)
        return 0;
    // Rounded up: a byte has not arrived until all of it has.
    return (bytes * 1000000 + bytesPerSecond - 1) / bytesPerSecond;
}

qint64 LinkProfile::exchangeMicros(qint64 upBytes, qint64 downBytes) const
{
    return roundTripMicros + transferMicros(upBytes, upBytesPerSecond) + transferMicros(downBytes, downBytesPerSecond);
}

std::optional<LinkProfile> LinkProfile::named(const QString &name)
{
    const QList<LinkProfile> all = profiles();
    for (const LinkProfile &profile : all) {
        if (profile.name == name)
            return profile;
    }
    return std::nullopt;
}

QStringList LinkProfile::names()
{
    QStringList names;
    const QList<LinkProfile> all = profiles();
    for (const LinkProfile &profile : all)
        names << profile.name;
    return names;
}

QString LinkProfile::description() const
{
    if (isLoopback())
        return name + QStringLiteral(" (unshaped)");
    auto rate = [](qint64 bytesPerSecond) {
        return bytesPerSecond <= 0 ? QStringLiteral("unlimited")
                                   : QStringLiteral("%1 kB/s").arg(double(bytesPerSecond) / 1000.0, 0, 'f', 0);
    };
    return QStringLiteral("%1 (%2 down, %3 up, %4 ms round trip)")
        .arg(name, rate(downBytesPerSecond), rate(upBytesPerSecond))
        .arg(double(roundTripMicros) / 1000.0, 0, 'g', 3);
}

std::optional<LinkSetting> LinkSetting::parse(const QString &text, QString *error)
{
    auto fail = [error](const QString &message) -> std::optional<LinkSetting> {
        if (error)
            *error = message;
        return std::nullopt;
    };
    const QStringList parts = text.split(QLatin1Char('+'));
    if (parts.size() > 2)
        return fail(QStringLiteral("\"%1\": at most one device link and one service link").arg(text));
    QList<LinkProfile> named;
    for (const QString &part : parts) {
        const std::optional<LinkProfile> profile = LinkProfile::named(part.trimmed());
        if (!profile)
            return fail(QStringLiteral("unknown link \"%1\" (known: %2)").arg(part.trimmed(), LinkProfile::names().join(QStringLiteral(", "))));
        named << *profile;
    }
    LinkSetting setting;
    if (named.size() == 2) {
        if (named[0].side == LinkProfile::Side::Service || named[1].side == LinkProfile::Side::Device)
            return fail(QStringLiteral("\"%1\": the device's link comes first, then the service's").arg(text));
        setting.device = named[0];
        setting.service = named[1];
        return setting;
    }
    if (named[0].side != LinkProfile::Side::Service)
        setting.device = named[0];
    if (named[0].side != LinkProfile::Side::Device)
        setting.service = named[0];
    return setting;
}

QString LinkSetting::name() const
{
    if (device.name == service.name)
        return device.name;
    return device.name + QLatin1Char('+') + service.name;
}
