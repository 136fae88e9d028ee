#include "VLSyncPlan.h"

#include "VLFandeckListing.h"
#include "VLPathComponent.h"

#include <QCoreApplication>

#include <algorithm>
#include <optional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLSyncPlan", text);
}

VLSyncFileList ofType(const VLSyncFileList &files, const QString &fileType)
{
    VLSyncFileList result;
    std::copy_if(files.cbegin(), files.cend(), std::back_inserter(result),
        [&fileType](const VLSyncFileInfoPtr &file) { return file->fileType() == fileType; });
    return result;
}

VLSyncFileInfoPtr withFileID(const VLSyncFileList &files, const QString &fileID)
{
    if (fileID.isNull())
        return {};
    const auto found = std::find_if(
        files.cbegin(), files.cend(), [&fileID](const VLSyncFileInfoPtr &file) { return file->fileID() == fileID; });
    return found == files.cend() ? VLSyncFileInfoPtr() : *found;
}

bool containsFileID(const VLSyncFileList &files, const QString &fileID)
{
    return !withFileID(files, fileID).isNull();
}

// The sync's test for a device file: the last service entry of the type against the last device
// entry; anything but the same file in both places counts as new.
bool isNewFileAvailable(const VLSyncFileList &device, const VLSyncFileList &offered)
{
    if (device.isEmpty() || offered.isEmpty())
        return true;
    const VLSyncFileInfoPtr &onDevice = device.last();
    const VLSyncFileInfoPtr &service = offered.last();
    if (!service->fileID().isNull() && service->fileID() == onDevice->fileID())
        return service->version() > onDevice->version();
    return true;
}

// The bootloader to the inversion matrix, in the order of their steps.
const QStringList &deviceFileSteps()
{
    static const QStringList steps = { VLSyncSessionFileTypeBootloader, VLSyncSessionFileTypeFirmware,
        VLSyncSessionFileTypeBrandingMeasurement, VLSyncSessionFileTypeBrandingStartup, VLSyncSessionFileTypeStartSound,
        VLSyncSessionFileTypeEndSound, VLSyncSessionFileTypeMulticolorSound, VLSyncSessionFileTypeInversionMatrix };
    return steps;
}

// One device-file step: nothing, the computer's copy, or a download of the service's file.
std::optional<VLSyncPlan::Install> deviceFileInstall(const VLSyncPlanInputs &in, const QString &fileType)
{
    const VLSyncFileList offered = ofType(in.webServiceFiles, fileType);
    const VLSyncFileList device = ofType(in.deviceFiles, fileType);
    if (offered.isEmpty() || !isNewFileAvailable(device, offered))
        return std::nullopt;
    const VLSyncFileInfoPtr offer = offered.last();
    const QString from = device.isEmpty() ? QString() : device.last()->versionString();
    const VLSyncFileInfoPtr local = withFileID(in.localFiles, offer->fileID());
    if (local && !(offer->version() > local->version()))
        return in.trusted(*local) ? std::optional(VLSyncPlan::Install { local, from, false }) : std::nullopt;
    if (!in.trusted(*offer))
        return std::nullopt;
    return VLSyncPlan::Install { offer, from, true };
}

QString fandeckWithVersion(const VLSyncFileInfoPtr &fandeck)
{
    const QString name = vlFandeckDisplayName(fandeck);
    return fandeck->versionString().isEmpty() ? name : name + QLatin1Char(' ') + fandeck->versionString();
}

} // namespace

VLSyncPlan vlPlanSync(const VLSyncPlanInputs &in)
{
    VLSyncPlan plan;
    for (const QString &fileType : deviceFileSteps()) {
        if (const auto install = deviceFileInstall(in, fileType)) {
            plan.deviceFiles.append(*install);
            if (install->downloaded)
                plan.downloads.append(install->file);
        }
    }

    // Fandecks: fetched into the computer's store, which the upload then works from.
    const auto wanted = [&in](const QString &fileID) { return !in.selectedOnly || in.wanted(fileID); };
    VLSyncFileList local = ofType(in.localFiles, VLSyncSessionFileTypeFandeck);
    for (const VLSyncFileInfoPtr &offer : ofType(in.webServiceFiles, VLSyncSessionFileTypeFandeck)) {
        const VLSyncFileInfoPtr held = withFileID(local, offer->fileID());
        if ((held && !(offer->version() > held->version())) || !wanted(offer->fileID()) || !in.trusted(*offer))
            continue;
        plan.downloads.append(offer);
        if (held)
            local.replace(local.indexOf(held), offer);
        else
            local.append(offer);
    }
    const VLSyncFileList device = ofType(in.deviceFiles, VLSyncSessionFileTypeFandeck);
    for (const VLSyncFileInfoPtr &fandeck : std::as_const(local)) {
        if (fandeck->fileID().isNull() || !wanted(fandeck->fileID()) || !vlIsPlainPathComponent(fandeck->SKU()))
            continue;
        const VLSyncFileInfoPtr onDevice = withFileID(device, fandeck->fileID());
        if ((!onDevice || fandeck->version() > onDevice->version()) && in.trusted(*fandeck))
            plan.fandecksToAdd.append(fandeck);
    }
    for (const VLSyncFileInfoPtr &onDevice : device) {
        const bool kept = containsFileID(local, onDevice->fileID()) && wanted(onDevice->fileID());
        if (!kept && in.selectedOnly && !onDevice->fileID().isNull() && !onDevice->deviceFileID().isNull())
            plan.fandecksToRemove.append(onDevice);
    }
    plan.fandecksToEnable = plan.fandecksToAdd;
    for (const VLSyncFileInfoPtr &onDevice : device) {
        const QVariant enabled = onDevice->info().value(QStringLiteral("Enabled"));
        if (enabled.isValid() && !enabled.toBool() && !onDevice->deviceFileID().isEmpty()
            && containsFileID(local, onDevice->fileID()) && wanted(onDevice->fileID())
            && !containsFileID(plan.fandecksToAdd, onDevice->fileID()))
            plan.fandecksToEnable.append(onDevice);
    }

    // Device settings: a newer file, else the held one when the device has not confirmed it all.
    if (const auto settings = deviceFileInstall(in, VLSyncSessionFileTypeDeviceSettings)) {
        plan.deviceFiles.append(*settings);
        if (settings->downloaded)
            plan.downloads.append(settings->file);
        plan.deviceSettings = settings->file;
    } else if (in.settingsToApplyAgain) {
        plan.deviceSettings = in.settingsToApplyAgain(plan);
        plan.deviceSettingsAgain = !plan.deviceSettings.isNull();
    }
    return plan;
}

bool VLSyncPlan::isEmpty() const
{
    return downloads.isEmpty() && deviceFiles.isEmpty() && fandecksToAdd.isEmpty() && fandecksToEnable.isEmpty()
        && fandecksToRemove.isEmpty() && !deviceSettings;
}

const VLSyncPlan::Install *VLSyncPlan::installOfType(const QString &fileType) const
{
    const auto found = std::find_if(deviceFiles.cbegin(), deviceFiles.cend(),
        [&fileType](const Install &install) { return install.file->fileType() == fileType; });
    return found == deviceFiles.cend() ? nullptr : &*found;
}

bool VLSyncPlan::writesFirmware() const
{
    return installOfType(VLSyncSessionFileTypeFirmware) || installOfType(VLSyncSessionFileTypeBootloader);
}

QString VLSyncPlan::summary() const
{
    QStringList items;
    for (const Install &install : deviceFiles) {
        if (install.file->fileType() != VLSyncSessionFileTypeDeviceSettings)
            items << vlDeviceFileTypeName(install.file->fileType()) + QLatin1Char(' ') + install.file->versionString();
    }
    for (const VLSyncFileInfoPtr &fandeck : fandecksToAdd)
        items << fandeckWithVersion(fandeck);
    for (const VLSyncFileInfoPtr &fandeck : fandecksToRemove)
        items << tr("remove %1").arg(vlFandeckDisplayName(fandeck));
    for (const VLSyncFileInfoPtr &fandeck : fandecksToEnable) {
        if (!fandecksToAdd.contains(fandeck))
            items << tr("enable %1").arg(vlFandeckDisplayName(fandeck));
    }
    if (deviceSettings)
        items << vlDeviceFileTypeName(VLSyncSessionFileTypeDeviceSettings) + QLatin1Char(' ')
                + deviceSettings->versionString();
    if (items.isEmpty())
        return tr("Up to date");
    // One line, as a tray shows it: the first few, then how many more.
    constexpr qsizetype kNamed = 4;
    QString named = items.mid(0, kNamed).join(QStringLiteral(", "));
    if (items.size() > kNamed)
        named = tr("%1 and %2 more").arg(named, QString::number(items.size() - kNamed));
    return items.size() == 1 ? tr("1 update: %1").arg(named)
                             : tr("%1 updates: %2").arg(QString::number(items.size()), named);
}

QString vlDeviceFileTypeName(const QString &fileType)
{
    static const QList<std::pair<QString, const char *>> names = {
        { VLSyncSessionFileTypeBootloader, QT_TRANSLATE_NOOP("VLSyncPlan", "bootloader") },
        { VLSyncSessionFileTypeFirmware, QT_TRANSLATE_NOOP("VLSyncPlan", "firmware") },
        { VLSyncSessionFileTypeBrandingMeasurement, QT_TRANSLATE_NOOP("VLSyncPlan", "wallpaper") },
        { VLSyncSessionFileTypeBrandingStartup, QT_TRANSLATE_NOOP("VLSyncPlan", "welcome image") },
        { VLSyncSessionFileTypeStartSound, QT_TRANSLATE_NOOP("VLSyncPlan", "start sound") },
        { VLSyncSessionFileTypeEndSound, QT_TRANSLATE_NOOP("VLSyncPlan", "end sound") },
        { VLSyncSessionFileTypeMulticolorSound, QT_TRANSLATE_NOOP("VLSyncPlan", "multicolour sound") },
        { VLSyncSessionFileTypeInversionMatrix, QT_TRANSLATE_NOOP("VLSyncPlan", "inversion matrix") },
        { VLSyncSessionFileTypeDeviceSettings, QT_TRANSLATE_NOOP("VLSyncPlan", "device settings") },
    };
    for (const auto &[type, name] : names) {
        if (type == fileType)
            return tr(name);
    }
    return fileType;
}

QString vlKeepDeviceConnectedNotice()
{
    return tr("keep the device connected");
}
