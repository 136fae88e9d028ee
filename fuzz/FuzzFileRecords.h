#pragma once

#include "VLSyncFileInfo.h"

// Reads every property of file records from outside and runs the inventory's decisions over them,
// as the service's, the device's and the local lists, the way a sync does.
void tinteraFuzzExerciseFileRecords(const VLSyncFileList &files);
