#include "VLLoginItem.h"

#include "VLPathComponent.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

// macOS: a per-user launch agent, ~/Library/LaunchAgents/<identifier>.plist, run at login.
QString vlLoginItemPath(const QString &identifier)
{
    return QDir::homePath() + QStringLiteral("/Library/LaunchAgents/") + identifier + QStringLiteral(".plist");
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
    const QVariantMap agent{
        {QStringLiteral("Label"), identifier},
        {QStringLiteral("ProgramArguments"), QVariantList{QCoreApplication::applicationFilePath()}},
        {QStringLiteral("RunAtLoad"), true},
    };
    return VLPropertyList::writeXml(path, agent);
}
