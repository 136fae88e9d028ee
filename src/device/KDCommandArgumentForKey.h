#pragma once

#include "KDCommand.h"

#include <QString>

// Uniform access to a command's arguments and payload, through the framework's handle.
namespace KDCommandArgumentForKey {

// The argument's text, or a null string when the command has no such argument.
QString argumentForKey(const KDCommandPtr &command, const QString &key);
void setArgumentForKey(const KDCommandPtr &command, const QString &value, const QString &key);
// The file becomes the payload by mapping it, not by reading it into memory.
void setDataFromFilename(const KDCommandPtr &command, const QString &path);

} // namespace KDCommandArgumentForKey
