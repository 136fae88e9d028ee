#pragma once

#include "VLError.h"

#include <QString>
#include <QtGlobal>

// Where devices offer their sockets: the folder named by KALVEX_DEVICE_DIR, or "kalvex/devices" in
// the user's runtime folder ($XDG_RUNTIME_DIR, else "runtime-<user>" in the temporary folder). Each
// device listens on "<serial number>.sock" there; other names (a leading dot, another extension)
// are not device sockets. Empty with *error when the runtime folder cannot be used.
QString kdDeviceDirectory(VLError *error = nullptr);
// Whoever can put a socket in the device folder is taken for a device, so the folder is used only
// when it is the user's alone: created with mode 0700 when absent (with "kalvex" above it), else it
// must belong to the user and have mode 0700. Otherwise false, and *error names the folder and why.
bool kdPrepareDeviceDirectory(const QString &path, VLError *error);
QString kdDeviceSocketFileName(const QString &serialNumber);
bool kdIsDeviceSocketFileName(const QString &fileName);

// Identity of a file on disk: a socket file replaced by a new one has another identity even when
// its name is the same. All zero when the file does not exist.
struct KDFileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 changeTimeNs = 0;
    bool exists() const { return inode != 0 || device != 0; }
    bool operator==(const KDFileIdentity &) const = default;
};

KDFileIdentity kdFileIdentity(const QString &path);
