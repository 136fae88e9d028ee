#pragma once

class QCoreApplication;

// Ends the event loop when the process is asked to stop (SIGTERM, SIGINT, SIGHUP), so that the
// normal shutdown runs: the demo's emulators stop and its temporary folder goes. The handler only
// writes one byte to a socket; the quit happens on the main thread.
void vlQuitOnTerminationSignals(QCoreApplication *application);
