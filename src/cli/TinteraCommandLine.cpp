#include "TinteraCommandLine.h"

#include "TinteraCommands.h"
#include "VLApplicationInfo.h"
#include "VLFormat.h"
#include "VLServiceSettings.h"
#include "VLTransportSecurity.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <functional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

struct TinteraCommandInfo
{
    const char *name;
    const char *syntax;      // positional arguments as the help shows them
    const char *summary;     // one line for the overview
    const char *description; // the command's own help
    int (*run)(TinteraInvocation &);
    bool runsSyncs;          // takes --stall-timeout
    std::function<void(QCommandLineParser &)> addOptions;
};

const QCommandLineOption kServiceURLOption(QStringLiteral("service-url"),
                                           QStringLiteral("Base URL of the sync service (default: TINTERA_SERVICE_URL, else \"settings service-url\", else the built-in one)."),
                                           QStringLiteral("url"));
const QCommandLineOption kCAFileOption(QStringLiteral("ca-file"),
                                       QStringLiteral("PEM file of CA certificates to trust beside the system's (default: \"settings ca-file\")."),
                                       QStringLiteral("file"));
const QCommandLineOption kDeviceOption(QStringLiteral("device"),
                                       QStringLiteral("Serial number of the device to use (default: the first connected)."),
                                       QStringLiteral("serial"));
const QCommandLineOption kWaitOption(QStringLiteral("wait"),
                                     QStringLiteral("Seconds to wait for the device to appear (default 10; status, fandecks "
                                                    "and settings show what is stored of it at once unless given)."),
                                     QStringLiteral("seconds"), QStringLiteral("10"));
const QCommandLineOption kStallOption(QStringLiteral("stall-timeout"),
                                      QStringLiteral("Cancel a run that shows no progress for this many seconds; 0 waits forever (default 120)."),
                                      QStringLiteral("seconds"), QStringLiteral("120"));
const QCommandLineOption kVerboseOption(QStringList{QStringLiteral("v"), QStringLiteral("verbose")},
                                        QStringLiteral("Copy every log line to standard error."));

const QCommandLineOption kJsonOption(QStringLiteral("json"),
                                     QStringLiteral("Print JSON objects, one a line, instead of text (see \"tintera help json\")."));
// The commands that have a --json form.
const QStringList kJsonCommands = {QStringLiteral("devices"),  QStringLiteral("status"), QStringLiteral("fandecks"),
                                   QStringLiteral("settings"), QStringLiteral("sync"),   QStringLiteral("export"),
                                   QStringLiteral("updates"),  QStringLiteral("measurements"),
                                   QStringLiteral("history")};

// Options that take a value as the next argument, so that a value is not taken for the command.
const QStringList kValueOptions = {QStringLiteral("--service-url"), QStringLiteral("--ca-file"), QStringLiteral("--device"), QStringLiteral("--wait"),
                                   QStringLiteral("--stall-timeout"), QStringLiteral("--format"), QStringLiteral("--link"),
                                   QStringLiteral("--search"), QStringLiteral("--since"), QStringLiteral("--fandeck")};

const QList<TinteraCommandInfo> &commands()
{
    static const QList<TinteraCommandInfo> list = {
        {"devices", "", "List the connected devices.",
         "Lists the connected TINTERA devices: name, serial number, firmware and free storage.",
         tinteraDevicesCommand, false, {}},
        {"status", "", "Show the device, its last sync and its sync settings.",
         "Shows what the preferences window shows for the device: serial number, chip, firmware, storage,\n"
         "the last sync and the two sync settings.",
         tinteraStatusCommand, false, {}},
        {"sync", "", "Run a full sync with the device and the service.",
         "Gathers the fandeck information, then runs a full sync: fandecks and device files from the service,\n"
         "installed on the device, measurements exported, clock set. Shows the progress; at the end the\n"
         "errors the sync collected and a summary. Exits with 1 when the sync collected errors, 3 when it\n"
         "was cancelled (device gone, interrupted, no progress).",
         tinteraSyncCommand, true, {}},
        {"updates", "", "Show what the next sync will download and install.",
         "Gathers the fandeck information as a sync begins, installs nothing, and lists what a sync started\n"
         "now would do: the files it downloads, the device files it installs (firmware and bootloader with\n"
         "the versions from and to), the fandecks it adds, enables and removes, and the device settings it\n"
         "applies. Exits with 1 when the device or the service did not answer everything.",
         tinteraUpdatesCommand, true, {}},
        {"export", "FILE", "Export the device's matches to a CxF3, CGATS, CSV or palette file.",
         "Reads the matches from the device and writes them to FILE. The format follows the file's\n"
         "extension unless --format names it: .cxf CxF3 document; .cie, .cgats, .it8 or .txt CGATS\n"
         "measurement file (CIELAB, sRGB and the spectrum, for ArgyllCMS and other colour tools); .csv\n"
         "spreadsheet; .gpl GIMP palette (GIMP, Inkscape, Krita, Scribus); .ase Adobe Swatch Exchange.\n"
         "An extension of another format than --format names is refused. A CxF3 document with audio\n"
         "notes goes into a folder named after it, with the notes in its \"Audio\" folder; the other\n"
         "formats cannot refer to notes and are written at FILE alone. An existing file is not replaced\n"
         "unless --force is given.",
         tinteraExportCommand, true,
         [](QCommandLineParser &parser) {
             parser.addOption(QCommandLineOption(QStringLiteral("zip"),
                                                 QStringLiteral("Also pack the export into FILE.zip.")));
             parser.addOption(QCommandLineOption(QStringLiteral("force"),
                                                 QStringLiteral("Replace the file (and the archive) if it exists.")));
             parser.addOption(QCommandLineOption(QStringLiteral("format"),
                                                 QStringLiteral("File format: cxf, cgats, csv, gpl or ase (default: from the extension)."),
                                                 QStringLiteral("format")));
         }},
        {"fandecks", "[select|unselect ID|NAME]", "List the fandecks; choose which ones sync.",
         "Without arguments lists every fandeck known on the computer, the device and the service, sorted\n"
         "by name, with a tick for the ones chosen for sync. \"select ID\" and \"unselect ID\" change the\n"
         "choice (a fandeck's name does as well as its id); it counts when \"settings selected-only on\" is set.",
         tinteraFandecksCommand, true, {}},
        {"settings", "[auto-sync|selected-only|require-signed on|off | service-url URL | ca-file FILE]",
         "Show or change the sync settings and the service settings.",
         "Without arguments shows every setting. \"auto-sync on|off\": sync whenever the device is connected\n"
         "(in the tray application). \"selected-only on|off\": sync only the chosen fandecks and delete the\n"
         "others from the device; turning it on names the fandecks the next sync removes, and with none\n"
         "chosen needs --yes. \"service-url URL\": the sync service to use (the tray application too;\n"
         "--service-url and TINTERA_SERVICE_URL come first). \"ca-file FILE\": a PEM file of CA certificates\n"
         "trusted beside the system's, for a service whose certificate comes from a CA of its own. \"default\"\n"
         "as the URL or FILE removes the setting. \"require-signed on|off\": accept only files the service\n"
         "signed with a trusted key (signed files are always checked; unsigned ones pass when off). These\n"
         "three are the user's, for every device, and need no device.",
         tinteraSettingsCommand, false,
         [](QCommandLineParser &parser) {
             parser.addOption(QCommandLineOption(QStringLiteral("yes"),
                                                 QStringLiteral("Turn \"selected-only\" on even though no fandeck is selected.")));
         }},
        {"measurements", "", "List the captures kept on this computer; no device needed.",
         "Lists every capture a sync or an export has read, newest first, from the measurement library in\n"
         "the data folder: capture time (local), colour number and name, fandeck, CIELAB, sRGB, tag, and\n"
         "whether it is still on the device (a capture deleted on the device stays in the library).\n"
         "--search keeps the captures whose tag, name, number or fandeck contain TEXT (ignoring case);\n"
         "--since those captured at or after DATE (2026-11-22 from local midnight, or a date and time,\n"
         "local unless it names a zone); --fandeck those of one fandeck, by name or id.",
         tinteraMeasurementsCommand, false,
         [](QCommandLineParser &parser) {
             parser.addOption(QCommandLineOption(QStringLiteral("search"), QStringLiteral("Text in the tag, name, number or fandeck."),
                                                 QStringLiteral("TEXT")));
             parser.addOption(QCommandLineOption(QStringLiteral("since"), QStringLiteral("Captured at or after this date."),
                                                 QStringLiteral("DATE")));
             parser.addOption(QCommandLineOption(QStringLiteral("fandeck"), QStringLiteral("Fandeck name or id."),
                                                 QStringLiteral("ID")));
         }},
        {"history", "", "List the syncs run on this computer; no device needed.",
         "Lists every full sync run on this computer, newest first, from the history kept in the\n"
         "measurement library in the data folder: when it started (local time), the device, how it ended\n"
         "(completed, failed, cancelled, stalled, deviceGone, refused) and how long it took, the files it\n"
         "installed on the device and the fandecks it enabled, with their versions, and the errors it\n"
         "collected.",
         tinteraHistoryCommand, false, {}},
        {"demo", "", "Run the whole product against an emulated device and service.",
         "Writes the demo catalog into a fresh temporary folder, starts the emulated sync service and an\n"
         "emulated device with a few captured colours, runs a first full sync, prints the exported\n"
         "matches and runs a second sync to show that nothing new moves. The folder goes at the end\n"
         "unless --keep is given. --link puts the device and the service behind links as users have\n"
         "them (for example usb-full-speed+dsl; loopback, usb-full-speed, usb-high-speed, dsl,\n"
         "mobile); the device then takes seconds to reboot, as a real one does.",
         tinteraDemoCommand, true,
         [](QCommandLineParser &parser) {
             parser.addOption(QCommandLineOption(QStringLiteral("keep"), QStringLiteral("Keep the demo folder.")));
             parser.addOption(QCommandLineOption(QStringLiteral("link"), QStringLiteral("DEVICE+SERVICE links."),
                                                 QStringLiteral("PROFILE")));
         }},
    };
    return list;
}

const TinteraCommandInfo *findCommand(const QString &name)
{
    for (const TinteraCommandInfo &command : commands()) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

const char *const kJsonHelp =
    "JSON output (--json)\n"
    "\n"
    "devices, status, fandecks, settings, sync, export, measurements and history take --json. Standard output then carries\n"
    "JSON objects only, one a line; messages for people still go to standard error. Names are\n"
    "camelCase; a value that is not known is null. The exit status is the same as without --json.\n"
    "\n"
    "devices   {\"devices\": [{\"name\", \"serialNumber\", \"firmware\", \"freeBytes\", \"storage\"}]}\n"
    "status    {\"device\": {\"name\", \"serialNumber\", \"chipId\", \"firmware\", \"freeBytes\", \"storage\",\n"
    "          \"connected\"}, \"lastSync\", \"lastSyncText\", \"status\",\n"
    "          \"settings\": {\"autoSync\", \"selectedFandecksOnly\"}}\n"
    "settings  {\"settings\": {\"autoSync\", \"selectedFandecksOnly\", \"serviceURL\", \"caFile\",\n"
    "          \"requireSigned\"}}; changing service-url, ca-file or require-signed prints {\"settings\":\n"
    "          {\"serviceURL\", \"caFile\", \"requireSigned\"}}. \"serviceURL\" is the service used,\n"
    "          \"caFile\" the stored CA file (null when none); after \"selected-only on\" also\n"
    "          \"removedByNextSync\": [{\"id\", \"name\"}]\n"
    "fandecks  {\"fandecks\": [{\"id\", \"name\", \"selected\", \"onDevice\"}], \"selectedFandecksOnly\"}\n"
    "updates   {\"summary\", \"downloads\": [F], \"install\": [F + \"from\", \"downloaded\"], \"fandecks\":\n"
    "          {\"add\": [F], \"enable\": [F], \"remove\": [F]}, \"deviceSettings\": F + \"again\" or null,\n"
    "          \"firmware\": {\"from\", \"to\"} or null, \"bootloader\": the same}; F is a file:\n"
    "          {\"type\", \"id\", \"name\", \"version\", \"bytes\"}\n"
    "export    {\"file\", \"format\", \"exported\", \"total\", \"matches\": [{\"colorId\", \"fandeck\",\n"
    "          \"lab\": {\"L\", \"a\", \"b\"}, \"tag\", \"audioNote\"}], \"audioNotes\": [{\"name\", \"path\",\n"
    "          \"present\"}], \"archive\"}\n"
    "measurements {\"library\", \"total\", \"measurements\": [{\"deviceSerialNumber\", \"capturedAt\",\n"
    "          \"colorNumber\", \"colorName\", \"fandeck\", \"fandeckId\", \"lab\": {\"L\", \"a\", \"b\"}, \"srgb\",\n"
    "          \"tag\", \"audioNote\", \"onDevice\", \"firstSeen\", \"lastSeen\"}]}; \"total\" counts the\n"
    "          library, \"measurements\" what the filters kept, newest first\n"
    "history   {\"library\", \"history\": [{\"startedAt\", \"endedAt\", \"deviceSerialNumber\", \"ending\",\n"
    "          \"installed\": [S], \"fandecksEnabled\": [S], \"errors\": [{\"code\", \"domain\", \"message\"}]}]},\n"
    "          newest first; \"ending\" is \"completed\", \"failed\", \"cancelled\", \"stalled\",\n"
    "          \"deviceGone\" or \"refused\"; S is a file: {\"type\", \"sku\", \"description\", \"version\"}\n"
    "sync      one object per event while it runs; \"run\" is \"preliminary\" (the fandeck\n"
    "          information) or \"sync\" (the full sync):\n"
    "            {\"event\": \"start\", \"device\", \"service\"}\n"
    "            {\"event\": \"run\", \"run\", \"totalSteps\"}\n"
    "            {\"event\": \"step\", \"run\", \"step\", \"totalSteps\", \"message\"}\n"
    "            {\"event\": \"download\", \"run\", \"step\", \"percent\"}\n"
    "            {\"event\": \"error\", \"run\", \"step\", \"fatal\", \"code\", \"domain\", \"message\"}\n"
    "            {\"event\": \"stalled\", \"run\", \"step\", \"message\", \"seconds\", \"givingUp\"}\n"
    "          and last a summary:\n"
    "            {\"event\": \"summary\", \"result\": \"ok\"|\"errors\"|\"cancelled\"|\"failed\", \"exitCode\",\n"
    "             \"seconds\", \"errors\": [{\"code\", \"domain\", \"message\"}],\n"
    "             \"cancelReason\": \"deviceGone\"|\"stalled\"|\"interrupted\"|null, \"lastSync\",\n"
    "             \"measurements\", \"error\"}\n"
    "\n"
    "Dates are ISO 8601 in UTC (\"2026-11-22T08:03:00Z\"); the text output shows local time. A\n"
    "command that fails before it has anything to report prints {\"error\": \"...\", \"exitCode\": N};\n"
    "for sync this is its summary, with \"event\": \"summary\" and \"result\": \"failed\".\n"
    "\"tintera --version --json\" prints {\"program\", \"product\", \"version\", \"build\"}.\n";

QString overview()
{
    QString text = tr("Usage: tintera [options] COMMAND [arguments]\n\n"
                      "Keeps a TINTERA colour-capture device in step with the sync service, from the command line.\n\n"
                      "Commands:\n");
    for (const TinteraCommandInfo &command : commands())
        text += vlFormat("  %-12s %@\n", command.name, tr(command.summary));
    text += tr("\nOptions of every command: --service-url URL, --ca-file FILE, --device SERIAL, --wait SECONDS, --verbose.\n"
               "\"tintera COMMAND --help\" describes a command. TINTERA_SERVICE_URL chooses the service,\n"
               "TINTERA_DATA_DIR the data folder. --json (devices, status, fandecks, settings, sync, export,\n"
               "measurements, history) prints JSON for scripts: \"tintera help json\". \"tintera --version\" prints the version.\n"
               "\nExit status: 0 success; 1 a failure, or a sync that collected errors; 2 a wrong command\n"
               "line; 3 a cancelled run (device gone, interrupted, no progress).\n");
    return text;
}

void setUpParser(QCommandLineParser &parser, const TinteraCommandInfo &command)
{
    parser.setApplicationDescription(tr(command.description));
    parser.addHelpOption();
    parser.addOptions({kServiceURLOption, kCAFileOption, kDeviceOption, kWaitOption, kVerboseOption});
    if (command.runsSyncs)
        parser.addOption(kStallOption);
    if (kJsonCommands.contains(QLatin1String(command.name)))
        parser.addOption(kJsonOption);
    if (command.addOptions)
        command.addOptions(parser);
    if (*command.syntax)
        parser.addPositionalArgument(QString::fromLatin1(command.syntax), QString(), QString::fromLatin1(command.syntax));
}

// The command is the first argument that is neither an option nor an option's value.
qsizetype commandIndex(const QStringList &arguments)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--"))
            return i + 1 < arguments.size() ? i + 1 : -1;
        if (kValueOptions.contains(argument)) {
            ++i;
            continue;
        }
        if (!argument.startsWith(QLatin1Char('-')))
            return i;
    }
    return -1;
}

bool positiveSeconds(const QString &text, int *milliseconds)
{
    bool ok = false;
    const int seconds = text.toInt(&ok);
    if (!ok || seconds < 0 || seconds > 24 * 3600)
        return false;
    *milliseconds = seconds * 1000;
    return true;
}

void printVersion(const TinteraInvocation &invocation, bool json)
{
    if (!json) {
        invocation.println(vlApplicationVersionLine(QStringLiteral("tintera")));
        return;
    }
    invocation.printJson({{QStringLiteral("program"), QStringLiteral("tintera")},
                          {QStringLiteral("product"), vlApplicationInfoValue(QStringLiteral("CFBundleName")).toString()},
                          {QStringLiteral("version"), vlApplicationInfoValue(QStringLiteral("CFBundleShortVersionString")).toString()},
                          {QStringLiteral("build"), vlApplicationInfoValue(QStringLiteral("CFBundleVersion")).toString()}});
}

} // namespace

QString TinteraInvocation::deviceSerialNumber() const
{
    return parser.value(kDeviceOption);
}

int TinteraInvocation::deviceWaitMilliseconds() const
{
    int milliseconds = 10000;
    positiveSeconds(parser.value(kWaitOption), &milliseconds);
    return milliseconds;
}

bool TinteraInvocation::deviceWaitGiven() const
{
    return parser.isSet(kWaitOption);
}

int TinteraInvocation::stallTimeoutMilliseconds() const
{
    int milliseconds = 120000;
    if (runsSyncs)
        positiveSeconds(parser.value(kStallOption), &milliseconds);
    return milliseconds;
}

void TinteraInvocation::print(const QString &text) const
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
}

void TinteraInvocation::println(const QString &line) const
{
    print(line + QLatin1Char('\n'));
}

void TinteraInvocation::printJson(const QJsonObject &object) const
{
    jsonPrinted = true;
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
}

void TinteraInvocation::printJsonFailure(int status) const
{
    QJsonObject failure{{QStringLiteral("error"), lastFailure}, {QStringLiteral("exitCode"), status}};
    // A sync's output always ends with its summary.
    if (command == QLatin1String("sync")) {
        failure.insert(QStringLiteral("event"), QStringLiteral("summary"));
        failure.insert(QStringLiteral("result"), QStringLiteral("failed"));
    }
    printJson(failure);
}

void TinteraInvocation::fail(const QString &line) const
{
    lastFailure = line;
    const QByteArray bytes = (QStringLiteral("tintera: ") + line + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), err);
    std::fflush(err);
}

int tinteraMain(const QStringList &arguments)
{
    TinteraInvocation invocation;
    const bool jsonAsked = arguments.contains(QLatin1String("--json"));
    if (arguments.contains(QLatin1String("--version"))) {
        printVersion(invocation, jsonAsked);
        return TinteraExitSuccess;
    }
    // A script that asked for JSON gets it for a wrong command line too, whichever part is wrong.
    const auto usageError = [&invocation, jsonAsked](const QString &text) {
        invocation.fail(text);
        if (jsonAsked)
            invocation.printJsonFailure(TinteraExitUsage);
        return int(TinteraExitUsage);
    };
    const qsizetype index = commandIndex(arguments);
    QString name = index > 0 ? arguments.at(index) : QString();
    QStringList rest = arguments;
    if (index > 0)
        rest.removeAt(index);

    // "tintera help [COMMAND]" reads as "tintera [COMMAND] --help".
    if (name == QLatin1String("help")) {
        const qsizetype next = commandIndex(rest);
        name = next > 0 ? rest.at(next) : QString();
        if (next > 0)
            rest.removeAt(next);
        if (name == QLatin1String("json")) {
            invocation.print(tr(kJsonHelp));
            return TinteraExitSuccess;
        }
        rest << QStringLiteral("--help");
    }
    if (name.isEmpty()) {
        const bool askedForHelp = rest.contains(QLatin1String("--help")) || rest.contains(QLatin1String("-h"));
        if (!askedForHelp && jsonAsked)
            return usageError(tr("no command given; \"tintera --help\" lists the commands."));
        invocation.print(overview());
        return askedForHelp ? TinteraExitSuccess : TinteraExitUsage;
    }
    const TinteraCommandInfo *command = findCommand(name);
    if (!command)
        return usageError(vlFormat(tr("unknown command \"%@\"; \"tintera --help\" lists the commands."), name));

    invocation.command = name;
    setUpParser(invocation.parser, *command);
    rest[0] = QStringLiteral("tintera ") + name;
    if (!invocation.parser.parse(rest))
        return usageError(invocation.parser.errorText());
    invocation.runsSyncs = command->runsSyncs;
    if (invocation.parser.isSet(QStringLiteral("help"))) {
        // The parser names the program by the path it was started as; the usage names the command.
        QString help = invocation.parser.helpText();
        if (const qsizetype program = help.indexOf(QLatin1String(" [options]")); program > 0)
            help.replace(0, program, QStringLiteral("Usage: tintera ") + name);
        invocation.print(help);
        return TinteraExitSuccess;
    }
    int milliseconds = 0;
    if (!positiveSeconds(invocation.parser.value(kWaitOption), &milliseconds)
        || (command->runsSyncs && !positiveSeconds(invocation.parser.value(kStallOption), &milliseconds)))
        return usageError(tr("--wait and --stall-timeout take a whole number of seconds."));
    if (invocation.parser.isSet(kServiceURLOption)) {
        if (const VLError notURL = VLServiceSettings::serviceURLError(invocation.parser.value(kServiceURLOption));
            !notURL.isNull())
            return usageError(notURL.localizedDescription());
    }
    if (invocation.parser.isSet(kVerboseOption))
        qputenv("TINTERA_LOG", "1");
    if (invocation.parser.isSet(kServiceURLOption))
        vlSetSyncProductionURLOverride(invocation.parser.value(kServiceURLOption));
    // The settings command reaches no service, and must be able to replace a CA file gone bad.
    VLError trustError;
    if (name != QLatin1String("settings")
        && !vlTrustConfiguredCertificates(invocation.parser.value(kCAFileOption), &trustError)) {
        invocation.json = kJsonCommands.contains(name) && invocation.parser.isSet(kJsonOption);
        invocation.fail(trustError.localizedDescription());
        if (invocation.json)
            invocation.printJsonFailure(TinteraExitFailure);
        return TinteraExitFailure;
    }
    invocation.json = kJsonCommands.contains(name) && invocation.parser.isSet(kJsonOption);
    const int status = command->run(invocation);
    // A script reading JSON gets an object even when the command failed before it had one.
    if (invocation.json && status != TinteraExitSuccess && !invocation.jsonPrinted)
        invocation.printJsonFailure(status);
    return status;
}
