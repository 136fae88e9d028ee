// The commands that run the sync and the user-started export.
#include "TinteraCommandLine.h"
#include "TinteraCommandSupport.h"
#include "TinteraCommands.h"
#include "TinteraMatchTable.h"
#include "VLApplicationInfo.h"
#include "VLExportController.h"
#include "VLFormat.h"
#include "VLSyncManager.h"
#include "VLZip.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

// Waits for one export and keeps its result.
class ExportWaiter : public VLExportControllerDelegate
{
public:
    void exportControllerFinishedWithError(VLExportController *, const VLError &error) override
    {
        finished = true;
        result = error;
        loop.quit();
    }
    bool finished = false;
    VLError result;
    QEventLoop loop;
};

// zip stores the paths it is given, so it runs from the folder that holds the export: the archive
// then holds "N.cxf" or "N/...", not the whole path from the root.
bool zipExport(const QString &exported, const QString &archive)
{
    const QFileInfo source(exported);
    const QString previous = QDir::currentPath();
    if (!QDir::setCurrent(source.absolutePath()))
        return false;
    QFile::remove(archive);
    VLZip zip;
    zip.setSourceFilename(source.fileName());
    const bool packed = zip.zipToFilename(QFileInfo(archive).absoluteFilePath());
    QDir::setCurrent(previous);
    return packed;
}

} // namespace

int tinteraSyncCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("\"sync\" takes no arguments."));
        return TinteraExitUsage;
    }
    TinteraDeviceSession session(invocation, invocation.out);
    if (!session.open())
        return TinteraExitFailure;
    invocation.println(vlFormat(tr("Device %@, service %@"), session.manager()->device()->serialNumber(), vlSyncProductionURL()));
    if (!session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    return tinteraReportSync(invocation, session.runner().sync(), session.manager());
}

int tinteraExportCommand(TinteraInvocation &invocation)
{
    const QStringList arguments = invocation.positional();
    if (arguments.size() != 1 || !arguments.first().endsWith(QLatin1String(".cxf"), Qt::CaseInsensitive)
        || QFileInfo(arguments.first()).completeBaseName().isEmpty()) {
        invocation.fail(tr("usage: tintera export FILE.cxf [--zip]"));
        return TinteraExitUsage;
    }
    const QString path = QFileInfo(arguments.first()).absoluteFilePath();
    if (!QFileInfo(QFileInfo(path).absolutePath()).isDir()) {
        invocation.fail(vlFormat(tr("the folder %@ does not exist."), QFileInfo(path).absolutePath()));
        return TinteraExitFailure;
    }
    // The fandecks the matches refer to are found through the inventory of the first run.
    TinteraDeviceSession session(invocation, stderr);
    if (!session.open() || !session.gatherPreliminaryInfo())
        return TinteraExitFailure;
    VLSyncManager *manager = session.manager();

    ExportWaiter waiter;
    VLExportController controller(manager);
    controller.setDelegate(&waiter);
    controller.exportToFilename(path);
    while (!waiter.finished)
        waiter.loop.exec();
    if (!waiter.result.isNull()) {
        invocation.fail(vlFormat(tr("the export failed: Error code %d, %@"), waiter.result.code(),
                                 waiter.result.localizedDescription()));
        return TinteraExitFailure;
    }

    const QFileInfo chosen(path);
    const bool inFolder = !controller.audioFileNames().isEmpty();
    const QString folder = chosen.absolutePath() + QLatin1Char('/') + chosen.completeBaseName();
    const QString document = inFolder ? folder + QLatin1Char('/') + chosen.fileName() : path;
    if (!QFileInfo::exists(document)) {
        if (controller.matches().isEmpty()) {
            invocation.println(tr("The device holds no captured colours; nothing was exported."));
            return TinteraExitSuccess;
        }
        invocation.fail(vlFormat(tr("%d captured colour(s) on the device, none could be matched to an installed fandeck; "
                                    "\"tintera sync\" installs the fandecks."),
                                 int(controller.matches().size())));
        return TinteraExitFailure;
    }

    VLError error;
    const QList<TinteraMatchRow> rows = tinteraReadMatchRows(document, &error);
    invocation.print(tinteraFormatMatchTable(rows));
    invocation.println(vlFormat(tr("Exported %d of %d match(es) to %@"), int(rows.size()), int(controller.matches().size()),
                                document));
    if (inFolder) {
        const QStringList notes = QDir(folder + QStringLiteral("/Audio")).entryList(QDir::Files, QDir::Name);
        invocation.println(vlFormat(tr("Audio notes: %d in %@/Audio"), int(notes.size()), folder));
        if (notes.size() < controller.audioFileNames().size())
            invocation.println(tr("Some audio notes are not on this computer yet; export again to fetch the next one, "
                                  "or run \"tintera sync\" to fetch them all."));
    }
    const bool rowsHaveNotes = std::any_of(rows.cbegin(), rows.cend(), [](const TinteraMatchRow &row) { return !row.audioNote.isEmpty(); });
    if (!inFolder && rowsHaveNotes)
        invocation.println(vlFormat(tr("The audio notes of these matches are already on this computer, in %@"),
                                    manager->pathForGlobalAutoSyncMatchesAudioFolder()));
    if (rows.size() < controller.matches().size())
        invocation.println(vlFormat(tr("%d match(es) could not be exported: their fandeck is not installed on this computer."),
                                    int(controller.matches().size() - rows.size())));
    if (invocation.parser.isSet(QStringLiteral("zip"))) {
        const QString archive = chosen.absolutePath() + QLatin1Char('/') + chosen.completeBaseName() + QStringLiteral(".zip");
        if (!zipExport(inFolder ? folder : document, archive)) {
            invocation.fail(vlFormat(tr("packing %@ failed."), archive));
            return TinteraExitFailure;
        }
        invocation.println(vlFormat(tr("Archive: %@"), archive));
    }
    return rows.size() == controller.matches().size() ? TinteraExitSuccess : TinteraExitFailure;
}
