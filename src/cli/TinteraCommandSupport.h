#pragma once

#include "KDDevice.h"
#include "TinteraSyncRunner.h"

#include <cstdio>
#include <functional>
#include <memory>

class TinteraDevices;
class TinteraRunObserver;
struct TinteraInvocation;
class VLSyncManager;

// What a command needs to work with a device: the device the invocation names (or the first
// connected), its sync manager, and a runner for its runs that shows progress on `progress` (with
// --json: as event lines when `progress` is the command's output; a stream beside the output, such
// as standard error, only when it is a terminal),
// gives up after the command line's stall limit and cancels on Ctrl-C, SIGTERM and SIGHUP (a
// second signal, or one while no run is under way, ends the program after `beforeForcedExit`).
class TinteraDeviceSession
{
public:
    TinteraDeviceSession(TinteraInvocation &invocation, FILE *progress);
    ~TinteraDeviceSession();

    // False, after saying why, when there is no such device.
    bool open(std::function<void()> beforeForcedExit = {});
    // For a command that only reads: the device when it is connected now; otherwise, at once and
    // saying so, what the computer stored of it (the device named, else the one used last), unless
    // --wait asks to wait for it. False, after saying why, when neither is there.
    bool openForReading();
    // The manager holds what was stored, not a connected device.
    bool isStored() const { return m_stored; }
    VLSyncManager *manager() const { return m_manager; }
    TinteraSyncRunner &runner() { return *m_runner; }

    // The preliminary-info run, as the application runs it when the device arrives; says what
    // went wrong when it did not finish. Its errors only matter to the full sync that follows.
    bool gatherPreliminaryInfo();
    // What the last preliminary-info run collected (a service that was not reached, say).
    const QList<VLError> &preliminaryErrors() const { return m_preliminaryErrors; }

private:
    TinteraInvocation &m_invocation;
    std::unique_ptr<TinteraDevices> m_devices;
    std::unique_ptr<TinteraRunObserver> m_observer;
    VLSyncManager *m_manager = nullptr;
    bool m_stored = false;
    std::unique_ptr<TinteraSyncRunner> m_runner;
    QList<VLError> m_preliminaryErrors;
};

// Prints a finished full sync's errors ("Error code %d, %@") and a one-line summary (with --json:
// the summary object, with what the run downloaded, installed, enabled, applied and exported), all
// from the engine's report of the run, and gives the exit status it stands for.
int tinteraReportSync(TinteraInvocation &invocation, const std::optional<VLSyncRunReport> &report, VLSyncManager *manager);
