#include "VLSingleInstance.h"

#include <sys/types.h>
#include <unistd.h>

// The kernel records the peer's credentials when the connection is made: a process cannot claim
// another user's.
bool vlPeerIsSameUser(qintptr socketDescriptor)
{
    uid_t uid = 0;
    gid_t gid = 0;
    if (::getpeereid(int(socketDescriptor), &uid, &gid) != 0)
        return false;
    return uid == ::geteuid();
}
