#include "VLSingleInstance.h"

#include <QLocalSocket>

#include <unistd.h>

// macOS has no abstract socket namespace: the socket is a file, readable by its user only, that a
// crashed instance leaves behind (VLSingleInstance removes it when nobody answers on it).
void vlConfigureSingleInstanceServer(QLocalServer &server)
{
    server.setSocketOptions(QLocalServer::UserAccessOption);
}

void vlConfigureSingleInstanceSocket(QLocalSocket &)
{
}

bool vlSingleInstanceSocketMayBeStale()
{
    return true;
}

QString vlCurrentUserIdentifier()
{
    return QString::number(::getuid());
}
