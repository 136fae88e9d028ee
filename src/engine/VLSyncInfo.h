#pragma once

#include "VLSyncFileInfo.h"

#include <QObject>
#include <QVariantMap>

extern const QString VLSyncInfoFandecksDidChangeNotification;

// The inventory of one device: what the computer, the device and the service hold, and the
// decisions drawn from the three lists. Main thread only.
class VLSyncInfo : public QObject
{
    Q_OBJECT
public:
    explicit VLSyncInfo(QObject *parent = nullptr);

    const VLSyncFileList &localFiles() const { return m_localFiles; }
    const VLSyncFileList &deviceFiles() const { return m_deviceFiles; }
    const VLSyncFileList &webServiceFiles() const { return m_webServiceFiles; }

    // Store a copy and notify, unless the list given is the one already held.
    void setLocalFiles(const VLSyncFileList &files);
    void setDeviceFiles(const VLSyncFileList &files);
    void webServiceFiles(const VLSyncFileList &files);
    // Stores the list as given, silently (the sync manager fills it from its cache).
    void setWebServiceFiles(const VLSyncFileList &files);

    void replaceLocalFile(const VLSyncFileInfoPtr &file);
    void replaceDeviceFile(const VLSyncFileInfoPtr &file);
    void removeDeviceFandeckWithFandeckID(const QString &fandeckID);

#define VL_SYNC_INFO_VIEWS(Suffix)                                                                 \
    VLSyncFileList local##Suffix() const;                                                          \
    VLSyncFileList device##Suffix() const;                                                         \
    VLSyncFileList webService##Suffix() const;
    VL_SYNC_INFO_VIEWS(Fandecks)
    VL_SYNC_INFO_VIEWS(Firmwares)
    VL_SYNC_INFO_VIEWS(DeviceSettings)
    VL_SYNC_INFO_VIEWS(DeviceRights)
    VL_SYNC_INFO_VIEWS(ApplicationRights)
    VL_SYNC_INFO_VIEWS(Bootloaders)
    VL_SYNC_INFO_VIEWS(BrandingStartupImages)
    VL_SYNC_INFO_VIEWS(BrandingMeasurementImages)
    VL_SYNC_INFO_VIEWS(StartSounds)
    VL_SYNC_INFO_VIEWS(EndSounds)
    VL_SYNC_INFO_VIEWS(MulticolorSounds)
    VL_SYNC_INFO_VIEWS(InversionMatrices)
#undef VL_SYNC_INFO_VIEWS

    VLSyncFileInfoPtr deviceFandeckWithFandeckID(const QString &fandeckID) const;
    VLSyncFileInfoPtr deviceFileWithSKU(const QString &sku) const;               // device fandecks only
    VLSyncFileInfoPtr deviceFileWithDeviceFileID(const QString &deviceFileID) const; // device fandecks only
    VLSyncFileInfoPtr deviceFileWithFileID(const QString &fileID) const;
    VLSyncFileInfoPtr localFandeckWithFandeckID(const QString &fandeckID) const;
    VLSyncFileInfoPtr localFileWithFileID(const QString &fileID) const;
    VLSyncFileInfoPtr webServiceFandeckWithFandeckID(const QString &fandeckID) const;
    bool fandeckExistsLocallyWithFandeckID(const QString &fandeckID) const;
    bool fandeckExistsOnDeviceWithFandeckID(const QString &fandeckID) const;
    bool fandeckExistsOnWebServiceWithFandeckID(const QString &fandeckID) const;

    bool fandeckFromCloudNeedsToBeDownloaded(const VLSyncFileInfoPtr &webServiceFandeck) const;
    VLSyncFileList fandecksNeedingDownload() const;
    bool fandeckFromLocalCacheNeedsToBeTransferedToDevice(const VLSyncFileInfoPtr &localFandeck) const;
    VLSyncFileList fandecksNeedingTransferToDevice() const;

    bool isNewFirmwareAvailableForDevice() const;
    bool isNewBootloaderAvailableForDevice() const;
    bool isNewWallpaperImageAvailableForDevice() const;
    bool isNewWelcomeImageAvailableForDevice() const;
    bool isNewDeviceSettingsAvailableForDevice() const;
    bool isNewStartSoundAvailableForDevice() const;
    bool isNewEndSoundAvailableForDevice() const;
    bool isNewMulticolorSoundAvailableForDevice() const;
    bool isNewInversionMatriceAvailableForDevice() const;

    // One entry per fandeck identifier; the service's entry wins over the local one, which wins
    // over the device's. The order is not defined.
    VLSyncFileList allUniqueFandecks() const;
    QVariantMap debugInfoForFandeck(const VLSyncFileInfoPtr &fandeck) const;
    QString description() const;

private:
    void postFandecksDidChange();
    static VLSyncFileList filtered(const VLSyncFileList &files, const QString &fileType);
    bool isNewFileAvailable(const QString &fileType) const;

    VLSyncFileList m_localFiles;
    VLSyncFileList m_deviceFiles;
    VLSyncFileList m_webServiceFiles;
};
