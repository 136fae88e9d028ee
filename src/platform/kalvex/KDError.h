#pragma once

#include "VLError.h"

#include <QString>

// Errors made by the framework itself (the device's own errors keep the device's domain and code).
extern const QString KDErrorDomain;

enum KDErrorCode : qint64 {
    KDErrorDeviceNotAvailable = 1, // not connected, removed, or rebooting
    KDErrorDeviceDisconnected = 2, // the link went away while the command was outstanding
    KDErrorCommandTimedOut = 3,    // the device did not answer within the framework's time limit
    KDErrorBadFrame = 4,           // the device sent something that is not a valid frame
    KDErrorRebootTimedOut = 5,     // the device did not come back from "Reboot" in time
    KDErrorPayloadUnreadable = 6,  // the command's payload file could not be mapped
    KDErrorBadCommand = 7,         // no command, or a command without a name
    KDErrorDeviceFolderRefused = 8, // the device folder is not the user's alone
    KDErrorAnswerTooLarge = 9,     // an answer larger than its command can need (the link is dropped)
    KDErrorCommandTooSlow = 10,    // bytes kept coming, too few to count as progress (the link is dropped)
};

// The device's own errors come in its domain; the codes the program acts on.
extern const QString KDDeviceErrorDomain;
enum KDDeviceErrorCode : qint64 {
    KDDeviceErrorNotEnoughSpace = 104, // the file does not fit in what the device has free
};

VLError kdError(KDErrorCode code, const QString &detail = {});
// The device broke the protocol (unreadable frames, an answer over its bound, a trickle): its link
// is dropped and the device is not taken on again over the same socket.
bool kdIsProtocolError(const VLError &error);
