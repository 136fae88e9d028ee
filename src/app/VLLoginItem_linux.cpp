#include "VLLoginItem.h"

#include "VLPathComponent.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

// Linux: an XDG autostart entry, $XDG_CONFIG_HOME/autostart/<identifier>.desktop.
QString vlLoginItemPath(const QString &identifier)
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart/")
        + identifier + QStringLiteral(".desktop");
}

bool vlLoginItemIsEnabled(const QString &identifier)
{
    return vlIsPlainPathComponent(identifier) && QFile::exists(vlLoginItemPath(identifier));
}

bool vlLoginItemSetEnabled(const QString &identifier, bool enabled)
{
    if (!vlIsPlainPathComponent(identifier))
        return false;
    const QString path = vlLoginItemPath(identifier);
    if (!enabled)
        return !QFile::exists(path) || QFile::remove(path);

    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QString program = QCoreApplication::applicationFilePath();
    program.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=TINTERA Sync\n"
                                         "Exec=\"%1\"\n"
                                         "Icon=tintera-sync\n"
                                         "Terminal=false\n"
                                         "X-GNOME-Autostart-enabled=true\n")
                              .arg(program);
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(entry.toUtf8()) >= 0 && file.commit();
}
