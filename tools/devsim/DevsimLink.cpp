#include "DevsimLink.h"

#include "VLPropertyList.h"

#include <QFile>

namespace {
const QString kProfile = QStringLiteral("Profile");
const QString kSeed = QStringLiteral("Seed");
const QString kRebootMilliseconds = QStringLiteral("RebootMilliseconds");
constexpr int kMaxRebootMilliseconds = 10 * 60 * 1000;
} // namespace

DevsimLink DevsimLink::load(const QString &path, const DevsimLink &defaults)
{
    DevsimLink link = defaults;
    if (!QFile::exists(path))
        return link;
    const QVariantMap map = VLPropertyList::readDictionary(path);
    if (const std::optional<LinkProfile> profile = LinkProfile::named(map.value(kProfile).toString()))
        link.profile = *profile;
    bool ok = false;
    const qint64 seed = map.value(kSeed).toLongLong(&ok);
    if (ok)
        link.seed = quint64(seed);
    const qint64 reboot = map.value(kRebootMilliseconds).toLongLong(&ok);
    if (ok && reboot >= 0 && reboot <= kMaxRebootMilliseconds)
        link.rebootMilliseconds = int(reboot);
    return link;
}

bool DevsimLink::save(const QString &path, const DevsimLink &link, VLError *error)
{
    QVariantMap map{{kProfile, link.profile.name}, {kSeed, qint64(link.seed)}};
    if (link.rebootMilliseconds)
        map.insert(kRebootMilliseconds, *link.rebootMilliseconds);
    // Written whole under another name and moved into place: the server's folder watch sees it.
    return VLPropertyList::writeXml(path, map, error);
}
