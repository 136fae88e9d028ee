#pragma once

#include <QString>

// Registers or unregisters the program to start when the user logs in, under an identifier of
// its own. True when the registration is as asked afterwards.
bool vlLoginItemSetEnabled(const QString &identifier, bool enabled);
// Whether the login item with that identifier is registered.
bool vlLoginItemIsEnabled(const QString &identifier);
// Where the registration lives (the XDG autostart entry on Linux).
QString vlLoginItemPath(const QString &identifier);
