#include "VLPreferencesInfo.h"

#include "VLFormat.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VelmoraSyncPreferencesWindowController", text);
}

const QString kNoValue = QStringLiteral("--");

} // namespace

QString vlPreferencesStorageText(const QString &freeDiskSpaceBytes)
{
    // Read as a floating-point number, as the device may send any number shape; text that is not
    // a number counts as none.
    bool ok = false;
    double bytes = freeDiskSpaceBytes.trimmed().toDouble(&ok);
    if (!ok)
        bytes = 0;
    return vlFormat(tr("%.00f Mb Available"), bytes / 1048576.0);
}

QString vlPreferencesStatusText(const VLPreferencesSyncState &state)
{
    if (state.isInSync) {
        if (state.isJustGatheringPreliminaryInfo)
            return tr("Status: Gathering fandeck information...");
        return vlFormat(tr("Status: %@"), state.statusMessage);
    }
    if (state.managerDeviceLive)
        return vlFormat(tr("Last Sync: %@"), state.lastSyncDateString);
    if (state.hasSynced)
        return vlFormat(tr("Status: No device connected. Last Sync: %@"), state.lastSyncDateString);
    return tr("Status: No device connected");
}

VLPreferencesInfoTexts vlPreferencesInfoTexts(const VLPreferencesDevice &device, const VLPreferencesSyncState &state)
{
    VLPreferencesInfoTexts texts;
    texts.serialNumber = device.live ? device.serialNumber : kNoValue;
    texts.chipId = device.live ? device.chipId : kNoValue;
    texts.firmware = device.live ? device.firmware : kNoValue;
    texts.storage = device.live ? vlPreferencesStorageText(device.freeDiskSpace) : kNoValue;
    texts.autoSyncChecked = state.autoSyncOnDeviceConnection;
    texts.syncSelectedOnlyChecked = state.syncSelectedFandecksOnly;
    texts.status = vlPreferencesStatusText(state);
    return texts;
}

QString vlPreferencesVersionText(const QString &name, const QString &shortVersion, const QString &build)
{
    return vlFormat(tr("%@ v%@ (%@)"), name, shortVersion, build);
}
