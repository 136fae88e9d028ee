#include "TestSupport.h"
#include "TinteraProcess.h"
#include "VLMeasurementLibrary.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlQuery>

#include <gtest/gtest.h>

namespace {

bool privateToUser(const QString &path)
{
    return (fileMode(path) & 077) == 0; // ~0u when it does not exist
}

constexpr double kMonday = 1794908800; // 2026-11-17T09:46:40Z

VLMatchRecord record(const QString &number, double seconds, const QString &tag = {}, const QString &note = {})
{
    VLMatchRecord r;
    r.colorNumber = number;
    r.colorName = QStringLiteral("Name of ") + number;
    r.colorID = number;
    r.deviceFileID = QStringLiteral("D-1");
    r.fandeck = QStringLiteral("Velmora Interiors");
    r.L = 50;
    r.red = 0x12;
    r.green = 0x34;
    r.blue = 0x56;
    r.textTag = tag;
    r.captureDate = QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000), Qt::UTC);
    if (!note.isEmpty())
        r.audioNotePath = QStringLiteral("Audio/") + note;
    r.spectrum = {0.25, 0.5};
    r.spectrumStart = 400;
    r.spectrumIncrement = 10;
    return r;
}

class MeasurementLibraryTest : public ::testing::Test
{
protected:
    // A read of a device that holds exactly these records.
    VLMatchesRead read(const VLMatchRecordList &records, const QString &serial = QStringLiteral("VL000001"))
    {
        VLMatchesRead matches{serial, {}, records, data.filePath(QStringLiteral("DeviceAudio")), true};
        for (const VLMatchRecord &r : records)
            matches.capturesOnDevice.append(*vlCaptureKey(r));
        return matches;
    }
    void add(const VLMatchesRead &matches)
    {
        VLError error;
        ASSERT_TRUE(library.addMatchesRead(matches, &error)) << error.description().toStdString();
    }
    VLCaptureList captures()
    {
        VLError error;
        const VLCaptureList list = library.captures(&error);
        EXPECT_TRUE(error.isNull()) << error.description().toStdString();
        return list;
    }
    void SetUp() override
    {
        VLError error;
        ASSERT_TRUE(library.open(&error)) << error.description().toStdString();
    }

    ScopedDataFolder data;
    // The command line shows local time: ten hours behind UTC all year, so kMonday is Sunday there.
    ScopedEnvironment zone{"TZ", "HST10"};
    VLMeasurementLibrary library{VLMeasurementLibrary::defaultPath()};
};

TEST_F(MeasurementLibraryTest, KeepsEachCaptureOncePerDeviceAndUpdatesWhatChanged)
{
    add(read({record("VX 1", kMonday, "kitchen"), record("VX 2", kMonday + 60)}));
    add(read({record("VX 1", kMonday, "kitchen wall"), record("VX 2", kMonday + 60)}));
    // The same capture time and colour on another device is another capture.
    add(read({record("VX 1", kMonday)}, QStringLiteral("VL000002")));

    const VLCaptureList list = captures();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list.at(0).colorNumber, "VX 2"); // newest first
    const auto first = std::find_if(list.cbegin(), list.cend(), [](const VLCapture &c) { return c.tag == "kitchen wall"; });
    ASSERT_NE(first, list.cend());
    EXPECT_EQ(first->deviceSerialNumber, "VL000001");
    EXPECT_EQ(first->hexColor(), "#123456");
    EXPECT_LE(first->firstSeen, first->lastSeen);
    EXPECT_TRUE(privateToUser(library.path()));

    QSqlQuery runs(QSqlDatabase::database(QSqlDatabase::connectionNames().constLast()));
    ASSERT_TRUE(runs.exec("SELECT first_run, last_run FROM captures WHERE id = " + QString::number(first->id)) && runs.next());
    EXPECT_EQ(runs.value(0).toInt(), 1);
    EXPECT_EQ(runs.value(1).toInt(), 2);

    VLError error;
    const VLMatchRecordList records = library.matchRecords({first->id}, &error);
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records.first().spectrum, (QList<double>{0.25, 0.5}));
    EXPECT_EQ(records.first().captureDate, first->capturedAt);
}

TEST_F(MeasurementLibraryTest, CaptureDeletedOnTheDeviceStaysMarkedAndOneNotMatchedStaysOnIt)
{
    add(read({record("VX 1", kMonday), record("VX 2", kMonday + 60), record("VX 3", kMonday + 120)}));
    // VX 1 deleted on the device; VX 3 still there, but its fandeck is gone from the computer.
    VLMatchesRead next = read({record("VX 2", kMonday + 60)});
    next.capturesOnDevice.append(*vlCaptureKey(record("VX 3", kMonday + 120)));
    add(next);

    QHash<QString, bool> onDevice;
    for (const VLCapture &capture : captures())
        onDevice.insert(capture.colorNumber, capture.onDevice);
    EXPECT_EQ(onDevice, (QHash<QString, bool>{{"VX 1", false}, {"VX 2", true}, {"VX 3", true}}));
}

TEST_F(MeasurementLibraryTest, AudioNotesAreCopiedBesideTheLibraryPrivately)
{
    QDir().mkpath(data.filePath("DeviceAudio"));
    QFile note(data.filePath("DeviceAudio/note-0001.wav"));
    ASSERT_TRUE(note.open(QIODevice::WriteOnly) && note.write("RIFF") == 4);
    note.close();
    add(read({record("VX 1", kMonday, {}, "note-0001.wav"), record("VX 2", kMonday + 1, {}, "../escape.wav")}));

    const VLCaptureList list = captures();
    ASSERT_EQ(list.size(), 2);
    EXPECT_TRUE(list.at(0).audioNotePath.isEmpty());
    EXPECT_EQ(QFileInfo(list.at(1).audioNotePath).absolutePath(), library.audioFolder());
    EXPECT_TRUE(privateToUser(list.at(1).audioNotePath));
}

TEST_F(MeasurementLibraryTest, WriteThatFailsHalfwayLeavesTheLibraryAsBefore)
{
    add(read({record("VX 1", kMonday), record("VX 2", kMonday + 60)}));
    const VLCaptureList before = captures();
    // The second capture of the next read fails to go in, after the first went in and before the
    // deletion of VX 2 is marked.
    QSqlQuery trigger(QSqlDatabase::database(QSqlDatabase::connectionNames().constLast()));
    ASSERT_TRUE(trigger.exec("CREATE TRIGGER fail BEFORE INSERT ON captures WHEN NEW.color_id = 'BOOM'"
                             " BEGIN SELECT RAISE(ABORT, 'injected'); END"));
    VLError error;
    EXPECT_FALSE(library.addMatchesRead(read({record("VX 1", kMonday, "changed"), record("VX 3", kMonday + 120),
                                              record("BOOM", kMonday + 180)}),
                                         &error));
    EXPECT_TRUE(error.localizedDescription().contains("injected"));

    const VLCaptureList after = captures();
    ASSERT_EQ(after.size(), before.size());
    for (qsizetype i = 0; i < after.size(); ++i) {
        EXPECT_EQ(after.at(i).colorNumber, before.at(i).colorNumber);
        EXPECT_EQ(after.at(i).tag, before.at(i).tag);
        EXPECT_EQ(after.at(i).onDevice, before.at(i).onDevice);
        EXPECT_EQ(after.at(i).lastSeen, before.at(i).lastSeen);
    }
}

#ifdef Q_OS_LINUX
// The tray rests for hours between writes: SQLite is loaded only while a library is open.
TEST(MeasurementLibraryDriver, SQLiteIsUnloadedWhenTheLastLibraryCloses)
{
    const auto sqliteLoaded = [] {
        QFile maps(QStringLiteral("/proc/self/maps"));
        return maps.open(QIODevice::ReadOnly) && maps.readAll().contains("libsqlite3");
    };
    ScopedDataFolder data;
    {
        VLMeasurementLibrary first(VLMeasurementLibrary::defaultPath());
        VLError error;
        ASSERT_TRUE(first.open(&error)) << error.description().toStdString();
        {
            VLMeasurementLibrary second(VLMeasurementLibrary::defaultPath());
            ASSERT_TRUE(second.open(&error)) << error.description().toStdString();
        }
        EXPECT_TRUE(sqliteLoaded()) << "another library is still open";
        EXPECT_TRUE(first.captures(&error).isEmpty());
        EXPECT_TRUE(error.isNull());
    }
    EXPECT_FALSE(sqliteLoaded());
}
#endif

struct HistoryCase
{
    VLSyncRunReport::Ending ending;
    bool capturesRead;
    int errors;
};

void PrintTo(const HistoryCase &c, std::ostream *os)
{
    *os << vlSyncRunEndingName(c.ending).toStdString() << (c.capturesRead ? " after reading captures" : "");
}

VLSyncRunReport report(VLSyncRunReport::Ending ending, int errors, qint64 beganSecondsAgo = 5)
{
    VLSyncRunReport r;
    r.began = QDateTime::currentDateTime().addSecs(-beganSecondsAgo);
    r.ended = QDateTime::currentDateTime();
    r.ending = ending;
    r.installed = {{"firmware", "FW", "VF-1", "Velmora firmware", "2.1.0"}, {"fandeck", "D-1", "VX", "", "7"}};
    r.fandecksEnabled = {{"fandeck", "D-1", "VX", "Velmora Interiors", "7"}};
    for (int i = 0; i < errors; ++i)
        r.errors.append(VLError("VLSyncDomain", -77 - i, QStringLiteral("clock refused %1").arg(i)));
    return r;
}

// The history of one sync as its run report ended: one row, the captures' when the export step
// read some, with the files and errors the report listed.
class SyncHistoryTest : public MeasurementLibraryTest, public ::testing::WithParamInterface<HistoryCase>
{
};

TEST_P(SyncHistoryTest, KeepsOneRowPerSyncWithWhatItDid)
{
    const HistoryCase c = GetParam();
    // An earlier sync's row that was never recorded (the program ended first) is not reused.
    add(read({record("VX 1", kMonday)}));
    QSqlQuery runs(QSqlDatabase::database(QSqlDatabase::connectionNames().constLast()));
    ASSERT_TRUE(runs.exec("UPDATE sync_runs SET started_at = started_at - 3600000"));
    const VLSyncRunReport ended = report(c.ending, c.errors);
    if (c.capturesRead)
        add(read({record("VX 1", kMonday), record("VX 2", kMonday + 60)}));
    VLSyncRunReport preliminary = ended;
    preliminary.preliminary = true;
    VLError error;
    ASSERT_TRUE(library.recordRun(preliminary, "VL000001", &error) && library.recordRun(ended, "VL000001", &error))
        << error.description().toStdString();

    const VLSyncHistory history = library.history(&error);
    ASSERT_EQ(history.size(), 1);
    const VLSyncHistoryEntry &entry = history.first();
    EXPECT_EQ(entry.ending, vlSyncRunEndingName(c.ending));
    EXPECT_EQ(entry.deviceSerialNumber, "VL000001");
    EXPECT_EQ(entry.startedAt.toMSecsSinceEpoch(), ended.began.toMSecsSinceEpoch());
    EXPECT_EQ(entry.endedAt.toMSecsSinceEpoch(), ended.ended.toMSecsSinceEpoch());
    EXPECT_EQ(VLSyncHistoryEntry::filesText(entry.installed), "Velmora firmware 2.1.0, VX 7");
    EXPECT_EQ(VLSyncHistoryEntry::filesText(entry.fandecksEnabled), "Velmora Interiors 7");
    ASSERT_EQ(entry.errors.size(), c.errors);
    if (c.errors > 0) {
        EXPECT_EQ(entry.errors.first().code, -77);
        EXPECT_EQ(entry.errors.first().description, "clock refused 0");
    }
    // The captures this sync read point at its row; there is no second row for it.
    ASSERT_TRUE(runs.exec("SELECT (SELECT COUNT(*) FROM sync_runs), (SELECT MAX(last_run) FROM captures)") && runs.next());
    EXPECT_EQ(runs.value(0).toInt(), 2);
    EXPECT_EQ(runs.value(1).toLongLong() == entry.id, c.capturesRead);
}

INSTANTIATE_TEST_SUITE_P(Endings, SyncHistoryTest,
                         ::testing::Values(HistoryCase{VLSyncRunReport::Ending::Completed, true, 0},
                                           HistoryCase{VLSyncRunReport::Ending::Failed, false, 1},
                                           HistoryCase{VLSyncRunReport::Ending::Cancelled, true, 2}));

// A library at an older schema version (0: a new, empty file) is brought up to date with its
// captures; one from a newer program is refused and left as it is.
class LibraryMigrationTest : public ::testing::TestWithParam<int>
{
};

TEST_P(LibraryMigrationTest, OpensAtTheCurrentSchemaKeepingTheCaptures)
{
    ScopedDataFolder data;
    const int from = GetParam();
    const QString path = data.filePath("old.sqlite");
    {
        QSqlDatabase old = QSqlDatabase::addDatabase("QSQLITE", "old");
        old.setDatabaseName(path);
        ASSERT_TRUE(old.open());
        VLError error;
        if (from > 0 && from <= VLMeasurementLibrary::kSchemaVersion) {
            ASSERT_TRUE(VLMeasurementLibrary::migrate(old, from, &error)) << error.description().toStdString();
        }
        QSqlQuery query(old);
        if (from >= 1 && from < VLMeasurementLibrary::kSchemaVersion) {
            ASSERT_TRUE(query.exec("INSERT INTO sync_runs VALUES (1, 0, 'VL1', 'sync')")
                        && query.exec("INSERT INTO captures (device_serial, captured_at, device_file_id, color_id, lab_l, lab_a,"
                                      " lab_b, srgb, first_run, last_run) VALUES ('VL1', 5, 'D', 'C', 1, 2, 3, 0, 1, 1)"));
        }
        if (from > VLMeasurementLibrary::kSchemaVersion) {
            ASSERT_TRUE(query.exec(QStringLiteral("PRAGMA user_version = %1").arg(from)));
        }
        old.close();
    }
    QSqlDatabase::removeDatabase("old");

    VLMeasurementLibrary library(path);
    VLError error;
    const bool opened = library.open(&error);
    if (from > VLMeasurementLibrary::kSchemaVersion) {
        EXPECT_FALSE(opened);
        EXPECT_TRUE(error.localizedDescription().contains("newer version"));
        EXPECT_EQ(VLMeasurementLibrary::schemaVersion(QSqlDatabase::database(QSqlDatabase::connectionNames().constLast())), from);
        return;
    }
    ASSERT_TRUE(opened) << error.description().toStdString();
    EXPECT_EQ(VLMeasurementLibrary::schemaVersion(QSqlDatabase::database(QSqlDatabase::connectionNames().constLast())),
              VLMeasurementLibrary::kSchemaVersion);
    EXPECT_EQ(library.captures(&error).size(), from >= 1 ? 1 : 0);
    // A run from before the history was kept is not history, and the history can be written.
    EXPECT_TRUE(library.history(&error).isEmpty());
    VLSyncRunReport report;
    report.ending = VLSyncRunReport::Ending::Completed;
    EXPECT_TRUE(library.recordRun(report, "VL1", &error) && library.history(&error).size() == 1);
    EXPECT_TRUE(error.isNull()) << error.description().toStdString();
}

INSTANTIATE_TEST_SUITE_P(FromVersion, LibraryMigrationTest, ::testing::Values(0, 1, 2, VLMeasurementLibrary::kSchemaVersion + 1));

// "tintera measurements" over a library of three captures: the filters, as JSON, and the table.
struct MeasurementsCase
{
    QStringList arguments;
    QStringList numbers; // what it lists, newest first
};

void PrintTo(const MeasurementsCase &c, std::ostream *os)
{
    *os << "measurements " << c.arguments.join(' ').toStdString();
}

class MeasurementsCommandTest : public MeasurementLibraryTest, public ::testing::WithParamInterface<MeasurementsCase>
{
};

TEST_P(MeasurementsCommandTest, ListsWhatTheFiltersKeep)
{
    VLMatchRecord other = record("GR 7", kMonday + 86400, "client quote");
    other.fandeck = "Heritage Classics";
    other.deviceFileID = "D-2";
    add(read({record("VX 1", kMonday, "Kitchen wall"), record("VX 2", kMonday + 3600), other}));

    const TinteraRun run = runTintera(QStringList{"measurements", "--json"} + GetParam().arguments);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject answer = QJsonDocument::fromJson(run.out.toUtf8()).object();
    EXPECT_EQ(answer.value("total").toInt(), 3);
    QStringList numbers;
    for (const QJsonValue &capture : answer.value("measurements").toArray())
        numbers << capture.toObject().value("colorNumber").toString();
    EXPECT_EQ(numbers, GetParam().numbers);
}

INSTANTIATE_TEST_SUITE_P(
    Filters, MeasurementsCommandTest,
    ::testing::Values(MeasurementsCase{{}, {"GR 7", "VX 2", "VX 1"}},
                      MeasurementsCase{{"--search", "KITCHEN"}, {"VX 1"}},          // tag, any case
                      MeasurementsCase{{"--search", "heritage"}, {"GR 7"}},         // fandeck
                      MeasurementsCase{{"--search", "of VX"}, {"VX 2", "VX 1"}},    // name
                      MeasurementsCase{{"--fandeck", "d-1"}, {"VX 2", "VX 1"}},     // fandeck id
                      MeasurementsCase{{"--since", "2026-11-17"}, {"GR 7", "VX 2"}},           // local midnight
                      MeasurementsCase{{"--since", "2026-11-17T00:50:00"}, {"GR 7"}},          // local time
                      MeasurementsCase{{"--since", "2026-11-17T10:00:00Z"}, {"GR 7", "VX 2"}}));

TEST_F(MeasurementLibraryTest, MeasurementsCommandPrintsATableAndRefusesABadDate)
{
    add(read({record("VX 1", kMonday, "Kitchen wall")}));
    add(read({}));
    const TinteraRun table = runTintera({"measurements"});
    ASSERT_EQ(table.exitCode, 0) << table.err.toStdString();
    const QStringList lines = table.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3) << table.out.toStdString();
    EXPECT_TRUE(lines.at(0).startsWith("Captured "));
    for (const char *cell : {"2026-11-16 23:46", "VX 1", "Name of VX 1", "Velmora Interiors", "50.00", "#123456", "Kitchen wall", " no"})
        EXPECT_TRUE(lines.at(1).contains(cell)) << cell << " in " << lines.at(1).toStdString();
    EXPECT_TRUE(lines.at(2).startsWith("1 of 1 captures"));

    EXPECT_EQ(runTintera({"measurements", "--since", "last tuesday"}).exitCode, 2);
}

TEST_F(MeasurementLibraryTest, HistoryCommandListsTheSyncsNewestFirst)
{
    EXPECT_TRUE(runTintera({"history"}).out.startsWith("No sync has been recorded yet"));
    VLError error;
    const VLSyncRunReport cancelled = report(VLSyncRunReport::Ending::Cancelled, 1);
    ASSERT_TRUE(library.recordRun(report(VLSyncRunReport::Ending::Completed, 0, 3600), "VL000001", &error)
                && library.recordRun(cancelled, "VL000002", &error));

    const TinteraRun text = runTintera({"history"});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    const QStringList blocks = text.out.split("\n\n");
    ASSERT_EQ(blocks.size(), 3) << text.out.toStdString();
    const QString started = cancelled.began.toUTC().addSecs(-10 * 3600).toString("yyyy-MM-dd HH:mm:ss");
    EXPECT_TRUE(blocks.at(0).startsWith(started + "  VL000002  cancelled (5.0 s)\n")) << blocks.at(0).toStdString();
    for (const char *line : {"\n  Installed: Velmora firmware 2.1.0, VX 7\n", "\n  Fandecks enabled: Velmora Interiors 7\n",
                             "\n  Errors: 1\n    Error code -77, clock refused 0"})
        EXPECT_TRUE(blocks.at(0).contains(line)) << line;
    EXPECT_TRUE(blocks.at(1).contains("VL000001  completed") && blocks.at(1).contains("Errors: 0"));
    EXPECT_TRUE(blocks.at(2).startsWith("2 syncs in "));

    const TinteraRun json = runTintera({"history", "--json"});
    const QJsonArray history = QJsonDocument::fromJson(json.out.toUtf8()).object().value("history").toArray();
    ASSERT_EQ(history.size(), 2) << json.out.toStdString();
    const QJsonObject newest = history.first().toObject();
    EXPECT_EQ(newest.value("deviceSerialNumber").toString(), "VL000002");
    EXPECT_EQ(newest.value("ending").toString(), "cancelled");
    EXPECT_EQ(newest.value("installed").toArray().at(1).toObject(),
              QJsonObject({{"type", "fandeck"}, {"sku", "VX"}, {"description", QJsonValue()}, {"version", "7"}}));
    EXPECT_EQ(newest.value("errors").toArray().first().toObject().value("code").toInt(), -77);
    EXPECT_TRUE(QDateTime::fromString(newest.value("startedAt").toString(), Qt::ISODate).isValid());
}

} // namespace
