#include "VLTerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int s_signalSockets[2] = {-1, -1};

void onTerminationSignal(int signal)
{
    const char byte = char(signal);
    [[maybe_unused]] const ssize_t written = ::write(s_signalSockets[1], &byte, 1);
}

} // namespace

void vlHandleTerminationSignals(QObject *context, std::function<void(int signal)> handler)
{
    if (s_signalSockets[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM, 0, s_signalSockets) != 0)
        return;
    auto *notifier = new QSocketNotifier(s_signalSockets[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [handler = std::move(handler)] {
        char byte = 0;
        if (::read(s_signalSockets[0], &byte, 1) == 1)
            handler(int(byte));
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

void vlQuitOnTerminationSignals(QCoreApplication *application)
{
    vlHandleTerminationSignals(application, [](int) { QCoreApplication::quit(); });
}
