#include "VLSyncInfo.h"

#include "VLNotificationCenter.h"

#include <QHash>

#include <functional>

const QString VLSyncInfoFandecksDidChangeNotification = QStringLiteral("VLSyncInfoFandecksDidChangeNotification");

namespace {

using Key = QString (VLSyncFileInfo::*)() const;

// First entry whose key is present and equal; an absent key never matches.
VLSyncFileInfoPtr firstMatching(const VLSyncFileList &files, Key key, const QString &wanted)
{
    if (wanted.isNull())
        return {};
    for (const VLSyncFileInfoPtr &file : files) {
        const QString value = (file.data()->*key)();
        if (!value.isNull() && value == wanted)
            return file;
    }
    return {};
}

// Replaces a list unless it is the very list already held (shared data, not equal values).
bool assignIfOtherList(VLSyncFileList &held, const VLSyncFileList &given)
{
    if (held.isSharedWith(given))
        return false;
    held = given;
    return true;
}

} // namespace

VLSyncInfo::VLSyncInfo(QObject *parent)
    : QObject(parent)
{
}

void VLSyncInfo::postFandecksDidChange()
{
    VLNotificationCenter::defaultCenter()->postNotification(VLSyncInfoFandecksDidChangeNotification, this);
}

void VLSyncInfo::setLocalFiles(const VLSyncFileList &files)
{
    if (assignIfOtherList(m_localFiles, files))
        postFandecksDidChange();
}

void VLSyncInfo::setDeviceFiles(const VLSyncFileList &files)
{
    if (assignIfOtherList(m_deviceFiles, files))
        postFandecksDidChange();
}

void VLSyncInfo::webServiceFiles(const VLSyncFileList &files)
{
    if (assignIfOtherList(m_webServiceFiles, files))
        postFandecksDidChange();
}

void VLSyncInfo::setWebServiceFiles(const VLSyncFileList &files)
{
    m_webServiceFiles = files;
}

void VLSyncInfo::replaceLocalFile(const VLSyncFileInfoPtr &file)
{
    if (!file)
        return;
    if (VLSyncFileInfoPtr existing = localFileWithFileID(file->fileID()))
        existing->updateWithNewInfo(file->info());
    else
        m_localFiles.append(file);
    postFandecksDidChange();
}

void VLSyncInfo::replaceDeviceFile(const VLSyncFileInfoPtr &file)
{
    if (!file)
        return;
    if (VLSyncFileInfoPtr existing = deviceFileWithFileID(file->fileID()))
        existing->updateWithNewInfo(file->info());
    else
        m_deviceFiles.append(file);
    postFandecksDidChange();
}

void VLSyncInfo::removeDeviceFandeckWithFandeckID(const QString &fandeckID)
{
    if (VLSyncFileInfoPtr fandeck = deviceFandeckWithFandeckID(fandeckID))
        m_deviceFiles.removeOne(fandeck);
    postFandecksDidChange();
}

VLSyncFileList VLSyncInfo::filtered(const VLSyncFileList &files, const QString &fileType)
{
    VLSyncFileList result;
    for (const VLSyncFileInfoPtr &file : files) {
        if (file->fileType() == fileType)
            result.append(file);
    }
    return result;
}

#define VL_SYNC_INFO_VIEWS(Suffix, type)                                                           \
    VLSyncFileList VLSyncInfo::local##Suffix() const { return filtered(m_localFiles, type); }     \
    VLSyncFileList VLSyncInfo::device##Suffix() const { return filtered(m_deviceFiles, type); }   \
    VLSyncFileList VLSyncInfo::webService##Suffix() const { return filtered(m_webServiceFiles, type); }
VL_SYNC_INFO_VIEWS(Fandecks, VLSyncSessionFileTypeFandeck)
VL_SYNC_INFO_VIEWS(Firmwares, VLSyncSessionFileTypeFirmware)
VL_SYNC_INFO_VIEWS(DeviceSettings, VLSyncSessionFileTypeDeviceSettings)
VL_SYNC_INFO_VIEWS(DeviceRights, VLSyncSessionFileTypeDeviceRights)
VL_SYNC_INFO_VIEWS(ApplicationRights, VLSyncSessionFileTypeApplicationRights)
VL_SYNC_INFO_VIEWS(Bootloaders, VLSyncSessionFileTypeBootloader)
VL_SYNC_INFO_VIEWS(BrandingStartupImages, VLSyncSessionFileTypeBrandingStartup)
VL_SYNC_INFO_VIEWS(BrandingMeasurementImages, VLSyncSessionFileTypeBrandingMeasurement)
VL_SYNC_INFO_VIEWS(StartSounds, VLSyncSessionFileTypeStartSound)
VL_SYNC_INFO_VIEWS(EndSounds, VLSyncSessionFileTypeEndSound)
VL_SYNC_INFO_VIEWS(MulticolorSounds, VLSyncSessionFileTypeMulticolorSound)
VL_SYNC_INFO_VIEWS(InversionMatrices, VLSyncSessionFileTypeInversionMatrix)
#undef VL_SYNC_INFO_VIEWS

VLSyncFileInfoPtr VLSyncInfo::deviceFandeckWithFandeckID(const QString &fandeckID) const
{
    return firstMatching(deviceFandecks(), &VLSyncFileInfo::fileID, fandeckID);
}

VLSyncFileInfoPtr VLSyncInfo::deviceFileWithSKU(const QString &sku) const
{
    return firstMatching(deviceFandecks(), &VLSyncFileInfo::SKU, sku);
}

VLSyncFileInfoPtr VLSyncInfo::deviceFileWithDeviceFileID(const QString &deviceFileID) const
{
    return firstMatching(deviceFandecks(), &VLSyncFileInfo::deviceFileID, deviceFileID);
}

VLSyncFileInfoPtr VLSyncInfo::deviceFileWithFileID(const QString &fileID) const
{
    return firstMatching(m_deviceFiles, &VLSyncFileInfo::fileID, fileID);
}

VLSyncFileInfoPtr VLSyncInfo::localFandeckWithFandeckID(const QString &fandeckID) const
{
    return firstMatching(localFandecks(), &VLSyncFileInfo::fileID, fandeckID);
}

VLSyncFileInfoPtr VLSyncInfo::localFileWithFileID(const QString &fileID) const
{
    return firstMatching(m_localFiles, &VLSyncFileInfo::fileID, fileID);
}

VLSyncFileInfoPtr VLSyncInfo::webServiceFandeckWithFandeckID(const QString &fandeckID) const
{
    return firstMatching(webServiceFandecks(), &VLSyncFileInfo::fileID, fandeckID);
}

bool VLSyncInfo::fandeckExistsLocallyWithFandeckID(const QString &fandeckID) const
{
    return !localFandeckWithFandeckID(fandeckID).isNull();
}

bool VLSyncInfo::fandeckExistsOnDeviceWithFandeckID(const QString &fandeckID) const
{
    return !deviceFandeckWithFandeckID(fandeckID).isNull();
}

bool VLSyncInfo::fandeckExistsOnWebServiceWithFandeckID(const QString &fandeckID) const
{
    return !webServiceFandeckWithFandeckID(fandeckID).isNull();
}

bool VLSyncInfo::fandeckFromCloudNeedsToBeDownloaded(const VLSyncFileInfoPtr &webServiceFandeck) const
{
    if (!webServiceFandeck)
        return false;
    const VLSyncFileInfoPtr local = localFandeckWithFandeckID(webServiceFandeck->fileID());
    return !local || webServiceFandeck->version() > local->version();
}

VLSyncFileList VLSyncInfo::fandecksNeedingDownload() const
{
    VLSyncFileList result;
    for (const VLSyncFileInfoPtr &fandeck : webServiceFandecks()) {
        if (fandeckFromCloudNeedsToBeDownloaded(fandeck))
            result.append(fandeck);
    }
    return result;
}

bool VLSyncInfo::fandeckFromLocalCacheNeedsToBeTransferedToDevice(const VLSyncFileInfoPtr &localFandeck) const
{
    if (!localFandeck)
        return false;
    const VLSyncFileInfoPtr local = localFandeckWithFandeckID(localFandeck->fileID());
    if (!local)
        return false;
    const VLSyncFileInfoPtr onDevice = deviceFandeckWithFandeckID(localFandeck->fileID());
    return !onDevice || local->version() > onDevice->version();
}

VLSyncFileList VLSyncInfo::fandecksNeedingTransferToDevice() const
{
    VLSyncFileList result;
    for (const VLSyncFileInfoPtr &fandeck : localFandecks()) {
        if (fandeckFromLocalCacheNeedsToBeTransferedToDevice(fandeck))
            result.append(fandeck);
    }
    return result;
}

// Compares the last device entry of a type with the last service entry of that type. Anything but
// the same file in both places counts as "new": the caller checks that a service file exists.
bool VLSyncInfo::isNewFileAvailable(const QString &fileType) const
{
    const VLSyncFileList onDevice = filtered(m_deviceFiles, fileType);
    const VLSyncFileList offered = filtered(m_webServiceFiles, fileType);
    if (onDevice.isEmpty() || offered.isEmpty())
        return true;
    const VLSyncFileInfoPtr &device = onDevice.last();
    const VLSyncFileInfoPtr &service = offered.last();
    if (!service->fileID().isNull() && service->fileID() == device->fileID())
        return service->version() > device->version();
    return true;
}

bool VLSyncInfo::isNewFirmwareAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeFirmware); }
bool VLSyncInfo::isNewBootloaderAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeBootloader); }
bool VLSyncInfo::isNewWallpaperImageAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeBrandingMeasurement); }
bool VLSyncInfo::isNewWelcomeImageAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeBrandingStartup); }
bool VLSyncInfo::isNewDeviceSettingsAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeDeviceSettings); }
bool VLSyncInfo::isNewStartSoundAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeStartSound); }
bool VLSyncInfo::isNewEndSoundAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeEndSound); }
bool VLSyncInfo::isNewMulticolorSoundAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeMulticolorSound); }
bool VLSyncInfo::isNewInversionMatriceAvailableForDevice() const { return isNewFileAvailable(VLSyncSessionFileTypeInversionMatrix); }

VLSyncFileList VLSyncInfo::allUniqueFandecks() const
{
    QHash<QString, VLSyncFileInfoPtr> byID;
    for (const VLSyncFileList &source : {deviceFandecks(), localFandecks(), webServiceFandecks()}) {
        for (const VLSyncFileInfoPtr &fandeck : source) {
            if (!fandeck->fileID().isNull())
                byID.insert(fandeck->fileID(), fandeck);
        }
    }
    return byID.values();
}

QVariantMap VLSyncInfo::debugInfoForFandeck(const VLSyncFileInfoPtr &fandeck) const
{
    const QString id = fandeck ? fandeck->fileID() : QString();
    const VLSyncFileInfoPtr local = localFandeckWithFandeckID(id);
    const VLSyncFileInfoPtr service = webServiceFandeckWithFandeckID(id);
    const VLSyncFileInfoPtr device = deviceFandeckWithFandeckID(id);
    QVariantMap info;
    for (const VLSyncFileInfoPtr &source : {local, service, device}) {
        if (!source)
            continue;
        for (auto it = source->info().constBegin(); it != source->info().constEnd(); ++it)
            info.insert(it.key(), it.value());
    }
    info.insert(QStringLiteral("OnDevice"), !device.isNull());
    info.insert(QStringLiteral("OnWebService"), !service.isNull());
    info.insert(QStringLiteral("OnLocalCache"), !local.isNull());
    return info;
}

QString VLSyncInfo::description() const
{
    return QStringLiteral("====localFiles:\n") + vlDescribeFileList(m_localFiles) + QStringLiteral("====deviceFiles:\n")
        + vlDescribeFileList(m_deviceFiles) + QStringLiteral("====webServiceFiles:\n")
        + vlDescribeFileList(m_webServiceFiles);
}
