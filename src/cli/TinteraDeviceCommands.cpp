// The commands that show and change what belongs to the device: devices, status, fandecks, settings.
#include "TinteraCommandLine.h"
#include "TinteraCommandSupport.h"
#include "TinteraCommands.h"
#include "TinteraDevices.h"
#include "TinteraJson.h"
#include "VLApplicationInfo.h"
#include "VLFandeckListing.h"
#include "VLFormat.h"
#include "VLNetworkError.h"
#include "VLPreferencesInfo.h"
#include "VLSelectedOnlyWarning.h"
#include "VLServiceSettings.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"
#include "VLSyncReply.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <optional>

namespace {

const QRegularExpression kTrailingSpace(QStringLiteral("\\s+$"));

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

QString onOff(bool on)
{
    return on ? tr("on") : tr("off");
}

// "on" / "off" (and the usual synonyms); anything else is a usage error.
bool parseSwitch(const QString &text, bool *on)
{
    const QString word = text.toLower();
    if (word == QLatin1String("on") || word == QLatin1String("yes") || word == QLatin1String("true") || word == QLatin1String("1")) {
        *on = true;
        return true;
    }
    if (word == QLatin1String("off") || word == QLatin1String("no") || word == QLatin1String("false") || word == QLatin1String("0")) {
        *on = false;
        return true;
    }
    return false;
}

VLPreferencesDevice preferencesDevice(const KDDevicePtr &device)
{
    VLPreferencesDevice shown;
    shown.live = device && device->isAvailable() && device->isConnected();
    if (device) {
        shown.serialNumber = device->serialNumber();
        shown.chipId = device->attributeForKey(KDDeviceAttributeChipId);
        shown.firmware = device->attributeForKey(KDDeviceAttributeFirmware);
        shown.freeDiskSpace = device->attributeForKey(KDDeviceAttributeFreeDiskSpace);
    }
    return shown;
}

VLPreferencesSyncState preferencesState(VLSyncManager *manager)
{
    VLPreferencesSyncState state;
    state.isInSync = manager->isInSync();
    state.isJustGatheringPreliminaryInfo = manager->isJustGatheringPreliminaryInfo();
    state.statusMessage = manager->statusMessage();
    const KDDevicePtr device = manager->device();
    state.managerDeviceLive = device && device->isAvailable() && device->isConnected();
    state.lastSyncDateString = manager->lastSyncDateString();
    state.hasSynced = manager->lastSyncDate().isValid();
    state.autoSyncOnDeviceConnection = manager->autoSyncOnDeviceConnection();
    state.syncSelectedFandecksOnly = manager->syncSelectedFandecksOnly();
    return state;
}

QJsonObject settingsJson(VLSyncManager *manager)
{
    return {{QStringLiteral("autoSync"), manager->autoSyncOnDeviceConnection()},
            {QStringLiteral("selectedFandecksOnly"), manager->syncSelectedFandecksOnly()}};
}

QJsonObject serviceSettingsJson()
{
    return {{QStringLiteral("serviceURL"), vlSyncProductionURL()},
            {QStringLiteral("caFile"), tinteraTextJson(VLServiceSettings::value(VLServiceSettings::TrustedCAFileKey))},
            {QStringLiteral("requireSigned"), VLSyncManager::requireSignedFiles()}};
}

// The device's settings (when a manager is given) and the service settings; after turning
// "selected-only" on, the fandecks the next sync removes.
void printSettings(TinteraInvocation &invocation, VLSyncManager *manager, const VLSelectedOnlyWarning &warning = {})
{
    if (invocation.json) {
        QJsonObject settings = manager ? settingsJson(manager) : QJsonObject();
        const QJsonObject service = serviceSettingsJson();
        for (auto it = service.begin(); it != service.end(); ++it)
            settings.insert(it.key(), it.value());
        QJsonObject printed{{QStringLiteral("settings"), settings}};
        if (!warning.text().isEmpty()) {
            QJsonArray removed;
            for (const VLSyncFileInfoPtr &fandeck : warning.removed)
                removed.append(QJsonObject{{QStringLiteral("id"), fandeck->fileID()}, {QStringLiteral("name"), vlFandeckDisplayName(fandeck)}});
            printed.insert(QStringLiteral("removedByNextSync"), removed);
        }
        invocation.printJson(printed);
        return;
    }
    if (!warning.text().isEmpty())
        invocation.println(warning.text());
    if (manager) {
        invocation.println(vlFormat(tr("Auto sync on device connection: %@"), onOff(manager->autoSyncOnDeviceConnection())));
        invocation.println(vlFormat(tr("Sync selected fandecks only:    %@"), onOff(manager->syncSelectedFandecksOnly())));
    }
    const QString caFile = VLServiceSettings::value(VLServiceSettings::TrustedCAFileKey);
    invocation.println(vlFormat(tr("Sync service:                   %@"), vlSyncProductionURL()));
    invocation.println(vlFormat(tr("Extra trusted CA certificates:  %@"), caFile.isEmpty() ? tr("none") : caFile));
    invocation.println(vlFormat(tr("Accept only signed files:       %@"), onOff(VLSyncManager::requireSignedFiles())));
}

// "settings service-url URL", "settings ca-file FILE" and "settings require-signed on|off": stored for
// this user, no device needed.
int changeServiceSetting(TinteraInvocation &invocation, const QString &name, const QString &value)
{
    VLError error;
    bool stored = false;
    bool on = false;
    if (name == QLatin1String("require-signed")) {
        if (!parseSwitch(value, &on)) {
            invocation.fail(tr("usage: tintera settings require-signed on|off"));
            return TinteraExitUsage;
        }
        stored = VLSyncManager::setRequireSignedFiles(on, &error);
    } else {
        const QString key = name == QLatin1String("service-url") ? VLServiceSettings::ServiceURLKey
                                                                 : VLServiceSettings::TrustedCAFileKey;
        stored = VLServiceSettings::setValue(key, value == QLatin1String("default") ? QString() : value, &error);
    }
    if (!stored) {
        invocation.fail(error.localizedDescription());
        return TinteraExitFailure;
    }
    printSettings(invocation, nullptr);
    return TinteraExitSuccess;
}

QString columns(const QList<QStringList> &rows)
{
    QList<qsizetype> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row.at(i).size());
    }
    QString text;
    for (const QStringList &row : rows) {
        QStringList padded;
        for (qsizetype i = 0; i < row.size(); ++i)
            padded << row.at(i).leftJustified(widths.at(i));
        text += padded.join(QStringLiteral("  ")).replace(kTrailingSpace, QString()) + QLatin1Char('\n');
    }
    return text;
}

} // namespace

int tinteraDevicesCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("\"devices\" takes no arguments."));
        return TinteraExitUsage;
    }
    TinteraDevices devices;
    if (const VLError refused = devices.deviceFolderError()) {
        invocation.fail(refused.localizedDescription());
        return TinteraExitFailure;
    }
    // Devices already present announce themselves within moments; a short wait is enough.
    const QList<KDDevicePtr> found = devices.connectedDevices(std::min(invocation.deviceWaitMilliseconds(), 3000));
    if (invocation.json) {
        QJsonArray list;
        for (const KDDevicePtr &device : found) {
            const QString freeSpace = device->attributeForKey(KDDeviceAttributeFreeDiskSpace);
            list.append(QJsonObject{{QStringLiteral("name"), device->name()},
                                    {QStringLiteral("serialNumber"), device->serialNumber()},
                                    {QStringLiteral("firmware"), tinteraTextJson(device->attributeForKey(KDDeviceAttributeFirmware))},
                                    {QStringLiteral("freeBytes"), tinteraBytesJson(freeSpace)},
                                    {QStringLiteral("storage"), vlPreferencesStorageText(freeSpace)}});
        }
        invocation.printJson({{QStringLiteral("devices"), list}});
        return TinteraExitSuccess;
    }
    if (found.isEmpty()) {
        invocation.println(tr("No TINTERA device is connected."));
        return TinteraExitSuccess;
    }
    QList<QStringList> rows = {{tr("Name"), tr("Serial number"), tr("Firmware"), tr("Storage")}};
    for (const KDDevicePtr &device : found) {
        rows.append({device->name(), device->serialNumber(), device->attributeForKey(KDDeviceAttributeFirmware),
                     vlPreferencesStorageText(device->attributeForKey(KDDeviceAttributeFreeDiskSpace))});
    }
    invocation.print(columns(rows));
    return TinteraExitSuccess;
}

int tinteraStatusCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("\"status\" takes no arguments."));
        return TinteraExitUsage;
    }
    TinteraDeviceSession session(invocation, stderr);
    if (!session.openForReading())
        return TinteraExitFailure;
    VLSyncManager *manager = session.manager();
    VLPreferencesDevice device = preferencesDevice(manager->device());
    VLPreferencesInfoTexts texts = vlPreferencesInfoTexts(device, preferencesState(manager));
    // Away, the device is still known by its serial number; what it holds now is not known.
    const QString name = manager->device() ? manager->device()->name() : QString();
    device.serialNumber = manager->serialNumber();
    texts.serialNumber = device.serialNumber;
    if (invocation.json) {
        const QJsonObject shown{{QStringLiteral("name"), tinteraTextJson(name)},
                                {QStringLiteral("serialNumber"), device.serialNumber},
                                {QStringLiteral("chipId"), tinteraTextJson(device.chipId)},
                                {QStringLiteral("firmware"), tinteraTextJson(device.firmware)},
                                {QStringLiteral("freeBytes"), tinteraBytesJson(device.freeDiskSpace)},
                                {QStringLiteral("storage"), texts.storage},
                                {QStringLiteral("connected"), device.live}};
        invocation.printJson({{QStringLiteral("device"), shown},
                              {QStringLiteral("lastSync"), tinteraDateJson(manager->lastSyncDate())},
                              {QStringLiteral("lastSyncText"), manager->lastSyncDateString()},
                              {QStringLiteral("status"), texts.status},
                              {QStringLiteral("settings"), settingsJson(manager)}});
        return TinteraExitSuccess;
    }
    invocation.println(vlFormat(tr("Device:        %@"), session.isStored() ? tr("not connected") : name));
    invocation.println(vlFormat(tr("Serial Number: %@"), texts.serialNumber));
    invocation.println(vlFormat(tr("Chip ID:       %@"), texts.chipId));
    invocation.println(vlFormat(tr("Firmware:      %@"), texts.firmware));
    invocation.println(vlFormat(tr("Storage:       %@"), texts.storage));
    invocation.println(texts.status);
    printSettings(invocation, manager);
    return TinteraExitSuccess;
}

int tinteraSettingsCommand(TinteraInvocation &invocation)
{
    const QStringList arguments = invocation.positional();
    bool on = false;
    const bool change = !arguments.isEmpty();
    const bool serviceSetting = change && (arguments.at(0) == QLatin1String("service-url")
                                           || arguments.at(0) == QLatin1String("ca-file")
                                           || arguments.at(0) == QLatin1String("require-signed"));
    if (serviceSetting && arguments.size() == 2)
        return changeServiceSetting(invocation, arguments.at(0), arguments.at(1));
    if (change
        && (arguments.size() != 2 || !parseSwitch(arguments.at(1), &on)
            || (arguments.at(0) != QLatin1String("auto-sync") && arguments.at(0) != QLatin1String("selected-only")))) {
        invocation.fail(tr("usage: tintera settings [auto-sync on|off | selected-only on|off | service-url URL|default | "
                           "ca-file FILE|default | require-signed on|off]"));
        return TinteraExitUsage;
    }
    // Turning "selected-only" on removes fandecks from the device at the next sync: which ones
    // depends on the device's inventory, which a preliminary run reads.
    const bool selectingOnly = change && on && arguments.at(0) == QLatin1String("selected-only");
    TinteraDeviceSession session(invocation, stderr);
    if (!(change ? session.open() : session.openForReading()) || (selectingOnly && !session.gatherPreliminaryInfo()))
        return TinteraExitFailure;
    VLSyncManager *manager = session.manager();
    VLSelectedOnlyWarning warning;
    if (change) {
        if (!manager->canChangeDefaults()) {
            invocation.fail(tr("the settings cannot change while the device syncs."));
            return TinteraExitFailure;
        }
        if (selectingOnly && !manager->syncSelectedFandecksOnly()) {
            warning = vlSelectedOnlyWarning(manager);
            if (warning.needsConfirmation() && !invocation.parser.isSet(QStringLiteral("yes"))) {
                invocation.fail(warning.text() + QLatin1Char(' ')
                                + tr("Select fandecks with \"tintera fandecks select ID\" first, or repeat with --yes."));
                return TinteraExitFailure;
            }
        }
        if (arguments.at(0) == QLatin1String("auto-sync"))
            manager->setAutoSyncOnDeviceConnection(on);
        else
            manager->setSyncSelectedFandecksOnly(on);
    }
    printSettings(invocation, manager, warning);
    return TinteraExitSuccess;
}

int tinteraFandecksCommand(TinteraInvocation &invocation)
{
    const QStringList arguments = invocation.positional();
    const bool change = !arguments.isEmpty();
    if (change
        && (arguments.size() != 2
            || (arguments.at(0) != QLatin1String("select") && arguments.at(0) != QLatin1String("unselect")))) {
        invocation.fail(tr("usage: tintera fandecks [select ID|NAME | unselect ID|NAME]"));
        return TinteraExitUsage;
    }
    // The list comes from the inventory of the computer, the device and the service; with the
    // device away, from what the computer stored of the last one.
    TinteraDeviceSession session(invocation, stderr);
    if (!(change ? session.open() : session.openForReading()))
        return TinteraExitFailure;
    if (!session.isStored() && !session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    VLSyncManager *manager = session.manager();
    // The service's part of the list comes from its last listing this computer kept, if any.
    for (const VLError &error : session.preliminaryErrors()) {
        if (error.domain() == VLURLErrorDomain || error.domain() == VLSyncRequestErrorDomain
            || error.domain() == vlSyncProductionURL()) {
            invocation.fail(vlFormat(tr("the list may be incomplete: the service was not reached (Error code %d, %@)."),
                                     error.code(), error.localizedDescription()));
            break;
        }
    }
    const VLSyncFileList fandecks =
        manager->syncInfo() ? vlFandecksSortedByDescription(manager->syncInfo()->allUniqueFandecks()) : VLSyncFileList();

    if (change) {
        // By id, or by the name the list shows when no other fandeck has it.
        const QString wanted = arguments.at(1);
        QStringList ids;
        for (const VLSyncFileInfoPtr &fandeck : fandecks) {
            if (fandeck->fileID() == wanted) {
                ids = {wanted};
                break;
            }
            if (vlFandeckDisplayName(fandeck).compare(wanted, Qt::CaseInsensitive) == 0)
                ids << fandeck->fileID();
        }
        if (ids.size() != 1) {
            invocation.fail(vlFormat(ids.isEmpty() ? tr("no fandeck has the id or name \"%@\"; \"tintera fandecks\" lists them.")
                                                   : tr("several fandecks are named \"%@\"; choose one by its id."),
                                     wanted));
            return TinteraExitFailure;
        }
        manager->setUserWantsSyncForFandeckWithID(arguments.at(0) == QLatin1String("select"), ids.first());
    }
    // What is on the device now is known only while it is connected.
    const auto onDevice = [&](const VLSyncFileInfoPtr &fandeck) -> std::optional<bool> {
        if (session.isStored())
            return std::nullopt;
        return manager->syncInfo()->fandeckExistsOnDeviceWithFandeckID(fandeck->fileID());
    };

    if (invocation.json) {
        QJsonArray list;
        for (const VLSyncFileInfoPtr &fandeck : fandecks) {
            list.append(QJsonObject{{QStringLiteral("id"), fandeck->fileID()},
                                    {QStringLiteral("name"), vlFandeckDisplayName(fandeck)},
                                    {QStringLiteral("selected"), manager->userWantsSyncForFandeckWithID(fandeck->fileID())},
                                    {QStringLiteral("onDevice"), onDevice(fandeck) ? QJsonValue(*onDevice(fandeck)) : QJsonValue()}});
        }
        invocation.printJson({{QStringLiteral("fandecks"), list},
                              {QStringLiteral("selectedFandecksOnly"), manager->syncSelectedFandecksOnly()}});
        return TinteraExitSuccess;
    }
    if (fandecks.isEmpty()) {
        invocation.println(tr("No fandecks are known yet."));
        return TinteraExitSuccess;
    }
    QList<QStringList> rows = {{tr("Sync"), tr("ID"), tr("Fandeck"), tr("On device")}};
    for (const VLSyncFileInfoPtr &fandeck : fandecks) {
        const std::optional<bool> there = onDevice(fandeck);
        rows.append({manager->userWantsSyncForFandeckWithID(fandeck->fileID()) ? QStringLiteral("[x]") : QStringLiteral("[ ]"),
                     fandeck->fileID(), vlFandeckDisplayName(fandeck), !there ? tr("unknown") : *there ? tr("yes") : tr("no")});
    }
    invocation.print(columns(rows));
    invocation.println(manager->syncSelectedFandecksOnly()
                           ? tr("Only the ticked fandecks sync; the others are removed from the device.")
                           : tr("Every fandeck syncs; the ticks count once \"settings selected-only on\" is set."));
    return TinteraExitSuccess;
}
