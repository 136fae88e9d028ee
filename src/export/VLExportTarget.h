#pragma once

#include "VLError.h"

#include <QString>

// A user's file is replaced only with their consent: an export finds out where it will write
// before it writes anything, and a failure names the file or the folder and the system's reason.
extern const QString VLExportTargetErrorDomain;
enum VLExportTargetError : qint64 {
    VLExportTargetExists = 1, // the document is there already; userInfo "path" names it
    VLExportTargetFolderUnusable = 2,
};

// Makes the document's folder (with an "Audio" folder inside when notes travel) and checks that
// it can be written in. Null when the export may go ahead.
VLError vlPrepareExportTarget(const QString &documentPath, bool withAudioFolder, bool replaceExisting);
