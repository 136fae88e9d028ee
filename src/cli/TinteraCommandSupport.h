#pragma once

#include "KDDevice.h"
#include "TinteraSyncRunner.h"

#include <functional>

class TinteraDevices;
struct TinteraInvocation;
class VLSyncManager;

// The device the invocation names (or the first connected) and its sync manager; prints why not
// and gives null when there is none.
VLSyncManager *tinteraOpenSyncManager(TinteraInvocation &invocation, TinteraDevices &devices);

// Ctrl-C, SIGTERM and SIGHUP cancel the runner's run at once; a second signal (or one while no
// run is under way) ends the program, after `beforeExit`.
void tinteraCancelRunsOnSignals(TinteraSyncRunner *runner, std::function<void()> beforeExit = {});

// The preliminary-info run, as the application runs it when the device arrives; says what went
// wrong when it did not finish. Errors it collects only matter to the full sync that follows.
bool tinteraGatherPreliminaryInfo(TinteraInvocation &invocation, TinteraSyncRunner &runner);

// Prints a finished full sync's errors ("Error code %d, %@") and a one-line summary, and gives
// the exit status it stands for.
int tinteraReportSync(TinteraInvocation &invocation, const TinteraSyncRunner::Outcome &outcome, VLSyncManager *manager);
