#pragma once

#include "TinteraMatchTable.h"
#include "TinteraRunObserver.h"
#include "VLError.h"
#include "VLSyncRunReport.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

struct TinteraInvocation;

// The pieces of --json output that several commands share. Field names are camelCase; a value
// that is not known is null rather than left out.

// {"code": -77, "domain": "...", "message": "..."}
QJsonObject tinteraErrorJson(const VLError &error);
// ISO 8601 in UTC ("2026-11-22T08:03:00Z"), or null for no date.
QJsonValue tinteraDateJson(const QDateTime &date);
// A whole number of bytes from the device's free-space attribute, or null when it is not a number.
QJsonValue tinteraBytesJson(const QString &bytes);
// Text, or null when empty.
QJsonValue tinteraTextJson(const QString &text);
// {"colorId", "fandeck", "lab": {"L", "a", "b"} or null, "tag", "audioNote"}
QJsonObject tinteraMatchRowJson(const TinteraMatchRow &row);
// [{"type", "sku", "description", "version"}], as a run report lists files.
QJsonArray tinteraFilesJson(const QList<VLSyncRunReport::File> &files);

// A sync's progress as JSON lines on the invocation's output, one object per event:
//   {"event": "run", "run": "preliminary"|"sync", "totalSteps": 7}
//   {"event": "step", "run": ..., "step": 8, "totalSteps": 28, "message": "Starting sync..."}
//   {"event": "download", "run": ..., "step": 19, "percent": 25}        (each whole percent)
//   {"event": "error", "run": ..., "step": 21, "fatal": false, "code": ..., "domain": ..., "message": ...}
//   {"event": "stalled", "run": ..., "step": 10, "message": ..., "seconds": 120, "givingUp": false}
class TinteraJsonEvents : public TinteraRunObserver
{
public:
    explicit TinteraJsonEvents(const TinteraInvocation &invocation);

    void runBegan(Run run, int totalSteps, const QString &staleMessage) override;
    void stepChanged(int step, const QString &message) override;
    void downloadProgress(double fraction) override;
    void downloadFinished() override;
    void errorCollected(const VLError &error) override;
    void syncFailed(const VLError &error) override;
    void stalled(int seconds, int step, const QString &message, bool givingUp) override;
    void runEnded() override {}

private:
    QJsonObject event(const char *name) const;
    void error(const VLError &error, bool fatal);

    const TinteraInvocation &m_invocation;
    QString m_run;
    int m_totalSteps = 0;
    int m_step = 0;
    QString m_message;
    int m_percent = -1;
};
