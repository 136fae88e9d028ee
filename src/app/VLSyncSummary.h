#pragma once

#include "VLSyncFileInfo.h"

#include <QHash>
#include <QString>

// What one sync changed, as the notification at its end tells it.
struct VLSyncSummary
{
    int downloaded = 0;      // files fetched from the service into the computer's store
    int installed = 0;       // files put on the device
    int matchesExported = 0; // matches written to the measurements document
    int errors = 0;
    bool cancelled = false;
    bool stalled = false;

    // One or two sentences: how the sync ended, then what it changed.
    QString text() const;
};

// The version of every file in a list, by file type and identifier: a file whose entry is new or
// differs after a sync is one the sync brought.
QHash<QString, QString> vlFileVersions(const VLSyncFileList &files);
int vlChangedFileCount(const QHash<QString, QString> &before, const QHash<QString, QString> &after);
