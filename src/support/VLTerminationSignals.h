#pragma once

#include <functional>

class QCoreApplication;
class QObject;

// Turns SIGTERM, SIGINT and SIGHUP into calls on the main thread: the signal handler only writes
// the signal's number to a socket, and the handler given here runs from the event loop, once per
// signal received, for as long as the context object lives. Installed once per process.
void vlHandleTerminationSignals(QObject *context, std::function<void(int signal)> handler);

// Ends the event loop when the process is asked to stop, so that the normal shutdown runs (the
// demo's emulators stop and its temporary folder goes).
void vlQuitOnTerminationSignals(QCoreApplication *application);
