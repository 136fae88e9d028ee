// "tintera updates": what the next sync will do, from a preliminary run that installs nothing.
#include "TinteraCommandLine.h"
#include "TinteraCommandSupport.h"
#include "TinteraCommands.h"
#include "TinteraJson.h"
#include "VLFandeckListing.h"
#include "VLFormat.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QJsonArray>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

QString nameWithVersion(const VLSyncFileInfoPtr &file)
{
    const QString name = vlFandeckDisplayName(file);
    return file->versionString().isEmpty() ? name : name + QLatin1Char(' ') + file->versionString();
}

QJsonObject fileJson(const VLSyncFileInfoPtr &file)
{
    return { { QStringLiteral("type"), file->fileType() }, { QStringLiteral("id"), tinteraTextJson(file->fileID()) },
        { QStringLiteral("name"), vlFandeckDisplayName(file) },
        { QStringLiteral("version"), tinteraTextJson(file->versionString()) },
        { QStringLiteral("bytes"), file->byteLength() } };
}

QJsonArray filesJson(const VLSyncFileList &files)
{
    QJsonArray list;
    for (const VLSyncFileInfoPtr &file : files)
        list.append(fileJson(file));
    return list;
}

QJsonValue versionChangeJson(const VLSyncPlan::Install *install)
{
    if (!install)
        return QJsonValue::Null;
    return QJsonObject { { QStringLiteral("from"), tinteraTextJson(install->fromVersion) },
        { QStringLiteral("to"), tinteraTextJson(install->file->versionString()) } };
}

void printPlanJson(const TinteraInvocation &invocation, const VLSyncPlan &plan)
{
    QJsonArray installs;
    for (const VLSyncPlan::Install &install : plan.deviceFiles) {
        QJsonObject entry = fileJson(install.file);
        entry.insert(QStringLiteral("from"), tinteraTextJson(install.fromVersion));
        entry.insert(QStringLiteral("downloaded"), install.downloaded);
        installs.append(entry);
    }
    QJsonValue settings = QJsonValue::Null;
    if (plan.deviceSettings) {
        QJsonObject entry = fileJson(plan.deviceSettings);
        entry.insert(QStringLiteral("again"), plan.deviceSettingsAgain);
        settings = entry;
    }
    invocation.printJson({ { QStringLiteral("summary"), plan.summary() },
        { QStringLiteral("downloads"), filesJson(plan.downloads) }, { QStringLiteral("install"), installs },
        { QStringLiteral("fandecks"),
            QJsonObject { { QStringLiteral("add"), filesJson(plan.fandecksToAdd) },
                { QStringLiteral("enable"), filesJson(plan.fandecksToEnable) },
                { QStringLiteral("remove"), filesJson(plan.fandecksToRemove) } } },
        { QStringLiteral("deviceSettings"), settings },
        { QStringLiteral("firmware"), versionChangeJson(plan.installOfType(VLSyncSessionFileTypeFirmware)) },
        { QStringLiteral("bootloader"), versionChangeJson(plan.installOfType(VLSyncSessionFileTypeBootloader)) } });
}

void printList(const TinteraInvocation &invocation, const QString &heading, const VLSyncFileList &files)
{
    if (files.isEmpty())
        return;
    QStringList names;
    for (const VLSyncFileInfoPtr &file : files)
        names << nameWithVersion(file);
    invocation.println(heading + names.join(QStringLiteral(", ")));
}

void printPlanText(const TinteraInvocation &invocation, const VLSyncPlan &plan)
{
    invocation.println(plan.summary());
    if (plan.isEmpty())
        return;
    qint64 bytes = 0;
    for (const VLSyncFileInfoPtr &file : plan.downloads)
        bytes += file->byteLength();
    if (!plan.downloads.isEmpty())
        invocation.println(
            vlFormat(tr("Downloads: %d file(s), %@ bytes"), int(plan.downloads.size()), QString::number(bytes)));
    for (const VLSyncFileInfoPtr &file : plan.downloads)
        invocation.println(QStringLiteral("  ") + nameWithVersion(file));
    if (!plan.deviceFiles.isEmpty())
        invocation.println(tr("Installed on the device:"));
    for (const VLSyncPlan::Install &install : plan.deviceFiles) {
        const QString type = install.file->fileType();
        QString line = vlFormat(tr("  %@ %@ -> %@"), vlDeviceFileTypeName(type),
            install.fromVersion.isEmpty() ? tr("(none)") : install.fromVersion, install.file->versionString());
        if (type == VLSyncSessionFileTypeFirmware || type == VLSyncSessionFileTypeBootloader)
            line += QStringLiteral(" (") + vlKeepDeviceConnectedNotice() + QLatin1Char(')');
        invocation.println(line);
    }
    printList(invocation, tr("Fandecks to add:    "), plan.fandecksToAdd);
    printList(invocation, tr("Fandecks to enable: "), plan.fandecksToEnable);
    printList(invocation, tr("Fandecks to remove: "), plan.fandecksToRemove);
    if (plan.deviceSettings)
        invocation.println(vlFormat(
            plan.deviceSettingsAgain ? tr("Device settings:    %@ (applied again)") : tr("Device settings:    %@"),
            nameWithVersion(plan.deviceSettings)));
}

} // namespace

int tinteraUpdatesCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("\"updates\" takes no arguments."));
        return TinteraExitUsage;
    }
    TinteraDeviceSession session(invocation, stderr);
    if (!session.open() || !session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    const VLSyncPlan plan = session.manager()->syncPlan();
    if (invocation.json)
        printPlanJson(invocation, plan);
    else
        printPlanText(invocation, plan);
    // Without the whole inventory the plan lacks what was not reached.
    const QList<VLError> errors = session.manager()->errors();
    if (!errors.isEmpty()) {
        invocation.fail(vlFormat(tr("the list may be incomplete: %@"), errors.first().localizedDescription()));
        return TinteraExitFailure;
    }
    return TinteraExitSuccess;
}
