#pragma once

#include <QFileDevice>
#include <QString>

// Folders that only their user may enter (owned by the user, mode 0700): the data folder, the
// runtime folder with the single-instance socket, the device folder. Another user who owns such a
// folder, or may enter it, could read what the program keeps there or put sockets and files in it
// that pass for the program's own.

enum class VLWiderPermissions {
    Tighten, // a folder of the user's own that others may enter is set to 0700
    Refuse,  // ... or not used
};

// Creates the folder (and its missing parents) with mode 0700 when absent. An existing one must be
// a folder, not a symbolic link, owned by the user. Empty when the folder can be used, else why
// not, in a sentence naming the folder.
QString vlPreparePrivateFolder(const QString &path, VLWiderPermissions wider);

// $XDG_RUNTIME_DIR, else "runtime-<user>" in the temporary folder (where Qt falls back too),
// prepared as above, a wider one tightened. Empty with *problem when it cannot be used.
QString vlRuntimeFolder(QString *problem);

// The files the program keeps in its private folders.
inline constexpr QFileDevice::Permissions kVLPrivateFilePermissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// Copies a file out of a private folder to a place the user chose: the copy gets the permissions
// new files get (the user's umask), not the private ones of its source. An existing target is
// left alone (false), as QFile::copy does.
bool vlCopyOutOfPrivateFolder(const QString &from, const QString &to);
