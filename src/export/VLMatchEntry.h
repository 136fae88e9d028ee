#pragma once

#include "KDMeasurement.h"

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// One match the device reports, as the sync and the exports read it: the colour it measured and
// what the device recorded with it. The same reading serves the audio-note download, the export's
// document and the fuzzing of the device's answers.
struct VLMatchEntry
{
    HBColorPtr measured;    // null when the record carries no measured colour; then nothing else is read
    QString colorId;        // the fandeck colour matched, by number or by name
    QString deviceFileID;   // the device's identifier of the fandeck it was matched in
    QString audioFileName;  // the note's name on the device; empty without a note
    QVariant textTag;
    QVariant since1970;     // the capture time as the device sent it
    QDateTime date;         // that time, invalid when it is no calendar date

    static VLMatchEntry fromMeasurement(const KDMeasurementPtr &match);

    // The match in the export's match resource: the fandeck it was found in (`fandeckID`, the
    // document's own identifier), the fandeck colour's object identifier and the device's serial
    // number, each left out when absent, as are a date that is not one, the note and the tag.
    QVariantMap exportEntry(const QString &fandeckID, const QVariant &colorObjectID, const QString &serialNumber) const;
};
