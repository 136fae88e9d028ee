#include "VLSyncManager.h"

#include "VLDataFolder.h"
#include "VLPrivateFolder.h"

namespace {

// Folders are created on every call, so a folder removed behind the program's back comes back.
// They are the user's alone: what the program keeps is nobody else's to read, and a folder an
// earlier version left open is closed here. A failure is not an error here, the caller's file
// operation will report it.
QString ensuredFolder(const QString &path)
{
    vlPreparePrivateFolder(path, VLWiderPermissions::Tighten);
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
