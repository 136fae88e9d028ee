#pragma once

#include "VLMatchRecord.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

// One capture as the device told it, whether or not it could be matched to a fandeck colour: its
// capture time (milliseconds since 1970, UTC), its fandeck's device file id and colour id.
struct VLCaptureKey
{
    qint64 capturedAtMsecs = 0;
    QString deviceFileID;
    QString colorID;
    bool operator==(const VLCaptureKey &other) const = default;
};
size_t qHash(const VLCaptureKey &key, size_t seed = 0);

// What one sync or export read from a device: every capture it holds (the read is always the
// whole list), the ones that resolved to a fandeck colour as records, and where their audio notes
// were fetched to.
struct VLMatchesRead
{
    QString deviceSerialNumber;
    QList<VLCaptureKey> capturesOnDevice;
    VLMatchRecordList records;
    QString audioFolder;
    bool inSync = false; // a sync's export step, else a user's export
};

// The key of a capture; none when the device gave no capture time that is a date.
std::optional<VLCaptureKey> vlCaptureKey(double secondsSince1970, const QString &deviceFileID, const QString &colorID);
std::optional<VLCaptureKey> vlCaptureKey(const VLMatchRecord &record);

// Where the matches go once an export has read them: a front end that keeps them (the measurement
// library) installs a handler at start; without one they are not kept. Main thread only.
using VLMatchesReadHandler = std::function<void(const VLMatchesRead &read)>;
void vlSetMatchesReadHandler(VLMatchesReadHandler handler);
void vlMatchesWereRead(const VLMatchesRead &read);
