#pragma once

#include "VLSyncRunReport.h"

#include <QString>

// What one sync changed, as the notification at its end tells it.
struct VLSyncSummary
{
    int downloaded = 0;      // files fetched from the service into the computer's store
    int installed = 0;       // files put on the device
    int matchesExported = 0; // matches written to the measurements document
    int errors = 0;
    QString installedNames;  // "firmware 2.5, Velmora Interiors 1.1": said instead of the count
    QString advice;          // what helps with the errors of a run that went to its end
    bool cancelled = false;
    bool stalled = false;

    // What the engine's report of the run says.
    static VLSyncSummary ofReport(const VLSyncRunReport &report);

    // One or two sentences: how the sync ended, then what it changed.
    QString text() const;
};
