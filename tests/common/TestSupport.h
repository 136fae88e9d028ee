#pragma once

#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QTemporaryDir>

#include "QtPrinters.h"

#include <memory>

// Sets an environment variable, or unsets it when given no value, while the object lives.
class ScopedEnvironment
{
public:
    explicit ScopedEnvironment(const char *name, const QByteArray &value = {})
        : m_name(name)
        , m_had(qEnvironmentVariableIsSet(name))
        , m_value(qgetenv(name))
    {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    ~ScopedEnvironment()
    {
        if (m_had)
            qputenv(m_name, m_value);
        else
            qunsetenv(m_name);
    }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    const char *m_name;
    bool m_had;
    QByteArray m_value;
};

// A fresh data folder for one test: TINTERA_DATA_DIR points at it while the object lives.
class ScopedDataFolder
{
public:
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
    ScopedEnvironment m_environment{"TINTERA_DATA_DIR", m_dir.path().toUtf8()};
};

// Another local user for the tests that show what one can reach of this user's program: "nobody".
// Only root can act as another user, so those tests skip elsewhere.
inline constexpr unsigned kOtherUserId = 65534;
inline constexpr const char *NotRootMessage = "acting as another user needs root (as in CI)";

// The permission bits of a file or folder (07777), or ~0u when it does not exist.
unsigned fileMode(const QString &path);

// Path of a program built by this project (emulators, tools), under the build folder.
QString tinteraBuiltProgram(const QString &relativePath);

// The CxF3 schema for validation, or an empty string when it is not beside the checkout.
QString cxf3SchemaPath();

// Path of an ArgyllCMS program (Debian package "argyll"), or an empty string where it is not
// installed; tests that need one skip with that message.
QString argyllProgram(const QString &name);
inline constexpr const char *ArgyllMissingMessage =
    "ArgyllCMS is not installed (Debian package \"argyll\", see scripts/install-deps.sh)";

// The bytes of a file, or none when it cannot be read.
QByteArray readFile(const QString &path);
// Writes a file whole, making its folder first; a failure fails the test.
void writeFile(const QString &path, const QByteArray &bytes);

// "valid" when xmllint finds the file valid against the CxF3 schema, "skipped" without the schema,
// else xmllint's complaint.
QString xmllintVerdict(const QString &path);

// The name under "files/" of the demo catalog's payload for a SKU.
QString catalogFileName(const QString &catalogFolder, const QString &sku);

// A device or service inventory (a list of records) by SKU.
QMap<QString, QVariantMap> bySKU(const QVariantList &inventory);

// The SKUs of the demo catalog's fandecks and device files, sorted.
inline const QStringList kFandeckSKUs{"ALD-FD-HERITAGE", "VLM-FD-ACCENT", "VLM-FD-EXT", "VLM-FD-INT", "VLM-FD-WHITES"};
inline const QStringList kDeviceFileSKUs{"TX350-BL",        "TX350-FW",          "TX350-INVMATRIX",   "TX350-SETTINGS",
                                         "TX350-SOUND-END", "TX350-SOUND-MULTI", "TX350-SOUND-START", "TX350-WALLPAPER",
                                         "TX350-WELCOME"};
