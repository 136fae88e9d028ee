#include "TestSupport.h"
#include "TinteraEmulators.h"
#include "TinteraProcess.h"
#include "VLZip.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The ids of the fandeck list, in the order shown, with their ticks.
QList<std::pair<QString, bool>> listedFandecks(const QString &out)
{
    QList<std::pair<QString, bool>> fandecks;
    static const QRegularExpression row(QStringLiteral("^\\[([ x])\\]\\s+(\\S+)\\s"), QRegularExpression::MultilineOption);
    for (auto it = row.globalMatch(out); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        fandecks.append({match.captured(2), match.captured(1) == QLatin1String("x")});
    }
    return fandecks;
}

} // namespace

TEST(TinteraCommandLine, HelpAndUsageErrors)
{
    const TinteraRun overview = runTintera({"--help"});
    EXPECT_EQ(overview.exitCode, 0);
    for (const char *command : {"devices", "status", "sync", "updates", "export", "measurements", "fandecks", "settings", "demo"}) {
        EXPECT_TRUE(overview.out.contains(QStringLiteral("  %1 ").arg(command))) << command;
        const TinteraRun help = runTintera({command, "--help"});
        EXPECT_EQ(help.exitCode, 0) << command;
        EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: tintera %1 [options]").arg(command))) << qPrintable(help.out);
        EXPECT_TRUE(help.out.contains("--service-url")) << command;
        EXPECT_EQ(runTintera({"help", command}).out, help.out) << command;
    }
    EXPECT_TRUE(runTintera({"export", "--help"}).out.contains("--zip"));
    EXPECT_FALSE(runTintera({"status", "--help"}).out.contains("--stall-timeout"));

    // Options may come before the command; their values are not taken for it.
    EXPECT_EQ(runTintera({"--wait", "1", "sync", "--help"}).exitCode, 0);
}

// Usage errors exit with 2 and say what is wrong, before any device is looked for; a script that
// asked for JSON gets an object saying the same.
TEST(TinteraCommandLine, UsageErrorsSayWhatIsWrongAsTextAndAsJson)
{
    const QList<std::pair<QStringList, QString>> rows{
        {{}, "no command given"},
        {{"frobnicate"}, "unknown command \"frobnicate\""},
        {{"sync", "--wait", "soon"}, "--wait and --stall-timeout take a whole number of seconds."},
        {{"status", "--no-such-option"}, "no-such-option"},
        {{"export"}, "usage: tintera export FILE"},
        {{"export", "notes.doc"}, "names no export format"},
        {{"export", "notes.cxf", "--format", "pdf"}, "unknown format \"pdf\""},
        {{"export", "notes.cxf", "--format", "gpl"}, "notes.cxf has the extension of the cxf format, not of gpl"},
        {{"settings", "auto-sync", "maybe"}, "usage: tintera settings ["},
        {{"sync", "--service-url", "not-a-url"}, "\"not-a-url\" is not the URL of a sync service"},
        {{"fandecks", "pick", "x"}, "usage: tintera fandecks ["},
    };
    for (const auto &[arguments, message] : rows) {
        SCOPED_TRACE(qPrintable(arguments.join(' ')));
        const TinteraRun text = runTintera(arguments);
        EXPECT_EQ(text.exitCode, 2);
        if (!arguments.isEmpty()) { // the bare command prints the overview instead
            EXPECT_TRUE(text.err.contains(message)) << qPrintable(text.err);
        }
        const TinteraRun json = runTintera(arguments + QStringList{"--json"});
        EXPECT_EQ(json.exitCode, 2);
        const QJsonObject failure = QJsonDocument::fromJson(json.out.toUtf8()).object();
        EXPECT_EQ(failure.value("exitCode").toInt(), 2) << qPrintable(json.out);
        EXPECT_TRUE(failure.value("error").toString().contains(message)) << qPrintable(json.out);
    }
}

// Every program's --help prints its help (with the word given), succeeds and touches nothing.
TEST(TinteraTools, HelpPrintsAndTouchesNothing)
{
    for (const auto &[line, word] : {std::pair{"tools/catalog/tintera-catalog write --help", "usage"},
                                     {"tools/catalog/tintera-catalog --help", "usage"},
                                     {"tools/devsim/tintera-devsim --help", "usage"},
                                     {"tools/devsim/tintera-devsim serve --help", "--state"},
                                     {"tools/devsim/tintera-devctl --help", "--device-dir"},
                                     {"tools/cloudsim/tintera-cloudsim --help", "--fault"},
                                     {"src/app/VelmoraSync --help", "--stall-timeout"}}) {
        SCOPED_TRACE(line);
        QTemporaryDir folder;
        QProcess program;
        program.setWorkingDirectory(folder.path());
        const QStringList words = QString::fromLatin1(line).split(' ');
        program.start(tinteraBuiltProgram(words.first()), words.mid(1));
        ASSERT_TRUE(program.waitForFinished(30000));
        EXPECT_EQ(program.exitCode(), 0);
        EXPECT_TRUE(QString::fromUtf8(program.readAllStandardOutput()).contains(word, Qt::CaseInsensitive));
        EXPECT_TRUE(QDir(folder.path()).isEmpty());
    }
}

// Bash completes option values: --device the devices offered and synced before, --link the
// profiles (and its value is not taken for the command).
TEST(TinteraCompletion, BashCompletesOptionValues)
{
    ScopedDataFolder data;
    ASSERT_TRUE(QDir().mkpath(data.filePath("devices")) && QDir().mkpath(data.filePath("Devices/VL000002")));
    ASSERT_TRUE(QFile(data.filePath("devices/VL000001.sock")).open(QIODevice::WriteOnly));
    const ScopedEnvironment devices("KALVEX_DEVICE_DIR", data.filePath("devices").toUtf8());
    for (const auto &[words, expected] : {std::pair{"tintera status --device ''", "VL000001 VL000002"},
                                          {"tintera demo --link usb-full-speed+", "usb-full-speed+dsl usb-full-speed+mobile"},
                                          {"tintera --link dsl demo --k", "--keep"}}) {
        QProcess bash;
        bash.start("bash", {"-c", QStringLiteral("source '%1/packaging/completion/tintera.bash'; COMP_WORDS=(%2); "
                                                 "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tintera; echo \"${COMPREPLY[*]}\"")
                                      .arg(TINTERA_SOURCE_DIR, words)});
        ASSERT_TRUE(bash.waitForFinished(10000));
        EXPECT_EQ(QString::fromUtf8(bash.readAllStandardOutput()).trimmed(), expected) << words;
    }
}

// Whoever can put a socket in the device folder passes for a device: a folder that is not the
// user's alone is refused with a message naming it, and no command waits for devices from it.
struct DeviceFolderCase
{
    const char *name;
    const char *folder;     // in the test's folder; "tmp/runtime-<user>" is the fallback runtime folder
    unsigned mode;          // 0: left for the program to create
    bool ownedByOtherUser;
    const char *refusal;    // empty when the folder is used
};

void PrintTo(const DeviceFolderCase &c, std::ostream *out)
{
    *out << c.name;
}

class TinteraDeviceFolder : public ::testing::TestWithParam<DeviceFolderCase>
{
};

TEST_P(TinteraDeviceFolder, IsUsedOnlyWhenItIsTheUsersAlone)
{
    const DeviceFolderCase &c = GetParam();
    if (c.ownedByOtherUser && ::geteuid() != 0) {
        GTEST_SKIP() << NotRootMessage;
    }
    ScopedDataFolder data;
    const struct passwd *account = ::getpwuid(::geteuid());
    const QString folder = data.filePath(QString::fromLatin1(c.folder).replace("<user>", account->pw_name));
    const bool fallback = folder.contains("/runtime-");
    if (c.mode) {
        ASSERT_TRUE(QDir().mkpath(folder));
        ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), c.mode), 0);
        ASSERT_EQ(c.ownedByOtherUser ? ::chown(QFile::encodeName(folder).constData(), kOtherUserId, kOtherUserId) : 0, 0);
    }
    const ScopedEnvironment deviceFolder("KALVEX_DEVICE_DIR", fallback ? QByteArray() : folder.toUtf8());
    const ScopedEnvironment runtimeFolder("XDG_RUNTIME_DIR");
    const ScopedEnvironment temporaryFolder("TMPDIR", data.filePath("tmp").toUtf8());
    QDir().mkpath(data.filePath("tmp"));

    const TinteraRun devices = runTintera({"devices"});
    // Refused, the command does not wait for devices: it would be cut off after 10 s.
    const TinteraRun status = runTintera({"status", "--wait", *c.refusal ? "30" : "1"}, 10000);
    if (*c.refusal == 0) {
        EXPECT_EQ(devices.exitCode, 0);
        EXPECT_TRUE(devices.err.isEmpty()) << qPrintable(devices.err); // the folder is decided quietly
        EXPECT_TRUE(devices.out.contains("No TINTERA device is connected."));
        EXPECT_TRUE(status.err.contains("No TINTERA device is connected (waited 1 s).")) << qPrintable(status.err);
        for (const QString &made : fallback ? QStringList{folder, folder + "/kalvex", folder + "/kalvex/devices"} : QStringList{folder})
            EXPECT_EQ(fileMode(made), 0700u) << qPrintable(made);
        return;
    }
    for (const TinteraRun &run : {devices, status}) {
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.err.contains(folder + " is not used: " + c.refusal)) << qPrintable(run.err);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TinteraDeviceFolder,
    ::testing::Values(DeviceFolderCase{"Created", "devices", 0, false, ""},
                      DeviceFolderCase{"CreatedInTheFallbackRuntimeFolder", "tmp/runtime-<user>", 0, false, ""},
                      DeviceFolderCase{"OpenToOthers", "devices", 0755, false, "other users may enter it (mode 0755"},
                      // Shared by design (a runtime folder set to /tmp): left as it is, not closed.
                      DeviceFolderCase{"SharedStickyRuntimeFolder", "tmp/runtime-<user>", 01777, false,
                                       "other users may enter it (mode 1777"},
                      DeviceFolderCase{"AnotherUsers", "devices", 0700, true, "it belongs to another user (uid 65534)"},
                      DeviceFolderCase{"InAnotherUsersRuntimeFolder", "tmp/runtime-<user>", 0700, true,
                                       "it belongs to another user (uid 65534)"}),
    [](const ::testing::TestParamInfo<DeviceFolderCase> &param) { return std::string(param.param.name); });

// Standard error is for what went wrong: ordinary commands that go right leave it empty, also
// without a runtime folder and with their progress going nowhere near a terminal.
TEST_F(TinteraAgainstEmulators, SyncShowsProgressASecondSyncMovesNothingAndStandardErrorStaysEmpty)
{
    const ScopedEnvironment noRuntimeFolder("XDG_RUNTIME_DIR");
    const auto quietly = [](const QStringList &arguments) {
        const TinteraRun run = runTintera(arguments);
        EXPECT_EQ(run.exitCode, 0) << qPrintable(arguments.join(' ') + "\n" + run.out + run.err);
        EXPECT_TRUE(run.err.isEmpty()) << qPrintable(arguments.join(' ') + ": " + run.err);
        return run;
    };
    const TinteraRun devices = quietly({"devices"});
    EXPECT_TRUE(devices.out.contains(QRegularExpression(serial + "\\s+\\S+\\s+\\d+ Mb Available"))) << qPrintable(devices.out);
    EXPECT_TRUE(quietly({"status"}).out.contains("Last Sync: Never"));

    const TinteraRun first = quietly({"sync"});
    // Not a terminal: plain lines, one per step that names itself.
    EXPECT_TRUE(first.out.contains("  step  8 of 28  Starting sync...\n"));
    EXPECT_TRUE(first.out.contains("  step 27 of 28  Finishing sync...\n"));
    EXPECT_TRUE(first.out.contains("    download 100%\n"));
    EXPECT_FALSE(first.out.contains("\x1b["));
    EXPECT_TRUE(first.out.contains("without errors"));
    EXPECT_TRUE(first.out.contains(QRegularExpression(R"(\nInstalled bootloader [0-9.]+, firmware [0-9.]+, .+ and [0-9]+ more\.\n)"))) << qPrintable(first.out);
    EXPECT_TRUE(QFile::exists(dataPath("Measurements/LastMeasurements.cxf")));

    const qint64 served = bytesServed();
    EXPECT_FALSE(quietly({"sync"}).out.contains("download"));
    EXPECT_EQ(bytesServed(), served);

    const TinteraRun status = quietly({"status"});
    EXPECT_TRUE(status.out.contains("Serial Number: " + serial));
    EXPECT_TRUE(status.out.contains("Last Sync: ")) << qPrintable(status.out);
    EXPECT_FALSE(status.out.contains("Last Sync: Never"));

    QTemporaryDir out;
    for (const QStringList &arguments : QList<QStringList>{{"--version"}, {"help"}, {"settings"}, {"settings", "auto-sync", "off"},
                                                           {"fandecks"}, {"export", out.filePath("kitchen.cxf")}})
        quietly(arguments);

    // With the device away, the commands that only read answer from what is stored, and say so.
    ASSERT_TRUE(environment.devsim({"unplug", "--serial", serial}, nullptr, nullptr));
    const TinteraRun away = runTintera({"status"});
    EXPECT_EQ(away.exitCode, 0) << qPrintable(away.err);
    EXPECT_TRUE(away.out.contains("Serial Number: " + serial)) << qPrintable(away.out);
    EXPECT_TRUE(away.out.contains("Status: No device connected. Last Sync: ")) << qPrintable(away.out);
    EXPECT_FALSE(away.out.contains("Last Sync: Never"));
    EXPECT_TRUE(away.err.contains(serial + " is not connected")) << qPrintable(away.err);
    const TinteraRun fandecks = runTintera({"fandecks"});
    EXPECT_EQ(fandecks.exitCode, 0) << qPrintable(fandecks.err);
    EXPECT_GE(listedFandecks(fandecks.out).size(), 2) << qPrintable(fandecks.out);
    EXPECT_EQ(runTintera({"settings"}).exitCode, 0);
}

TEST_F(TinteraAgainstEmulators, ADeviceGreetingWithANulKeyIsRefusedAndTheOthersAreListed)
{
    const QString hostile = QStringLiteral("VL000099");
    ASSERT_TRUE(environment.devsim({"add-device", "--serial", hostile}, nullptr, nullptr));
    ASSERT_TRUE(environment.devsim({"fault", "--serial", hostile, "--command", "Hello", "--nul-key", "--times", "0"},
                                   nullptr, nullptr));
    const TinteraRun devices = runTintera({"devices", "--verbose"});
    EXPECT_FALSE(devices.crashed);
    EXPECT_EQ(devices.exitCode, 0) << qPrintable(devices.err);
    EXPECT_TRUE(devices.out.contains(serial)) << qPrintable(devices.out);
    EXPECT_FALSE(devices.out.contains(hostile));
    EXPECT_TRUE(devices.err.contains(hostile + ".sock: device refused")) << qPrintable(devices.err);
    EXPECT_TRUE(devices.err.contains("a dictionary key holds a NUL character")) << qPrintable(devices.err);
}

// Text tags with characters XML cannot carry and capture times no date holds: the sync still
// writes a schema-valid document with every match, and the export reads it back.
TEST_F(TinteraAgainstEmulators, HostileTagsAndTimesStillExportEveryMatch)
{
    const QString control = QStringLiteral("Front") + QChar(0x01) + QStringLiteral("door") + QChar(0x1F);
    const QString nonCharacter = QStringLiteral("Gate ") + QChar(0xFFFE);
    ASSERT_TRUE(environment.devsim({"capture", "--serial", serial, "--lab", "52,11,9", "--tag", control, "--date", "nan"},
                                   nullptr, nullptr));
    ASSERT_TRUE(environment.devsim({"capture", "--serial", serial, "--lab", "40,-5,20", "--tag", nonCharacter, "--date",
                                    "1e300"},
                                   nullptr, nullptr));
    environment.devsim({"fault", "--serial", serial, "--command", "GetMeasurements", "--huge-numbers"}, nullptr, nullptr);
    const TinteraRun sync = runTintera({"sync"});
    ASSERT_EQ(sync.exitCode, 0) << qPrintable(sync.out + sync.err);

    const QString matches = dataPath("Measurements/LastMeasurements.cxf");
    const QString verdict = xmllintVerdict(matches);
    EXPECT_TRUE(verdict == "valid" || verdict == "skipped") << qPrintable(verdict);
    const QString text = QString::fromUtf8(readFile(matches));
    EXPECT_TRUE(text.contains(QStringLiteral("Front\uFFFDdoor\uFFFD"))) << "only the unrepresentable characters change";
    EXPECT_TRUE(text.contains(QStringLiteral("Gate \uFFFD")));
    EXPECT_FALSE(text.contains(QStringLiteral("Date=\"\"")));

    QTemporaryDir out;
    const TinteraRun exported = runTintera({"export", out.filePath("all.cxf")});
    EXPECT_EQ(exported.exitCode, 0) << qPrintable(exported.out + exported.err);
    EXPECT_TRUE(exported.out.contains("Exported 5 of 5 match(es)")) << qPrintable(exported.out);
}

TEST_F(TinteraAgainstEmulators, TheServiceURLOptionRanksAboveTheEnvironment)
{
    const QByteArray demoService = qgetenv("TINTERA_SERVICE_URL");
    qputenv("TINTERA_SERVICE_URL", "http://127.0.0.1:1");
    const TinteraRun unreachable = runTintera({"sync", "--stall-timeout", "30"});
    const TinteraRun partial = runTintera({"fandecks"});
    const TinteraRun chosen = runTintera({"sync", "--service-url", QString::fromUtf8(demoService)});
    qputenv("TINTERA_SERVICE_URL", demoService);

    // Every request to the unreachable service is reported; the device steps still run.
    EXPECT_EQ(unreachable.exitCode, 1);
    EXPECT_TRUE(unreachable.out.contains("service http://127.0.0.1:1")) << qPrintable(unreachable.out);
    EXPECT_TRUE(unreachable.out.contains("Error code -1004, Connection refused (http://127.0.0.1:1/")) << qPrintable(unreachable.out);
    EXPECT_TRUE(unreachable.out.contains("step 25 of 28"));
    EXPECT_EQ(partial.exitCode, 0);
    EXPECT_TRUE(partial.err.contains("the list may be incomplete: the service was not reached")) << qPrintable(partial.err);
    EXPECT_EQ(chosen.exitCode, 0) << qPrintable(chosen.out + chosen.err);
    EXPECT_TRUE(chosen.out.contains("service " + QString::fromUtf8(demoService)));
}

// One sync per device across processes: a second one is refused naming the first, before it
// sends the device or the service anything; the lock of a holder killed outright is taken over.
TEST_F(TinteraAgainstEmulators, ASecondSyncOfTheDeviceIsRefusedWhileTheFirstRuns)
{
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--command", "GetMeasurements", "--delay", "30000"},
                                   nullptr, nullptr));
    auto serviceRequests = [this] {
        QByteArray reply;
        environment.cloudsimControl("requests", &reply, nullptr);
        return QJsonDocument::fromJson(reply).array().size();
    };
    TinteraRun second;
    TinteraRun secondAsText;
    qsizetype requestsBefore = -1;
    qint64 firstPid = 0;
    runTintera({"sync"}, 60000, [&](const QString &out, qint64 pid) {
        if (!out.contains("step  9 of 28"))
            return true;
        firstPid = pid;
        requestsBefore = serviceRequests();
        second = runTintera({"sync", "--json"});
        secondAsText = runTintera({"sync"});
        ::kill(pid_t(pid), SIGKILL);
        return false;
    });
    ASSERT_NE(firstPid, 0);
    EXPECT_EQ(second.exitCode, 1) << qPrintable(second.out + second.err);
    const QString refusal = QStringLiteral("a sync of %1 is already running (tintera, pid %2)").arg(serial).arg(firstPid);
    EXPECT_TRUE(second.err.contains(refusal)) << qPrintable(second.err);
    EXPECT_TRUE(second.out.contains(refusal)) << "in the JSON summary too: " << qPrintable(second.out);
    EXPECT_EQ((secondAsText.out + secondAsText.err).count(refusal), 1) << qPrintable(secondAsText.out + secondAsText.err);
    EXPECT_EQ(serviceRequests(), requestsBefore);

    const TinteraRun afterCrash = runTintera({"sync"});
    EXPECT_EQ(afterCrash.exitCode, 0) << qPrintable(afterCrash.out + afterCrash.err);
}

// Only here must the run name the device's going as the reason: the fault matrix lets a dropped
// link end as a failed command instead.
TEST_F(TinteraAgainstEmulators, PullingTheDeviceMidSyncEndsItWithTheReason)
{
    bool pulled = false;
    const TinteraRun run = runTintera({"sync"}, 60000, [&](const QString &out, qint64) {
        if (!out.contains("step 19 of 28"))
            return true;
        pulled = environment.devsim({"unplug", "--serial", serial}, nullptr, nullptr);
        return false;
    });
    EXPECT_TRUE(pulled);
    EXPECT_EQ(run.exitCode, 3) << qPrintable(run.out + run.err);
    EXPECT_TRUE(run.out.contains("the device is no longer connected")) << qPrintable(run.out);
}

TEST_F(TinteraAgainstEmulators, SettingsAndFandeckChoicesLastAcrossRuns)
{
    // With nothing chosen, turning "selected-only" on would empty the device: refused unless confirmed.
    const TinteraRun refused = runTintera({"settings", "selected-only", "on"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("the next sync removes every fandeck from the device (Velmora")) << qPrintable(refused.err);
    EXPECT_TRUE(runTintera({"settings"}).out.contains("Sync selected fandecks only:    off"));
    EXPECT_TRUE(runTintera({"settings", "selected-only", "on", "--yes"}).out.contains("Sync selected fandecks only:    on"));
    EXPECT_TRUE(runTintera({"settings", "auto-sync", "on"}).out.contains("Auto sync on device connection: on"));
    const TinteraRun settings = runTintera({"settings"});
    EXPECT_TRUE(settings.out.contains("Sync selected fandecks only:    on"));
    EXPECT_TRUE(settings.out.contains("Auto sync on device connection: on"));

    const TinteraRun list = runTintera({"fandecks"});
    ASSERT_EQ(list.exitCode, 0) << qPrintable(list.err);
    const auto fandecks = listedFandecks(list.out);
    ASSERT_GE(fandecks.size(), 2) << qPrintable(list.out);
    for (const auto &[id, ticked] : fandecks)
        EXPECT_FALSE(ticked) << qPrintable(id);
    EXPECT_TRUE(list.out.contains("Only the ticked fandecks sync"));

    const QString chosen = fandecks.at(1).first;
    EXPECT_EQ(runTintera({"fandecks", "select", chosen}).exitCode, 0);
    auto after = listedFandecks(runTintera({"fandecks"}).out);
    ASSERT_EQ(after.size(), fandecks.size());
    EXPECT_TRUE(after.at(1).second);
    EXPECT_FALSE(after.at(0).second);

    EXPECT_EQ(runTintera({"fandecks", "unselect", chosen}).exitCode, 0);
    after = listedFandecks(runTintera({"fandecks"}).out);
    EXPECT_FALSE(after.at(1).second);

    const TinteraRun unknown = runTintera({"fandecks", "select", "no-such-fandeck"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.err.contains("no fandeck has the id or name \"no-such-fandeck\""));
    // The name the list shows chooses too.
    EXPECT_EQ(runTintera({"fandecks", "select", "velmora exteriors"}).exitCode, 0);
    EXPECT_TRUE(runTintera({"fandecks"}).out.contains(
        QRegularExpression("^\\[x\\].*Velmora Exteriors", QRegularExpression::MultilineOption)));
    EXPECT_EQ(runTintera({"fandecks", "unselect", "Velmora Exteriors"}).exitCode, 0);

    // The sync removes every fandeck from the device; back, they have other device ids, and the
    // captures made against the old ones still export.
    EXPECT_TRUE(runTintera({"updates"}).out.contains("Fandecks to remove: Velmora Exteriors"));
    runTintera({"sync"});
    EXPECT_FALSE(runTintera({"fandecks"}).out.contains(QRegularExpression(" yes$", QRegularExpression::MultilineOption)));
    EXPECT_EQ(runTintera({"settings", "selected-only", "off"}).exitCode, 0);
    const TinteraRun back = runTintera({"sync"});
    EXPECT_EQ(back.exitCode, 0) << qPrintable(back.out + back.err);
    QTemporaryDir out;
    const TinteraRun exported = runTintera({"export", out.filePath("again.csv")});
    EXPECT_EQ(exported.exitCode, 0) << qPrintable(exported.out + exported.err);
    EXPECT_TRUE(exported.out.contains("Exported 3 of 3 match(es)")) << qPrintable(exported.out);
}

TEST_F(TinteraAgainstEmulators, ExportNeedsTheFandecksThenShipsTheMissingNoteAndZips)
{
    QTemporaryDir out;
    // Before any sync the computer has none of the fandecks the matches refer to.
    const TinteraRun early = runTintera({"export", out.filePath("early.cxf")});
    EXPECT_EQ(early.exitCode, 1);
    EXPECT_TRUE(early.err.contains("none could be matched to an installed fandeck")) << qPrintable(early.err);
    EXPECT_FALSE(QFile::exists(out.filePath("early.cxf")));

    ASSERT_EQ(runTintera({"sync"}).exitCode, 0);
    // Notes already on the computer travel too: the document goes into a folder of its name, with
    // every note it refers to beside it.
    const TinteraRun plain = runTintera({"export", out.filePath("plain.cxf")});
    EXPECT_EQ(plain.exitCode, 0) << qPrintable(plain.err);
    EXPECT_TRUE(QFile::exists(out.filePath("plain/plain.cxf")));
    EXPECT_FALSE(QFileInfo::exists(out.filePath("plain.cxf")));
    EXPECT_EQ(QDir(out.filePath("plain/Audio")).entryList(QDir::Files).size(), 2);
    EXPECT_TRUE(plain.out.contains("Front door"));
    EXPECT_TRUE(plain.out.contains("Exported 3 of 3 match(es)"));
    // The notes are the computer's bytes, named by the document; the export is the user's to share,
    // with the permissions of any new file there.
    QFile probe(out.filePath("probe"));
    ASSERT_TRUE(probe.open(QIODevice::WriteOnly));
    const QByteArray document = readFile(out.filePath("plain/plain.cxf"));
    EXPECT_EQ(fileMode(out.filePath("plain/plain.cxf")), fileMode(probe.fileName()));
    for (const QString &note : QDir(out.filePath("plain/Audio")).entryList(QDir::Files)) {
        EXPECT_EQ(readFile(out.filePath("plain/Audio/" + note)), readFile(dataPath("Measurements/Audio/" + note)));
        EXPECT_TRUE(document.contains(note.toUtf8())) << qPrintable(note);
        EXPECT_EQ(fileMode(out.filePath("plain/Audio/" + note)), fileMode(probe.fileName())) << qPrintable(note);
    }

    // An existing document is replaced only with --force; the refusal names the file really meant.
    writeFile(out.filePath("plain/plain.cxf"), "mine");
    const TinteraRun again = runTintera({"export", out.filePath("plain.cxf")});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains(out.filePath("plain/plain.cxf") + " already exists")) << qPrintable(again.err);
    EXPECT_EQ(QFileInfo(out.filePath("plain/plain.cxf")).size(), 4);
    EXPECT_EQ(runTintera({"export", out.filePath("plain.cxf"), "--force"}).exitCode, 0);
    EXPECT_GT(QFileInfo(out.filePath("plain/plain.cxf")).size(), 4);
    // A file where the notes' folder must go: its own error, not a fandeck's.
    QFile blocking(out.filePath("blocked"));
    ASSERT_TRUE(blocking.open(QIODevice::WriteOnly));
    const TinteraRun blocked = runTintera({"export", out.filePath("blocked.cxf")});
    EXPECT_EQ(blocked.exitCode, 1);
    EXPECT_TRUE(blocked.err.contains("cannot write in the folder " + out.filePath("blocked") + ": File exists"))
        << qPrintable(blocked.err);

    // Both notes gone from the computer: one export fetches one of them, and the archive holds the
    // folder with the document and that note.
    const QStringList notes = QDir(dataPath("Measurements/Audio")).entryList(QDir::Files, QDir::Name);
    ASSERT_EQ(notes.size(), 2);
    for (const QString &note : notes)
        QFile::remove(dataPath("Measurements/Audio/") + note);
    const TinteraRun zipped = runTintera({"export", out.filePath("mine.cxf"), "--zip"});
    EXPECT_EQ(zipped.exitCode, 0) << qPrintable(zipped.out + zipped.err);
    EXPECT_TRUE(QFile::exists(out.filePath("mine/mine.cxf")));
    const QStringList shipped = QDir(out.filePath("mine/Audio")).entryList(QDir::Files);
    EXPECT_EQ(shipped.size(), 1);
    EXPECT_TRUE(zipped.out.contains("Some audio notes are not on this computer yet"));

    VLZip zip;
    zip.setSourceFilename(out.filePath("mine.zip"));
    QStringList entries = zip.contents();
    entries.sort();
    ASSERT_EQ(shipped.size(), 1);
    EXPECT_EQ(entries, QStringList({"mine/", "mine/Audio/", "mine/Audio/" + shipped.first(), "mine/mine.cxf"}));

    EXPECT_EQ(runTintera({"export", out.filePath("no/such/folder/x.cxf")}).exitCode, 1);

    // The device refuses to list its measurements: the export ends with that error and no file.
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--command", "GetMeasurements", "--error", "-5"}, nullptr, nullptr));
    const TinteraRun refused = runTintera({"export", out.filePath("refused.cxf")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("the export failed: Error code -5")) << qPrintable(refused.err);
    EXPECT_FALSE(QFileInfo::exists(out.filePath("refused")) || QFileInfo::exists(out.filePath("refused.cxf")));
}

TEST(TinteraDemo, RunsTheWholeProductAndPrintsTheMatches)
{
    const TinteraRun demo = runTintera({"demo"}, 300000);
    ASSERT_EQ(demo.exitCode, 0) << qPrintable(demo.out + demo.err);
    EXPECT_TRUE(demo.out.contains(QRegularExpression("Colour\\s+Fandeck\\s+L\\*\\s+a\\*\\s+b\\*\\s+Tag\\s+Audio note")));
    for (const char *tag : {"Front door", "Garden shed", "Window frames"})
        EXPECT_TRUE(demo.out.contains(tag)) << tag;
    EXPECT_TRUE(demo.out.contains("Audio/note-0001.wav"));
    // Both figures come from the service emulator's own counters.
    EXPECT_TRUE(demo.out.contains(QRegularExpression("Downloaded [1-9]\\d* file\\(s\\), [1-9]\\d* bytes, from the service.")));
    EXPECT_TRUE(demo.out.contains("Downloaded 0 bytes from the service in the second sync."));
    EXPECT_TRUE(demo.out.trimmed().endsWith("Demo finished."));
    // Without --keep its folder is gone.
    const QRegularExpressionMatch folder = QRegularExpression("folder:\\s+(\\S+)").match(demo.out);
    ASSERT_TRUE(folder.hasMatch());
    EXPECT_FALSE(QFileInfo::exists(folder.captured(1)));
}
