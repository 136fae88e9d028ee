#include "VLSyncManager.h"

#include "VLDataFolder.h"

#include <QDir>

namespace {

// Folders are created on every call, so a folder removed behind the program's back comes back;
// a creation failure is not an error here, the caller's file operation will report it.
QString ensuredFolder(const QString &path)
{
    QDir().mkpath(path);
    return path;
}

} // namespace

QString VLSyncManager::pathForGlobalAppSupportFolder() const
{
    return ensuredFolder(vlApplicationDataFolder());
}

QString VLSyncManager::pathForGlobalDevicesFolder() const
{
    return ensuredFolder(pathForGlobalAppSupportFolder() + QStringLiteral("/Devices"));
}

QString VLSyncManager::pathForDeviceCacheFolder() const
{
    return ensuredFolder(pathForGlobalDevicesFolder() + QLatin1Char('/') + m_serialNumber);
}

QString VLSyncManager::pathForDeviceDefaults() const
{
    return pathForDeviceCacheFolder() + QStringLiteral("/defaults.plist");
}

QString VLSyncManager::pathForDeviceWebServiceCache() const
{
    return pathForDeviceCacheFolder() + QStringLiteral("/wscache.plist");
}

QString VLSyncManager::pathForGlobalAutoSyncMatchesFolder() const
{
    return ensuredFolder(pathForGlobalAppSupportFolder() + QStringLiteral("/Measurements"));
}

QString VLSyncManager::pathForGlobalAutoSyncMatchesAudioFolder() const
{
    return ensuredFolder(pathForGlobalAutoSyncMatchesFolder() + QStringLiteral("/Audio"));
}

QString VLSyncManager::pathForGlobalAutoSyncMatchesFile() const
{
    return pathForGlobalAutoSyncMatchesFolder() + QStringLiteral("/LastMeasurements.cxf");
}

QString VLSyncManager::pathForGlobalDownloadsFolder() const
{
    return ensuredFolder(pathForGlobalAppSupportFolder() + QStringLiteral("/Downloads"));
}

QString VLSyncManager::pathForGlobalFandecksFolder() const
{
    return ensuredFolder(pathForGlobalAppSupportFolder() + QStringLiteral("/Fandecks"));
}

QString VLSyncManager::pathForGlobalFilesFolder() const
{
    return ensuredFolder(pathForGlobalAppSupportFolder() + QStringLiteral("/Files"));
}
