#include "VLDataFolder.h"

#include <QDir>
#include <QStandardPaths>

QString vlApplicationDataFolder()
{
    const QString overridden = qEnvironmentVariable("TINTERA_DATA_DIR");
    if (!overridden.isEmpty())
        return QDir::cleanPath(QDir(overridden).absolutePath());
    // GenericDataLocation is ~/.local/share on Linux and ~/Library/Application Support on macOS.
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return QDir::cleanPath(base + QStringLiteral("/Kalvex/TINTERA"));
}
