// "tintera history": the syncs kept in the measurement library's history, without a device.

#include "TinteraCommandLine.h"
#include "TinteraCommands.h"
#include "TinteraJson.h"
#include "VLFormat.h"
#include "VLMeasurementLibrary.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

VLError errorOf(const VLSyncHistoryEntry::Error &error)
{
    return VLError(error.domain, error.code, error.description);
}

QJsonObject entryJson(const VLSyncHistoryEntry &entry)
{
    QJsonArray errors;
    for (const VLSyncHistoryEntry::Error &error : entry.errors)
        errors.append(tinteraErrorJson(errorOf(error)));
    return {{QStringLiteral("startedAt"), tinteraDateJson(entry.startedAt)},
            {QStringLiteral("endedAt"), tinteraDateJson(entry.endedAt)},
            {QStringLiteral("deviceSerialNumber"), entry.deviceSerialNumber},
            {QStringLiteral("ending"), entry.ending},
            {QStringLiteral("installed"), tinteraFilesJson(entry.installed)},
            {QStringLiteral("fandecksEnabled"), tinteraFilesJson(entry.fandecksEnabled)},
            {QStringLiteral("errors"), errors}};
}

// One block a sync: the line that says when, which device and how it ended, then what it did.
QString entryText(const VLSyncHistoryEntry &entry)
{
    const QString none = tr("nothing");
    QString text = vlFormat(tr("%@  %@  %@ (%.1f s)\n"), entry.startedAt.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                            entry.deviceSerialNumber, entry.ending, double(entry.startedAt.msecsTo(entry.endedAt)) / 1000.0);
    const QString installed = VLSyncHistoryEntry::filesText(entry.installed);
    const QString enabled = VLSyncHistoryEntry::filesText(entry.fandecksEnabled);
    text += vlFormat(tr("  Installed: %@\n"), installed.isEmpty() ? none : installed);
    text += vlFormat(tr("  Fandecks enabled: %@\n"), enabled.isEmpty() ? none : enabled);
    text += vlFormat(tr("  Errors: %d\n"), int(entry.errors.size()));
    for (const VLSyncHistoryEntry::Error &error : entry.errors)
        text += vlFormat(tr("    Error code %d, %@\n"), int(error.code), error.description);
    return text;
}

} // namespace

int tinteraHistoryCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("usage: tintera history [--json]"));
        return TinteraExitUsage;
    }
    // A library nobody has written yet has no history; reading it does not create one.
    const QString path = VLMeasurementLibrary::defaultPath();
    VLSyncHistory history;
    if (QFileInfo::exists(path)) {
        VLMeasurementLibrary library(path);
        VLError error;
        if (!library.open(&error) || (history = library.history(&error), !error.isNull())) {
            invocation.fail(error.localizedDescription());
            return TinteraExitFailure;
        }
    }
    if (invocation.json) {
        QJsonArray list;
        for (const VLSyncHistoryEntry &entry : std::as_const(history))
            list.append(entryJson(entry));
        invocation.printJson({{QStringLiteral("library"), path}, {QStringLiteral("history"), list}});
        return TinteraExitSuccess;
    }
    if (history.isEmpty()) {
        invocation.println(tr("No sync has been recorded yet: every sync, from the tray or \"tintera sync\", is."));
        return TinteraExitSuccess;
    }
    for (const VLSyncHistoryEntry &entry : std::as_const(history))
        invocation.print(entryText(entry) + QLatin1Char('\n'));
    invocation.println(vlFormat(tr("%d syncs in %@"), int(history.size()), path));
    return TinteraExitSuccess;
}
