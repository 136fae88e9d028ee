#pragma once

#include <QString>
#include <QVariant>

// Human-readable text of a value, in the shape the system's diagnostics use: dictionaries as
// "{\n    key = value;\n}", arrays as "(\n    a,\n    b\n)", data as "<0a1b...>", dates as
// "yyyy-MM-dd HH:mm:ss +0000". Used for "%@" in log formats and for description().
QString vlDescribe(const QVariant &value);
