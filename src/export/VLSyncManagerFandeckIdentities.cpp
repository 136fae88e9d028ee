#include "VLSyncManager.h"

#include "VLSyncInfo.h"

namespace {

// Pairs of "DeviceFileID" and "FileID", oldest first.
const QString kDeviceFandeckIdentities = QStringLiteral("VLSyncManagerDefaultsDeviceFandeckIdentities");
const QString kDeviceFileIDKey = QStringLiteral("DeviceFileID");
const QString kFileIDKey = QStringLiteral("FileID");
// A device that gets its fandecks again and again adds a few ids each time; the oldest go first.
constexpr qsizetype kMaximumRememberedIdentities = 2000;

} // namespace

// A capture names its fandeck by the id the device gave it, and the device gives a fandeck another
// id whenever it is uploaded again (selected-only syncs remove fandecks; newer versions replace
// them). The ids seen are kept, so the fandeck of an older capture is still found by its identity.
void VLSyncManager::rememberDeviceFandeckIdentities()
{
    if (!m_defaults || !m_syncInfo)
        return;
    QVariantList remembered = m_defaults->value(kDeviceFandeckIdentities).toList();
    QHash<QString, QString> known;
    for (const QVariant &entry : std::as_const(remembered))
        known.insert(entry.toMap().value(kDeviceFileIDKey).toString(), entry.toMap().value(kFileIDKey).toString());
    bool changed = false;
    for (const VLSyncFileInfoPtr &fandeck : m_syncInfo->deviceFandecks()) {
        const QString deviceFileID = fandeck->deviceFileID();
        if (deviceFileID.isEmpty() || fandeck->fileID().isEmpty() || known.value(deviceFileID) == fandeck->fileID())
            continue;
        // An id given again to another fandeck stands for that one from now on.
        remembered.removeIf([&deviceFileID](const QVariant &entry) {
            return entry.toMap().value(kDeviceFileIDKey).toString() == deviceFileID;
        });
        remembered.append(QVariantMap { { kDeviceFileIDKey, deviceFileID }, { kFileIDKey, fandeck->fileID() } });
        known.insert(deviceFileID, fandeck->fileID());
        changed = true;
    }
    if (!changed)
        return;
    if (remembered.size() > kMaximumRememberedIdentities)
        remembered.remove(0, remembered.size() - kMaximumRememberedIdentities);
    m_defaults->insert(kDeviceFandeckIdentities, remembered);
    synchronizeDefaults();
}

QMultiHash<QString, QString> VLSyncManager::rememberedDeviceFileIDsByFileID() const
{
    QMultiHash<QString, QString> byFileID;
    for (const QVariant &entry : defaults().value(kDeviceFandeckIdentities).toList()) {
        const QVariantMap pair = entry.toMap();
        const QString deviceFileID = pair.value(kDeviceFileIDKey).toString();
        const QString fileID = pair.value(kFileIDKey).toString();
        if (!deviceFileID.isEmpty() && !fileID.isEmpty())
            byFileID.insert(fileID, deviceFileID);
    }
    return byFileID;
}
