#pragma once

#include <QList>
#include <QString>

// What a device served, one line per command, for whoever measures a sync against the least its
// link allows: the command, the bytes that came in and went out for it (whole frames), and the
// time the device itself spent on it, and when it came in (microseconds since 1970). A reboot's
// time away counts as its time.
//
//   traffic.log:  NAME <tab> BYTES-IN <tab> BYTES-OUT <tab> MICROSECONDS <tab> AT <newline>
struct DevsimTrafficEntry
{
    QString command;
    qint64 bytesIn = 0;
    qint64 bytesOut = 0;
    qint64 micros = 0;
    qint64 at = 0;
};

namespace DevsimTraffic {
// Microseconds since 1970, as the log's AT.
qint64 now();
void append(const QString &path, const DevsimTrafficEntry &entry);
QList<DevsimTrafficEntry> read(const QString &path);
} // namespace DevsimTraffic
