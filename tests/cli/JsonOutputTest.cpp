// --json output parsed with a JSON parser, field by field, against the emulators; --version; and
// a quiet standard error for ordinary commands.
#include "TestSupport.h"
#include "TinteraCommandLine.h"
#include "TinteraEmulators.h"
#include "TinteraJson.h"
#include "TinteraProcess.h"
#include "VLApplicationInfo.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>

namespace {

// Every line of the output as a JSON object; a line that is not one fails the test.
QList<QJsonObject> jsonLines(const QString &out)
{
    QList<QJsonObject> objects;
    for (const QString &line : out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << qPrintable(line);
        EXPECT_TRUE(document.isObject()) << qPrintable(line);
        objects.append(document.object());
    }
    return objects;
}

QJsonObject onlyObject(const TinteraRun &run)
{
    const QList<QJsonObject> objects = jsonLines(run.out);
    EXPECT_EQ(objects.size(), 1) << qPrintable(run.out + run.err);
    return objects.value(0);
}

QList<QJsonObject> events(const QList<QJsonObject> &lines, const QString &name)
{
    QList<QJsonObject> found;
    for (const QJsonObject &line : lines) {
        if (line.value("event").toString() == name)
            found.append(line);
    }
    return found;
}

} // namespace

TEST(TinteraVersion, BothProgramsPrintTheProductAndVersionWithoutADisplay)
{
    const QString version = vlApplicationInfoValue("CFBundleShortVersionString").toString();
    const QString build = vlApplicationInfoValue("CFBundleVersion").toString();
    ASSERT_FALSE(version.isEmpty());

    const TinteraRun text = runTintera({"--version"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, QStringLiteral("tintera (TINTERA Sync) %1 build %2\n").arg(version, build));
    EXPECT_TRUE(text.err.isEmpty()) << qPrintable(text.err);
    const QJsonObject json = onlyObject(runTintera({"--version", "--json"}));
    EXPECT_EQ(json.value("program").toString(), "tintera");
    EXPECT_EQ(json.value("product").toString(), "TINTERA Sync");
    EXPECT_EQ(json.value("version").toString(), version);
    EXPECT_EQ(json.value("build").toString(), build);

    // No display and no platform plugin chosen: the tray application must not need one.
    QProcess app;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_RUNTIME_DIR"})
        environment.remove(name);
    app.setProcessEnvironment(environment);
    app.start(tinteraBuiltProgram("src/app/VelmoraSync"), {"--version"});
    ASSERT_TRUE(app.waitForFinished(30000));
    EXPECT_EQ(app.exitCode(), 0);
    EXPECT_EQ(QString::fromUtf8(app.readAllStandardOutput()),
              QStringLiteral("VelmoraSync (TINTERA Sync) %1 build %2\n").arg(version, build));
    EXPECT_TRUE(app.readAllStandardError().isEmpty());
}

// What a real sync cannot be made to show: a percent said once per file, fractions that are no
// number, and an error's domain.
TEST(TinteraJsonEvents, APercentIsSaidOncePerFileAndErrorsNameTheirDomain)
{
    CapturedStream captured;
    ASSERT_NE(captured.file(), nullptr);
    TinteraInvocation invocation;
    invocation.out = captured.file();
    TinteraJsonEvents json(invocation);
    json.runBegan(TinteraRunObserver::Run::Full, 28, "Ending prelimiary info requests...");
    json.stepChanged(19, "Downloading Velmora Interiors...");
    for (double fraction : {0.0, 0.004, 0.5, 0.501, 1.0, 1.0})
        json.downloadProgress(fraction);
    json.downloadProgress(std::numeric_limits<double>::quiet_NaN());
    json.downloadFinished();
    json.downloadProgress(0.2); // the next file
    json.errorCollected(VLError("SyncManager", -77, "clock refused"));

    const QList<QJsonObject> lines = jsonLines(captured.text());
    QList<int> percents;
    for (const QJsonObject &line : events(lines, "download"))
        percents.append(line.value("percent").toInt());
    EXPECT_EQ(percents, QList<int>({0, 50, 100, 20}));
    EXPECT_EQ(events(lines, "error").value(0).value("domain").toString(), "SyncManager");
}

TEST(TinteraJson, WithoutADeviceEveryCommandStillPrintsAnObject)
{
    ScopedDataFolder data;
    const ScopedEnvironment deviceFolder("KALVEX_DEVICE_DIR", data.filePath("devices").toUtf8());
    const TinteraRun devices = runTintera({"devices", "--json"});
    const TinteraRun status = runTintera({"status", "--json", "--wait", "1"});
    const TinteraRun sync = runTintera({"sync", "--json", "--wait", "1"});

    EXPECT_EQ(devices.exitCode, 0);
    EXPECT_EQ(onlyObject(devices), QJsonObject({{"devices", QJsonArray()}}));
    EXPECT_EQ(status.exitCode, 1);
    EXPECT_EQ(onlyObject(status),
              QJsonObject({{"error", "No TINTERA device is connected (waited 1 s)."}, {"exitCode", 1}}));
    // The person at the terminal still reads why.
    EXPECT_TRUE(status.err.contains("No TINTERA device is connected")) << qPrintable(status.err);
    EXPECT_EQ(sync.exitCode, 1);
    const QJsonObject summary = onlyObject(sync);
    EXPECT_EQ(summary.value("event").toString(), "summary");
    EXPECT_EQ(summary.value("result").toString(), "failed");
    EXPECT_EQ(summary.value("exitCode").toInt(), 1);
}

TEST_F(TinteraAgainstEmulators, StatusAndSyncAsJsonFieldByField)
{
    // Ordinary commands say nothing on standard error, with or without a runtime folder.
    const ScopedEnvironment noRuntimeFolder("XDG_RUNTIME_DIR");

    const TinteraRun before = runTintera({"status", "--json"});
    EXPECT_EQ(before.exitCode, 0);
    EXPECT_TRUE(before.err.isEmpty()) << qPrintable(before.err);
    const QJsonObject status = onlyObject(before);
    const QJsonObject device = status.value("device").toObject();
    EXPECT_EQ(device.value("name").toString(), "Velmora");
    EXPECT_EQ(device.value("serialNumber").toString(), serial);
    EXPECT_TRUE(device.value("chipId").toString().startsWith("0x")) << qPrintable(before.out);
    EXPECT_FALSE(device.value("firmware").toString().isEmpty());
    EXPECT_GT(device.value("freeBytes").toDouble(), 0);
    EXPECT_TRUE(device.value("storage").toString().endsWith(" Mb Available"));
    EXPECT_TRUE(device.value("connected").toBool());
    EXPECT_TRUE(status.value("lastSync").isNull());
    EXPECT_EQ(status.value("lastSyncText").toString(), "Never");
    EXPECT_EQ(status.value("status").toString(), "Last Sync: Never");
    EXPECT_EQ(status.value("settings").toObject(),
              QJsonObject({{"autoSync", false}, {"selectedFandecksOnly", false}}));

    const QDateTime started = QDateTime::currentDateTimeUtc().addSecs(-1);
    const TinteraRun run = runTintera({"sync", "--json"});
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.out + run.err);
    EXPECT_TRUE(run.err.isEmpty()) << qPrintable(run.err);
    const QList<QJsonObject> lines = jsonLines(run.out);
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.first(), QJsonObject({{"event", "start"}, {"device", serial},
                                          {"service", qEnvironmentVariable("TINTERA_SERVICE_URL")}}));
    const QList<QJsonObject> runs = events(lines, "run");
    ASSERT_EQ(runs.size(), 2);
    EXPECT_EQ(runs[0], QJsonObject({{"event", "run"}, {"run", "preliminary"}, {"totalSteps", 7}}));
    EXPECT_EQ(runs[1], QJsonObject({{"event", "run"}, {"run", "sync"}, {"totalSteps", 28}}));

    // Steps count up within each run, each with its own message: none under the previous step's.
    QMap<QString, int> lastStep;
    QMap<QString, QString> lastMessage;
    QStringList syncMessages;
    for (const QJsonObject &step : events(lines, "step")) {
        const QString kind = step.value("run").toString();
        const int number = step.value("step").toInt();
        EXPECT_GE(number, lastStep.value(kind, 1)) << qPrintable(run.out);
        EXPECT_LE(number, step.value("totalSteps").toInt());
        EXPECT_FALSE(step.value("message").toString().isEmpty());
        EXPECT_NE(step.value("message").toString(), lastMessage.value(kind)) << number;
        lastStep[kind] = number;
        lastMessage[kind] = step.value("message").toString();
        if (kind == "sync")
            syncMessages.append(QStringLiteral("%1 %2").arg(number).arg(step.value("message").toString()));
    }
    EXPECT_TRUE(syncMessages.contains("8 Starting sync...")) << qPrintable(syncMessages.join('\n'));
    EXPECT_TRUE(syncMessages.contains("27 Finishing sync..."));
    const QList<QJsonObject> downloads = events(lines, "download");
    ASSERT_FALSE(downloads.isEmpty());
    // A percent is said once per file: only the next file's (from 100 to 100) repeats one.
    int lastPercent = -1;
    for (const QJsonObject &download : downloads) {
        EXPECT_EQ(download.value("run").toString(), "sync");
        const int percent = download.value("percent").toInt(-1);
        EXPECT_GE(percent, 0);
        EXPECT_LE(percent, 100);
        EXPECT_TRUE(percent != lastPercent || percent == 100) << percent;
        lastPercent = percent;
    }
    EXPECT_TRUE(std::any_of(downloads.cbegin(), downloads.cend(),
                            [](const QJsonObject &download) { return download.value("percent").toInt() == 100; }));
    EXPECT_TRUE(events(lines, "error").isEmpty());

    const QJsonObject summary = lines.last();
    EXPECT_EQ(summary.value("event").toString(), "summary");
    EXPECT_EQ(summary.value("result").toString(), "ok");
    EXPECT_EQ(summary.value("exitCode").toInt(-1), 0);
    EXPECT_EQ(summary.value("errors").toArray(), QJsonArray());
    EXPECT_TRUE(summary.value("cancelReason").isNull());
    EXPECT_TRUE(summary.value("error").isNull());
    EXPECT_GT(summary.value("seconds").toDouble(), 0);
    EXPECT_EQ(summary.value("measurements").toString(), dataPath("Measurements/LastMeasurements.cxf"));
    // What the engine reports the run did: every file downloaded, all but the demo device's seed
    // fandeck (which it already holds) installed, and those fandecks enabled.
    const auto skus = [&summary](const char *key) {
        QStringList listed;
        for (const QJsonValue &file : summary.value(key).toArray())
            listed << file.toObject().value("sku").toString();
        listed.sort();
        return listed;
    };
    QStringList everySKU = kFandeckSKUs + kDeviceFileSKUs;
    everySKU.sort();
    QStringList sent = everySKU;
    sent.removeOne("VLM-FD-EXT");
    EXPECT_EQ(skus("downloaded"), everySKU);
    EXPECT_EQ(skus("installed"), sent);
    EXPECT_EQ(skus("fandecksEnabled"), sent.filter("-FD-"));
    EXPECT_EQ(skus("settingsApplied"), QStringList{"TX350-SETTINGS"});
    EXPECT_EQ(summary.value("matchesExported").toInt(), 3);
    EXPECT_EQ(summary.value("matchesFound").toInt(), 3);
    const QDateTime lastSync = QDateTime::fromString(summary.value("lastSync").toString(), Qt::ISODate);
    ASSERT_TRUE(lastSync.isValid()) << qPrintable(summary.value("lastSync").toString());
    EXPECT_EQ(lastSync.timeSpec(), Qt::UTC);
    EXPECT_GE(lastSync, started.addSecs(-1));
    EXPECT_LE(lastSync, QDateTime::currentDateTimeUtc().addSecs(1));

    // status reports the same last sync.
    const TinteraRun after = runTintera({"status", "--json"});
    EXPECT_EQ(onlyObject(after).value("lastSync"), summary.value("lastSync"));
    EXPECT_NE(onlyObject(after).value("lastSyncText").toString(), "Never");

    // The history keeps the sync once, with what the summary said it installed.
    const QJsonArray history = onlyObject(runTintera({"history", "--json"})).value("history").toArray();
    ASSERT_EQ(history.size(), 1) << qPrintable(QJsonDocument(history).toJson());
    const QJsonObject recorded = history.first().toObject();
    EXPECT_EQ(recorded.value("deviceSerialNumber").toString(), serial);
    EXPECT_EQ(recorded.value("ending").toString(), "completed");
    EXPECT_EQ(recorded.value("installed"), summary.value("installed"));
    EXPECT_EQ(recorded.value("fandecksEnabled"), summary.value("fandecksEnabled"));
    EXPECT_EQ(recorded.value("errors").toArray(), QJsonArray());
}

TEST_F(TinteraAgainstEmulators, SyncErrorsAsJsonAndTheAdviceForAFullDevice)
{
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--command", "SetClock", "--error", "-77", "--message",
                                    "clock refused", "--times", "0"},
                                   nullptr, nullptr));
    const TinteraRun failed = runTintera({"sync", "--json"});
    EXPECT_EQ(failed.exitCode, 1) << qPrintable(failed.out + failed.err);
    const QList<QJsonObject> lines = jsonLines(failed.out);
    const QList<QJsonObject> errors = events(lines, "error");
    ASSERT_EQ(errors.size(), 1) << qPrintable(failed.out);
    EXPECT_EQ(errors[0].value("run").toString(), "sync");
    EXPECT_EQ(errors[0].value("code").toInteger(), -77);
    EXPECT_EQ(errors[0].value("message").toString(), "clock refused");
    EXPECT_FALSE(errors[0].value("fatal").toBool(true));
    const QJsonObject summary = lines.value(lines.size() - 1);
    EXPECT_EQ(summary.value("result").toString(), "errors");
    EXPECT_EQ(summary.value("exitCode").toInt(), 1);
    ASSERT_EQ(summary.value("errors").toArray().size(), 1);
    EXPECT_EQ(summary.value("errors").toArray().at(0).toObject().value("code").toInteger(), -77);
    EXPECT_TRUE(summary.value("measurements").isNull());
    EXPECT_TRUE(QFile::exists(dataPath("Measurements/LastMeasurements.cxf"))) << "the matches are exported all the same";

    // A full device is not mended by syncing again: the line says what helps instead.
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--clear"}, nullptr, nullptr));
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--command", "SetClock", "--error", "104", "--message",
                                    "not enough space", "--times", "0"},
                                   nullptr, nullptr));
    const TinteraRun full = runTintera({"sync"});
    EXPECT_TRUE(full.out.contains("with 1 error(s). Free space on the device: sync only the fandecks you use.\n"))
        << qPrintable(full.out);
}

// A file the service refuses: no progress, so the run is cancelled and says why; the same wait
// ended by an interrupt says that instead.
TEST_F(TinteraAgainstEmulators, StalledAndInterruptedSyncsAsJsonEndCancelled)
{
    ASSERT_TRUE(environment.cloudsimControl("fault?target=files&http=500", nullptr, nullptr));
    const TinteraRun stalled = runTintera({"sync", "--json", "--stall-timeout", "2"});
    EXPECT_EQ(stalled.exitCode, 3) << qPrintable(stalled.out + stalled.err);
    const QList<QJsonObject> stallLines = jsonLines(stalled.out);
    const QJsonObject stall = events(stallLines, "stalled").value(0);
    EXPECT_EQ(stall.value("seconds").toInt(), 2);
    EXPECT_EQ(stall.value("step").toInt(), 10) << qPrintable(stalled.out);
    EXPECT_FALSE(stall.value("givingUp").toBool(true));
    const QJsonObject cancelled = stallLines.value(stallLines.size() - 1);
    EXPECT_EQ(cancelled.value("result").toString(), "cancelled");
    EXPECT_EQ(cancelled.value("cancelReason").toString(), "stalled");
    EXPECT_EQ(cancelled.value("exitCode").toInt(), 3);

    bool interrupted = false;
    const TinteraRun waiting =
        runTintera({"sync", "--json", "--stall-timeout", "0"}, 60000, [&](const QString &out, qint64 pid) {
            if (!out.contains("\"percent\"") && !out.contains("\"step\":10,"))
                return true;
            interrupted = ::kill(pid_t(pid), SIGINT) == 0;
            return false;
        });
    EXPECT_TRUE(interrupted);
    EXPECT_EQ(waiting.exitCode, 3) << qPrintable(waiting.out + waiting.err);
    const QList<QJsonObject> waitLines = jsonLines(waiting.out);
    const QJsonObject ended = waitLines.value(waitLines.size() - 1);
    EXPECT_EQ(ended.value("event").toString(), "summary");
    EXPECT_EQ(ended.value("cancelReason").toString(), "interrupted");
    // The person at the terminal reads that the sync is being cancelled; the JSON stays clean.
    EXPECT_TRUE(waiting.err.contains("cancelling the sync"));
}

TEST_F(TinteraAgainstEmulators, UpdatesListsWhatTheFollowingSyncDoes)
{
    const TinteraRun listed = runTintera({"updates", "--json"});
    ASSERT_EQ(listed.exitCode, 0) << qPrintable(listed.out + listed.err);
    const QJsonObject plan = onlyObject(listed);
    const QJsonArray downloads = plan.value("downloads").toArray();
    ASSERT_FALSE(downloads.isEmpty());
    qint64 bytes = 0;
    for (const QJsonValue &file : downloads)
        bytes += file.toObject().value("bytes").toInteger();
    EXPECT_FALSE(plan.value("firmware").toObject().value("to").toString().isEmpty()) << qPrintable(listed.out);
    const auto served = [this](const char *command) {
        const QRegularExpression sent(QStringLiteral("^%1\t").arg(command), QRegularExpression::MultilineOption);
        return int(QString::fromUtf8(readFile(environment.deviceTrafficLog(serial))).count(sent));
    };
    const int uploads = served("Upload"), deletes = served("DeleteFile"), enables = served("EnableFandeck");

    const TinteraRun synced = runTintera({"sync"});
    ASSERT_EQ(synced.exitCode, 0) << qPrintable(synced.out + synced.err);
    EXPECT_TRUE(synced.out.contains("on device: keep the device connected...")) << qPrintable(synced.out);
    // The service served the files listed, each once and whole; the device got what was listed.
    EXPECT_EQ(bytesServed(), bytes);
    EXPECT_EQ(environment.served("requests"), downloads.size());
    const QJsonObject fandecks = plan.value("fandecks").toObject();
    EXPECT_EQ(served("Upload") - uploads, plan.value("install").toArray().size() + fandecks.value("add").toArray().size());
    EXPECT_EQ(served("DeleteFile") - deletes, fandecks.value("remove").toArray().size());
    EXPECT_EQ(served("EnableFandeck") - enables, fandecks.value("enable").toArray().size());

    const TinteraRun after = runTintera({"updates"});
    EXPECT_EQ(after.exitCode, 0);
    EXPECT_EQ(after.out.trimmed(), "Up to date");
}

TEST_F(TinteraAgainstEmulators, SettingsFandecksAndExportAsJson)
{
    const ScopedEnvironment noRuntimeFolder("XDG_RUNTIME_DIR");
    ASSERT_EQ(runTintera({"sync"}).exitCode, 0);
    const TinteraRun settings = runTintera({"settings", "selected-only", "on", "--yes", "--json"});
    const QJsonObject changed = onlyObject(settings);
    EXPECT_EQ(changed.value("settings"), QJsonObject({{"autoSync", false},
                                                      {"selectedFandecksOnly", true},
                                                      {"serviceURL", environment.serviceURL()},
                                                      {"caFile", QJsonValue::Null},
                                                      {"requireSigned", false}}));
    EXPECT_FALSE(changed.value("removedByNextSync").toArray().isEmpty()) << "nothing chosen: every fandeck goes";
    EXPECT_TRUE(settings.err.isEmpty()) << qPrintable(settings.err);

    const TinteraRun listed = runTintera({"fandecks", "--json"});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_TRUE(listed.err.isEmpty()) << qPrintable(listed.err); // no progress of the gathering either
    const QJsonObject list = onlyObject(listed);
    EXPECT_TRUE(list.value("selectedFandecksOnly").toBool());
    const QJsonArray fandecks = list.value("fandecks").toArray();
    ASSERT_GE(fandecks.size(), 2);
    for (const QJsonValue &value : fandecks) {
        const QJsonObject fandeck = value.toObject();
        EXPECT_FALSE(fandeck.value("id").toString().isEmpty());
        EXPECT_FALSE(fandeck.value("name").toString().isEmpty());
        EXPECT_FALSE(fandeck.value("selected").toBool(true));
        EXPECT_TRUE(fandeck.value("onDevice").isBool());
    }
    const QString chosen = fandecks.at(0).toObject().value("id").toString();
    const QJsonObject afterSelect = onlyObject(runTintera({"fandecks", "select", chosen, "--json"}));
    EXPECT_TRUE(afterSelect.value("fandecks").toArray().at(0).toObject().value("selected").toBool());

    QTemporaryDir out;
    const TinteraRun exported = runTintera({"export", out.filePath("kitchen.cxf"), "--zip", "--json"});
    EXPECT_EQ(exported.exitCode, 0) << qPrintable(exported.out + exported.err);
    EXPECT_TRUE(exported.err.isEmpty()) << qPrintable(exported.err);
    const QJsonObject result = onlyObject(exported);
    const QString file = result.value("file").toString();
    EXPECT_TRUE(QFile::exists(file)) << qPrintable(file);
    EXPECT_TRUE(file.endsWith("kitchen.cxf"));
    EXPECT_EQ(result.value("format").toString(), "cxf");
    EXPECT_EQ(result.value("exported").toInt(), 3);
    EXPECT_EQ(result.value("total").toInt(), 3);
    EXPECT_EQ(result.value("archive").toString(), out.filePath("kitchen.zip"));
    EXPECT_TRUE(QFile::exists(out.filePath("kitchen.zip")));
    QStringList tags;
    for (const QJsonValue &value : result.value("matches").toArray()) {
        const QJsonObject match = value.toObject();
        EXPECT_FALSE(match.value("colorId").toString().isEmpty());
        EXPECT_FALSE(match.value("fandeck").toString().isEmpty());
        const QJsonObject lab = match.value("lab").toObject();
        EXPECT_GE(lab.value("L").toDouble(-1), 0);
        EXPECT_LE(lab.value("L").toDouble(101), 100);
        EXPECT_TRUE(lab.value("a").isDouble() && lab.value("b").isDouble());
        tags.append(match.value("tag").toString());
    }
    tags.sort();
    EXPECT_EQ(tags, QStringList({"Front door", "Garden shed", "Window frames"}));
    // Both notes the document refers to are on this computer, each named where it is.
    const QJsonArray notes = result.value("audioNotes").toArray();
    ASSERT_EQ(notes.size(), 2) << qPrintable(exported.out);
    for (const QJsonValue &value : notes) {
        const QJsonObject note = value.toObject();
        EXPECT_TRUE(note.value("name").toString().startsWith("Audio/"));
        EXPECT_TRUE(note.value("present").toBool());
        EXPECT_TRUE(QFile::exists(note.value("path").toString()));
    }

    // Another format: the same matches, the file named as written.
    const QJsonObject palette = onlyObject(runTintera({"export", out.filePath("kitchen.gpl"), "--json"}));
    EXPECT_EQ(palette.value("format").toString(), "gpl");
    EXPECT_TRUE(palette.value("file").toString().endsWith("kitchen.gpl"));
    EXPECT_TRUE(QFile::exists(palette.value("file").toString()));
    EXPECT_EQ(palette.value("exported").toInt(), 3);
    EXPECT_TRUE(palette.value("archive").isNull());

    // The sync and both exports read the same three captures: the library keeps each once, with
    // the two audio notes beside it.
    const QJsonObject library = onlyObject(runTintera({"measurements", "--json"}));
    EXPECT_EQ(library.value("total").toInt(), 3);
    int kept = 0;
    for (const QJsonValue &value : library.value("measurements").toArray())
        kept += QFile::exists(value.toObject().value("audioNote").toString()) ? 1 : 0;
    EXPECT_EQ(kept, 2);
}
