#pragma once

#include "KDCommandResponse.h"
#include "KDMeasurement.h"
#include "VLError.h"

#include <QList>
#include <QString>
#include <QStringList>

// The audio notes of the device's matches: which of them the computer lacks, and keeping one the
// device sent. They live in one folder of the data folder, under the names the device gives them.
struct VLAudioNotes
{
    QStringList named;   // every note a match names, in the matches' order, once per match
    QStringList missing; // those of them not yet in the folder, likewise
    QStringList refused; // names that are not one plain file name: they would leave the folder

    static VLAudioNotes ofMatches(const QList<KDMeasurementPtr> &matches, const QString &folder);

    // Keeps the note a "Download" answer carries in `folder`, in place of one of that name, readable
    // by the user alone. An answer that carries no note under a plain name is passed over. Answers
    // whether the note, if any, was written; if not, `error` says why.
    static bool keepDownloadedNote(const KDCommandResponsePtr &response, const QString &folder, VLError *error);
};
