#include "VLQuitOnSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int s_signalSockets[2] = {-1, -1};

void onTerminationSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_signalSockets[1], &byte, 1);
}

} // namespace

void vlQuitOnTerminationSignals(QCoreApplication *application)
{
    if (s_signalSockets[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM, 0, s_signalSockets) != 0)
        return;
    auto *notifier = new QSocketNotifier(s_signalSockets[0], QSocketNotifier::Read, application);
    QObject::connect(notifier, &QSocketNotifier::activated, application, [notifier] {
        char byte = 0;
        [[maybe_unused]] const ssize_t read = ::read(s_signalSockets[0], &byte, 1);
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}
