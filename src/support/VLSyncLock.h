#pragma once

#include "VLError.h"

#include <QString>

// One sync per device across processes: the tray and the command line would otherwise both send
// their commands to the same device and leave it half updated. The lock is a file per device in
// the user's runtime folder, held with flock(2) while a run lasts; the kernel lets go of it when
// its holder ends, crashed or not, so a stale file never blocks a later run. The file names its
// holder ("program\npid\n") for the refusal of the others.
class VLSyncLock
{
public:
    VLSyncLock() = default;
    ~VLSyncLock();
    VLSyncLock(const VLSyncLock &) = delete;
    VLSyncLock &operator=(const VLSyncLock &) = delete;

    // Null when this process holds the device's lock now (again, or anew); the refusal naming the
    // holder when another process does. Without a usable runtime folder nothing can be shared,
    // and the run goes on unlocked rather than never. `scope`: where the device was found and
    // where its data goes; the same serial number under another scope is another device (an
    // emulator's, a test's).
    VLError acquire(const QString &serialNumber, const QString &scope);
    void release();
    bool isHeld() const { return m_fd >= 0; }

    // Where the lock files are: the runtime folder's "TINTERA" folder.
    static QString folder();

private:
    int m_fd = -1;
    QString m_serialNumber;
    QString m_fileName;
};
