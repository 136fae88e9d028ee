// The commands that run the sync and the user-started export.
#include "TinteraCommandLine.h"
#include "TinteraCommandSupport.h"
#include "TinteraCommands.h"
#include "TinteraJson.h"
#include "TinteraMatchTable.h"
#include "VLApplicationInfo.h"
#include "VLExportController.h"
#include "VLExportTarget.h"
#include "VLFormat.h"
#include "VLMatchExportFormat.h"
#include "VLSyncManager.h"
#include "VLZip.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>

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

void printExportText(const TinteraInvocation &invocation, const QList<TinteraMatchRow> &rows, int total,
                     const QString &document, const QString &folder, qsizetype audioFiles, const QString &audioCache)
{
    invocation.print(tinteraFormatMatchTable(rows));
    invocation.println(vlFormat(tr("Exported %d of %d match(es) to %@"), int(rows.size()), total, document));
    if (!folder.isEmpty()) {
        const QStringList notes = QDir(folder + QStringLiteral("/Audio")).entryList(QDir::Files, QDir::Name);
        invocation.println(vlFormat(tr("Audio notes: %d in %@/Audio"), int(notes.size()), folder));
        if (notes.size() < audioFiles)
            invocation.println(tr("Some audio notes are not on this computer yet; export again to fetch the next one, "
                                  "or run \"tintera sync\" to fetch them all."));
    }
    const bool rowsHaveNotes = std::any_of(rows.cbegin(), rows.cend(), [](const TinteraMatchRow &row) { return !row.audioNote.isEmpty(); });
    if (folder.isEmpty() && rowsHaveNotes)
        invocation.println(vlFormat(tr("The audio notes of these matches are already on this computer, in %@"), audioCache));
    if (rows.size() < total)
        invocation.println(vlFormat(tr("%d match(es) could not be exported: their fandeck is not installed on this computer."),
                                    int(total - rows.size())));
}

// The audio notes the document refers to, each where it is: beside the document as written, else
// in the cache of the synced notes.
QJsonArray audioNotesJson(const QString &document, const QList<TinteraMatchRow> &rows, const QString &audioCache)
{
    QJsonArray notes;
    const QString documentFolder = QFileInfo(document).absolutePath();
    for (const TinteraMatchRow &row : rows) {
        if (row.audioNote.isEmpty())
            continue;
        QString path = QDir::cleanPath(documentFolder + QLatin1Char('/') + row.audioNote);
        if (!QFileInfo::exists(path))
            path = audioCache + QLatin1Char('/') + QFileInfo(row.audioNote).fileName();
        const bool present = QFileInfo::exists(path);
        notes.append(QJsonObject{{QStringLiteral("name"), row.audioNote},
                                 {QStringLiteral("path"), present ? QJsonValue(path) : QJsonValue()},
                                 {QStringLiteral("present"), present}});
    }
    return notes;
}

void printExportJson(const TinteraInvocation &invocation, VLMatchExportFormat format, const QString &document,
                     const QList<TinteraMatchRow> &rows, int total, const QString &audioCache, const QString &archive)
{
    QJsonArray matches;
    for (const TinteraMatchRow &row : rows)
        matches.append(tinteraMatchRowJson(row));
    invocation.printJson({{QStringLiteral("file"), tinteraTextJson(document)},
                          {QStringLiteral("format"), vlMatchExportFormatName(format)},
                          {QStringLiteral("exported"), int(rows.size())},
                          {QStringLiteral("total"), total},
                          {QStringLiteral("matches"), matches},
                          {QStringLiteral("audioNotes"), audioNotesJson(document, rows, audioCache)},
                          {QStringLiteral("archive"), tinteraTextJson(archive)}});
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
    const QString serial = session.manager()->device()->serialNumber();
    if (invocation.json)
        invocation.printJson({{QStringLiteral("event"), QStringLiteral("start")},
                              {QStringLiteral("device"), serial},
                              {QStringLiteral("service"), vlSyncProductionURL()}});
    else
        invocation.println(vlFormat(tr("Device %@, service %@"), serial, vlSyncProductionURL()));
    if (!session.gatherPreliminaryInfo()) {
        if (invocation.json)
            invocation.printJsonFailure(TinteraExitFailure);
        return TinteraExitFailure;
    }
    return tinteraReportSync(invocation, session.runner().sync(), session.manager());
}

int tinteraExportCommand(TinteraInvocation &invocation)
{
    const QStringList arguments = invocation.positional();
    const QString usage = tr("usage: tintera export FILE [--format cxf|cgats|csv|gpl|ase] [--zip] [--force]");
    if (arguments.size() != 1 || QFileInfo(arguments.first()).completeBaseName().isEmpty()) {
        invocation.fail(usage);
        return TinteraExitUsage;
    }
    std::optional<VLMatchExportFormat> format;
    if (invocation.parser.isSet(QStringLiteral("format"))) {
        format = vlMatchExportFormatForName(invocation.parser.value(QStringLiteral("format")));
        if (!format) {
            invocation.fail(vlFormat(tr("unknown format \"%@\"; %@"), invocation.parser.value(QStringLiteral("format")), usage));
            return TinteraExitUsage;
        }
        // A file whose extension says another format would be opened as that format and misread.
        if (const auto named = vlMatchExportFormatForPath(arguments.first()); named && *named != *format) {
            invocation.fail(vlFormat(tr("%@ has the extension of the %@ format, not of %@; use a .%@ file or leave out --format."),
                                     QFileInfo(arguments.first()).fileName(), vlMatchExportFormatName(*named),
                                     vlMatchExportFormatName(*format), vlMatchExportFileExtension(*format)));
            return TinteraExitUsage;
        }
    } else {
        format = vlMatchExportFormatForPath(arguments.first());
        if (!format) {
            invocation.fail(vlFormat(tr("the extension of %@ names no export format: use .cxf, .cie, .cgats, .it8, .txt, "
                                        ".csv, .gpl or .ase, or --format; %@"),
                                     arguments.first(), usage));
            return TinteraExitUsage;
        }
    }
    const QString path = QFileInfo(arguments.first()).absoluteFilePath();
    if (!QFileInfo(QFileInfo(path).absolutePath()).isDir()) {
        invocation.fail(vlFormat(tr("the folder %@ does not exist."), QFileInfo(path).absolutePath()));
        return TinteraExitFailure;
    }
    const QFileInfo chosen(path);
    const QString archive = invocation.parser.isSet(QStringLiteral("zip"))
                                ? chosen.absolutePath() + QLatin1Char('/') + chosen.completeBaseName() + QStringLiteral(".zip")
                                : QString();
    if (!archive.isEmpty() && QFileInfo::exists(archive) && !invocation.parser.isSet(QStringLiteral("force"))) {
        invocation.fail(vlFormat(tr("%@ already exists; nothing was exported (--force replaces it)."), archive));
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
    controller.setExportFormat(*format);
    controller.setReplacesExistingFile(invocation.parser.isSet(QStringLiteral("force")));
    controller.exportToFilename(path);
    while (!waiter.finished)
        waiter.loop.exec();
    if (waiter.result.domain() == VLExportTargetErrorDomain) {
        invocation.fail(waiter.result.code() == VLExportTargetExists
                            ? vlFormat(tr("%@ already exists; nothing was exported (--force replaces it)."),
                                       waiter.result.userInfo().value(QStringLiteral("path")).toString())
                            : waiter.result.localizedDescription());
        return TinteraExitFailure;
    }
    if (!waiter.result.isNull()) {
        invocation.fail(vlFormat(tr("the export failed: Error code %d, %@"), waiter.result.code(),
                                 waiter.result.localizedDescription()));
        return TinteraExitFailure;
    }

    const QString document = controller.documentPath();
    const bool inFolder = document != path;
    const QString folder = QFileInfo(document).absolutePath();
    if (!QFileInfo::exists(document)) {
        if (controller.matches().isEmpty()) {
            if (invocation.json)
                printExportJson(invocation, *format, {}, {}, 0, {}, {});
            else
                invocation.println(tr("The device holds no captured colours; nothing was exported."));
            return TinteraExitSuccess;
        }
        if (!controller.exportedRecords().isEmpty()) {
            invocation.fail(vlFormat(tr("%@ could not be written."), document));
            return TinteraExitFailure;
        }
        invocation.fail(vlFormat(tr("%d captured colour(s) on the device, none could be matched to an installed fandeck; "
                                    "\"tintera sync\" installs the fandecks."),
                                 int(controller.matches().size())));
        return TinteraExitFailure;
    }

    const QList<TinteraMatchRow> rows = tinteraMatchRowsFromRecords(controller.exportedRecords());
    const int total = int(controller.matches().size());
    if (!invocation.json)
        printExportText(invocation, rows, total, document, inFolder ? folder : QString(), controller.audioFileNames().size(),
                        manager->pathForGlobalAutoSyncMatchesAudioFolder());
    if (!archive.isEmpty()) {
        if (!zipExport(inFolder ? folder : document, archive)) {
            invocation.fail(vlFormat(tr("packing %@ failed."), archive));
            return TinteraExitFailure;
        }
        if (!invocation.json)
            invocation.println(vlFormat(tr("Archive: %@"), archive));
    }
    if (invocation.json)
        printExportJson(invocation, *format, document, rows, total, manager->pathForGlobalAutoSyncMatchesAudioFolder(),
                        archive);
    return rows.size() == controller.matches().size() ? TinteraExitSuccess : TinteraExitFailure;
}
