#pragma once

#include "VLError.h"

#include <QString>

// Whoever shows a sync runner's runs: the text display of a terminal or a pipe, or the JSON event
// lines of --json. Told in order: runBegan, then any of the others, then runEnded.
class TinteraRunObserver
{
public:
    enum class Run { Preliminary, Full };

    virtual ~TinteraRunObserver() = default;

    // `staleMessage`: the manager's message left from an earlier run, not this run's.
    virtual void runBegan(Run run, int totalSteps, const QString &staleMessage) = 0;
    virtual void stepChanged(int step, const QString &message) = 0;
    // A fraction of the current file; not finite while the length is unknown.
    virtual void downloadProgress(double fraction) = 0;
    virtual void downloadFinished() = 0;
    // An error the manager collected; the run goes on.
    virtual void errorCollected(const VLError &error) = 0;
    // The manager gave the run up with this error.
    virtual void syncFailed(const VLError &error) = 0;
    // No sign of progress for `seconds` at this step: the runner cancels the run, or, when the
    // cancel went unanswered as long (`givingUp`), stops waiting for it.
    virtual void stalled(int seconds, int step, const QString &message, bool givingUp) = 0;
    virtual void runEnded() = 0;
};

// Shows nothing: runs whose progress nobody asked for (--json output of a single object).
class TinteraQuietObserver : public TinteraRunObserver
{
public:
    void runBegan(Run, int, const QString &) override {}
    void stepChanged(int, const QString &) override {}
    void downloadProgress(double) override {}
    void downloadFinished() override {}
    void errorCollected(const VLError &) override {}
    void syncFailed(const VLError &) override {}
    void stalled(int, int, const QString &, bool) override {}
    void runEnded() override {}
};
