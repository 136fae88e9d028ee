// The demo: the whole product against an emulated device and service, in a temporary folder.
#include "TinteraCommandLine.h"
#include "TinteraCommandSupport.h"
#include "TinteraCommands.h"
#include "TinteraDemoEnvironment.h"
#include "TinteraMatchTable.h"
#include "VLApplicationInfo.h"
#include "VLFormat.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QJsonObject>

#include <optional>

namespace {

// How long the demo's device is away for a reboot behind a real link: seconds, as a real one.
constexpr int kRealRebootMilliseconds = 3000;

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

struct ServedBytes
{
    qint64 bytes = 0;
    qint64 files = 0; // files with at least one byte served
};

// What the emulated service has sent so far, from its own counters: the second sync's "nothing
// moved" rests on them, so counters that cannot be read end the demo.
std::optional<ServedBytes> servedBytes(TinteraDemoEnvironment &environment, VLError *error)
{
    const QJsonObject statistics = environment.serviceStatistics(error);
    if (statistics.isEmpty())
        return std::nullopt;
    ServedBytes served;
    const QJsonObject files = statistics.value(QStringLiteral("files")).toObject();
    for (auto it = files.begin(); it != files.end(); ++it) {
        const qint64 bytes = it->toObject().value(QStringLiteral("bytesServed")).toInteger();
        served.bytes += bytes;
        served.files += bytes > 0 ? 1 : 0;
    }
    return served;
}

int unreadableCounters(TinteraInvocation &invocation, const VLError &error)
{
    invocation.fail(vlFormat(tr("the service emulator's counters cannot be read: %@"), error.localizedDescription()));
    return TinteraExitFailure;
}

} // namespace

int tinteraDemoCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("\"demo\" takes no arguments."));
        return TinteraExitUsage;
    }
    TinteraDemoEnvironment::Options options;
    options.keep = invocation.parser.isSet(QStringLiteral("keep"));
    if (invocation.parser.isSet(QStringLiteral("link"))) {
        QString problem;
        const std::optional<LinkSetting> link = LinkSetting::parse(invocation.parser.value(QStringLiteral("link")), &problem);
        if (!link) {
            invocation.fail(vlFormat(tr("--link: %@"), problem));
            return TinteraExitUsage;
        }
        options.link = *link;
        if (!link->device.isLoopback())
            options.rebootMilliseconds = kRealRebootMilliseconds;
    }
    invocation.println(tr("TINTERA Sync demo: an emulated device and sync service on this machine."));
    TinteraDemoEnvironment environment;
    VLError error;
    if (!environment.start(options, &error)) {
        invocation.fail(vlFormat(tr("the demo cannot start: %@"), error.localizedDescription()));
        return TinteraExitFailure;
    }
    // The service of the demo, whatever the environment named before.
    vlSetSyncProductionURLOverride(environment.serviceURL());
    invocation.println(vlFormat(tr("  folder:  %@"), environment.folder()));
    invocation.println(vlFormat(tr("  service: %@"), environment.serviceURL()));
    invocation.println(vlFormat(tr("  device:  %@, with %d captured colours"), environment.serialNumbers().join(QStringLiteral(", ")), 3));
    if (!options.link.device.isLoopback() || !options.link.service.isLoopback()) {
        invocation.println(vlFormat(tr("  device link:  %@, reboots in %d ms"), options.link.device.description(),
                                    options.rebootMilliseconds));
        invocation.println(vlFormat(tr("  service link: %@"), options.link.service.description()));
    }

    TinteraDeviceSession session(invocation, invocation.out);
    if (!session.open([&environment] { environment.stop(); }))
        return TinteraExitFailure;
    VLSyncManager *manager = session.manager();
    TinteraSyncRunner &runner = session.runner();

    invocation.println(QString());
    invocation.println(tr("First sync: everything is new."));
    if (!session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    const std::optional<ServedBytes> beforeFirst = servedBytes(environment, &error);
    if (!beforeFirst)
        return unreadableCounters(invocation, error);
    int status = tinteraReportSync(invocation, runner.sync(), manager);
    if (status != TinteraExitSuccess)
        return status;
    const std::optional<ServedBytes> afterFirst = servedBytes(environment, &error);
    if (!afterFirst)
        return unreadableCounters(invocation, error);
    invocation.println(vlFormat(tr("Downloaded %d file(s), %lld bytes, from the service."),
                                int(afterFirst->files - beforeFirst->files), afterFirst->bytes - beforeFirst->bytes));

    const QString matchesFile = manager->pathForGlobalAutoSyncMatchesFile();
    const QList<TinteraMatchRow> rows = tinteraReadMatchRows(matchesFile, &error);
    if (rows.isEmpty()) {
        invocation.fail(vlFormat(tr("the sync exported no matches to %@: %@"), matchesFile, error.localizedDescription()));
        return TinteraExitFailure;
    }
    invocation.println(QString());
    invocation.println(tr("The captured colours, matched to fandeck colours:"));
    invocation.print(tinteraFormatMatchTable(rows));
    invocation.println(vlFormat(tr("CxF3 document: %@"), matchesFile));
    invocation.println(vlFormat(tr("Audio notes:   %@"), manager->pathForGlobalAutoSyncMatchesAudioFolder()));

    invocation.println(QString());
    invocation.println(tr("Second sync: nothing new should move."));
    if (!session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    status = tinteraReportSync(invocation, runner.sync(), manager);
    if (status != TinteraExitSuccess)
        return status;
    const std::optional<ServedBytes> afterSecond = servedBytes(environment, &error);
    if (!afterSecond)
        return unreadableCounters(invocation, error);
    const qint64 secondBytes = afterSecond->bytes - afterFirst->bytes;
    invocation.println(vlFormat(tr("Downloaded %lld bytes from the service in the second sync."), secondBytes));

    environment.stop();
    if (options.keep)
        invocation.println(vlFormat(tr("The demo folder stays at %@"), environment.folder()));
    if (secondBytes != 0) {
        invocation.fail(tr("the second sync downloaded files again."));
        return TinteraExitFailure;
    }
    invocation.println(tr("Demo finished."));
    return TinteraExitSuccess;
}
