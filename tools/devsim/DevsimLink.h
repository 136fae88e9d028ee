#pragma once

#include "LinkProfile.h"
#include "VLError.h"

#include <optional>

// The conditions an emulated device lives in: the link it sits on (a USB profile, or loopback),
// the seed of that link's jitter, and how long a reboot keeps it away. The server starts with
// defaults from its command line; a device's link.plist ("Profile", "Seed", "RebootMilliseconds")
// overrides them while it runs, so a test or a demo can change the conditions mid-way.
struct DevsimLink
{
    LinkProfile profile;
    quint64 seed = 1;
    std::optional<int> rebootMilliseconds; // none: the device's own setting

    // The device's file applied over `defaults`; a missing or unreadable file leaves them as
    // they are, an unknown profile name too.
    static DevsimLink load(const QString &path, const DevsimLink &defaults);
    static bool save(const QString &path, const DevsimLink &link, VLError *error);
};
