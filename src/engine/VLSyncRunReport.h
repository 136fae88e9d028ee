#pragma once

#include "VLError.h"

#include <QDateTime>
#include <QList>
#include <QString>

struct VLMatchRecord;

// What one run of a sync manager did, as the engine saw it happen: built while the run goes and
// complete once it has ended. Front ends print it; nobody has to work it out from what is left on
// disk or in the inventory afterwards.
struct VLSyncRunReport
{
    enum class Ending {
        Running,    // not ended yet
        Completed,  // every step ran (errors, if any, are listed)
        Failed,     // the run was given up: no network
        Cancelled,  // the user, or the device's own cancel code
        Stalled,    // cancelled for want of progress
        DeviceGone, // the device went away during the run
        Refused,    // another program syncs the device: nothing was touched (the reason is the error)
    };

    // One file as the run handled it, with the version it handled.
    struct File
    {
        QString fileType;
        QString fileID;
        QString SKU;
        QString description;
        QString versionString;
    };

    VLSyncRunReport();
    VLSyncRunReport(const VLSyncRunReport &other);
    VLSyncRunReport &operator=(const VLSyncRunReport &other);
    ~VLSyncRunReport();

    bool preliminary = false; // the run that only gathers the inventories (steps 1 to 7)
    QDateTime began;
    QDateTime ended;
    Ending ending = Ending::Running;

    QList<File> downloaded;      // fetched from the service and installed in the computer's store
    QList<File> installed;       // put on the device (and answered by it)
    QList<File> fandecksEnabled; // enabled on the device
    QList<File> settingsApplied; // device settings the device confirmed, preferred fandeck included
    qsizetype matchesFound = 0;  // captures the device held when the export step began
    // Written to the measurements document, in order (whoever reads them includes VLMatchRecord.h).
    QList<VLMatchRecord> matchesExported;
    QList<VLError> errors;       // every error collected during the run, in order

    bool hasEnded() const { return ending != Ending::Running; }
    // Cancelled, whatever cancelled it.
    bool wasCancelled() const
    {
        return ending == Ending::Cancelled || ending == Ending::Stalled || ending == Ending::DeviceGone;
    }
    qint64 milliseconds() const;
};

// What the run put on the device, as a person reads it: "firmware 2.5, Velmora Interiors 1.1", the
// first `named` of them and then "and N more"; empty when it installed nothing.
QString vlSyncRunInstalledList(const VLSyncRunReport &report, qsizetype named = 4);

// "running", "completed", "failed", "cancelled", "stalled", "deviceGone", "refused".
QString vlSyncRunEndingName(VLSyncRunReport::Ending ending);
