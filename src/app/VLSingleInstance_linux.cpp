#include "VLSingleInstance.h"

#include <QLocalSocket>

#include <unistd.h>

// Linux: a socket in the abstract namespace leaves no file behind when the process dies, so there
// is never a stale socket to clean up. Abstract names are per network namespace, not per user:
// the name carries the user id.
void vlConfigureSingleInstanceServer(QLocalServer &server)
{
    server.setSocketOptions(QLocalServer::AbstractNamespaceOption);
}

void vlConfigureSingleInstanceSocket(QLocalSocket &socket)
{
    socket.setSocketOptions(QLocalSocket::AbstractNamespaceOption);
}

bool vlSingleInstanceSocketMayBeStale()
{
    return false;
}

QString vlCurrentUserIdentifier()
{
    return QString::number(::getuid());
}
