#pragma once

#include "VLSyncFileInfo.h"
#include "VLSyncRunReport.h"

#include <QHash>
#include <QList>
#include <QSharedPointer>
#include <QString>

#include <optional>

class KDMeasurement;

// One run of a sync manager, from beginRun to endRun: what its steps hand each other, the report of
// what it did, and which step set each of its outstanding operations going.
//
// Operations are known by whatever answers later (the session, a queue, a download, a command).
// An answer counts only while its run still knows its source: once the run has ended it knows
// none, so a late answer from an ended run finds nothing to act for, and the manager lets it go.
// An answer from an earlier step of the same run is still handled, but does not move the steps on.
class VLSyncRun
{
public:
    using Step = quint64;

    VLSyncRun(bool preliminary, Step firstStep);

    // Each step gets a token no other step of any run has had.
    Step step() const { return m_step; }
    Step beginStep() { return ++m_step; }

    void startOperation(const void *source, Step step);
    // The step that set `source` going, or none after the end of the run.
    std::optional<Step> stepOfOperation(const void *source) const;
    // The same for a source that answers once (a device command), which is forgotten.
    std::optional<Step> takeOperation(const void *source);

    bool hasEnded() const { return report.hasEnded(); }
    // Moves past the last step, so nothing of the run can advance it any more, and closes the
    // report. What its operations still report while the manager winds them down is heard.
    void end(VLSyncRunReport::Ending ending);
    // After that, nothing of them is.
    void forgetOperations() { m_operations.clear(); }

    // ---- what steps hand later steps ----
    QList<QSharedPointer<KDMeasurement>> latestMatches; // read by step 9, exported by step 26
    // Uploaded by step 20, enabled by step 23. Deliberately not reset by a run that uploads nothing:
    // see VLSyncManager::beginRun.
    VLSyncFileList fandecksToEnableAfterReboot;
    bool needsRebootAfterSync = false;             // set by the queues' answers, read by step 21
    VLSyncFileInfoPtr deviceSettingsBeingApplied;  // step 24, until the device has answered
    QString storedDeviceFileIDToSetAsPrefered;     // step 24: the preferred fandeck of those settings
    bool stalled = false;                          // the stall watchdog stopped the run

    VLSyncRunReport report;

private:
    Step m_step;
    QHash<const void *, Step> m_operations;
};

// A file as a report names it.
VLSyncRunReport::File vlSyncRunReportFile(const VLSyncFileInfoPtr &file);
