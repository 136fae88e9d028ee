#include "VLSingleInstance.h"

#include <sys/socket.h>
#include <unistd.h>

// The kernel records the peer's credentials when the connection is made: a process cannot claim
// another user's.
bool vlPeerIsSameUser(qintptr socketDescriptor)
{
    struct ucred credentials = {};
    socklen_t length = sizeof credentials;
    if (::getsockopt(int(socketDescriptor), SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0
        || length != sizeof credentials)
        return false;
    return credentials.uid == ::geteuid();
}
