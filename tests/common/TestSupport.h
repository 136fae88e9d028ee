#pragma once

#include <QString>
#include <QTemporaryDir>

#include "QtPrinters.h"

#include <memory>

// A fresh data folder for one test: TINTERA_DATA_DIR points at it while the object lives.
class ScopedDataFolder
{
public:
    ScopedDataFolder();
    ~ScopedDataFolder();
    ScopedDataFolder(const ScopedDataFolder &) = delete;
    ScopedDataFolder &operator=(const ScopedDataFolder &) = delete;

    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
    bool m_hadPrevious = false;
};

// Path of a program built by this project (emulators, tools), under the build folder.
QString tinteraBuiltProgram(const QString &relativePath);

// The CxF3 schema for validation, or an empty string when it is not beside the checkout.
QString cxf3SchemaPath();

// Path of an ArgyllCMS program (Debian package "argyll"), or an empty string where it is not
// installed; tests that need one skip with that message.
QString argyllProgram(const QString &name);
inline constexpr const char *ArgyllMissingMessage =
    "ArgyllCMS is not installed (Debian package \"argyll\", see scripts/install-deps.sh)";
