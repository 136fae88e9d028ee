#pragma once

#include "VLSyncRunReport.h"

#include <QDateTime>
#include <QList>
#include <QString>

// One sync as the history keeps it, read back from the library: what its run report said when
// the run ended, with the device it ran for.
struct VLSyncHistoryEntry
{
    struct Error
    {
        QString domain;
        qint64 code = 0;
        QString description;
    };

    qint64 id = 0;
    QDateTime startedAt; // UTC
    QDateTime endedAt;   // UTC
    QString deviceSerialNumber;
    QString ending; // vlSyncRunEndingName
    QList<VLSyncRunReport::File> installed;
    QList<VLSyncRunReport::File> fandecksEnabled;
    QList<Error> errors;

    // "Velmora Interiors 2.1": what a person calls the file, with its version when it has one.
    static QString fileText(const VLSyncRunReport::File &file);
    // The files, one fileText each, joined with ", ".
    static QString filesText(const QList<VLSyncRunReport::File> &files);
};

using VLSyncHistory = QList<VLSyncHistoryEntry>;
