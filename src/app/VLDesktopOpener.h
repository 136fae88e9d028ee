#pragma once

#include <QObject>
#include <QString>

#include <functional>

// Called once, on the main thread, with whether an application of the desktop took the file.
using VLOpenedHandler = std::function<void(bool opened)>;
// How a window opens a file or folder in the desktop's default application; tests give their own.
using VLDesktopOpener = std::function<void(const QString &path, VLOpenedHandler done)>;

// Opens a local file or folder in the desktop's default application for its type and finds out
// honestly whether that happened: the desktop's "open" helper reports success even when nothing
// opens the file, so an application must be registered for the type and the helper must not fail.
// `done` is dropped when `context` goes before the answer.
void vlOpenWithDesktop(const QString &path, QObject *context, VLOpenedHandler done);
