#include "VLBundleResources.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

const QString VLHelpDocumentName = QStringLiteral("TINTERA_Sync_Utility_help");

QStringList vlBundleResourceFolders()
{
    const QString programFolder = QCoreApplication::applicationDirPath();
    return {
        programFolder,
        programFolder + QStringLiteral("/assets"),
        QDir::cleanPath(programFolder + QStringLiteral("/../share/VelmoraSync")),
        // macOS application bundle: Contents/MacOS/VelmoraSync -> Contents/Resources
        QDir::cleanPath(programFolder + QStringLiteral("/../Resources")),
    };
}

QString vlPathForBundleResource(const QString &name, const QString &type)
{
    const QString fileName = type.isEmpty() ? name : name + QLatin1Char('.') + type;
    for (const QString &folder : vlBundleResourceFolders()) {
        const QFileInfo candidate(folder + QLatin1Char('/') + fileName);
        if (candidate.isFile())
            return candidate.absoluteFilePath();
    }
    return {};
}
