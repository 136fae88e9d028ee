#pragma once

#include "VLSyncFileInfo.h"

// The fandeck list as both front ends show it: sorted by description, fandecks without one first
// (as an absent value sorts in an ascending sort), present descriptions compared as plain text.
VLSyncFileList vlFandecksSortedByDescription(const VLSyncFileList &fandecks);
// The description, else the file id, else empty.
QString vlFandeckDisplayName(const VLSyncFileInfoPtr &fandeck);
