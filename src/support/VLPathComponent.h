#pragma once

#include <QString>

// True when the name can be used as exactly one entry inside a folder: not empty, not "." or "..",
// no separators, no NUL or control characters, at most 255 bytes. Names that arrive from the
// service or the device go through this before they become part of a path.
bool vlIsPlainPathComponent(const QString &name);
