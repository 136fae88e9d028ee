#pragma once

#include <QString>
#include <QStringList>

// Files that ship beside the program (the help document): next to the executable in a build
// folder, or in <prefix>/share/VelmoraSync once installed.
QStringList vlBundleResourceFolders();
// The path of "<name>.<type>" in the first folder that has it; empty when none has.
QString vlPathForBundleResource(const QString &name, const QString &type);

extern const QString VLHelpDocumentName;
