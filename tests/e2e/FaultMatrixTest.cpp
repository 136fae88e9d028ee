// The fault matrix: `tintera sync` against the two emulators with one fault per row. Every row
// checks that the faulty run ends once, within a bound, with the right exit status and a message
// naming the cause, that nothing was written outside the data folder and nothing half-written was
// installed, and that the next sync with the fault cleared ends with exit 0 and everything in place:
// every file on the device, every fandeck enabled, the settings, the preferred fandeck, the clock
// and the export. Each row is its own test (own emulators), so CTest runs rows in parallel; the
// rows that wait on purpose are built into a second program labelled "faults-long".

#include "Catalog.h"
#include "HBColorDocument.h"
#include "TestSupport.h"
#include "TinteraDemoEnvironment.h"
#include "TinteraProcess.h"
#include "VLFileDigest.h"
#include "VLFileTrust.h"
#include "VLPropertyList.h"
#include "VLRecordSignature.h"
#include "VLSyncFileInfo.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <iostream>

#include <sys/resource.h>

namespace {

enum class Kind {
    Device,        // tintera-devsim fault: Fault is error | disconnect | garbage | no-answer | trickle=MS
    Service,       // tintera-cloudsim fault: Target and Fault are its target and items
    UnpublishedService, // as Service, and the record of the SKU When has no checksum nor signature
    StaleDownload, // a stale file of the name of Target waits in the downloads folder
    ShortFile,     // the service announces one byte more than it serves for the SKU Target
    DiskFull,      // the data folder on a small tmpfs
    Kill,          // SIGKILL to tintera in the middle of Target (download | upload)
    Interrupt,     // SIGINT to tintera in the middle of Target (download | upload)
    Tampered,      // the service serves other bytes of the same length for the SKU Target
    ForgedRecord,  // a field of the SKU Target's record changed after it was signed
    ForeignSigner, // the SKU Target's record signed by a key nobody trusts
    UnsignedWhenRequired, // the SKU Target's record without signature, with "require-signed" on
    ReplacedFile,  // the service gives no validators and cuts file Target at 100,000 bytes; the file
                   // is then replaced at the same URL, and the next sync must install the new one
};

struct FaultRow
{
    const char *name;
    Kind kind;
    const char *target;
    const char *fault = "";
    const char *when = "";     // Device: only commands with this argument (KEY=VALUE); UnpublishedService: a SKU
    int after = 0;             // Device: matching commands let through first
    QList<int> exits = {1};    // accepted exit statuses of the faulty run (-1: killed)
    QByteArray cause;          // what its output must say (a regular expression)
    QStringList installedDespite = {}; // SKUs the faulty run must still have put on the device
    QStringList absentFromDevice = {}; // SKUs the faulty run must not have put on the device
    int peakMegabytes = 0;     // bound on the faulty run's peak resident memory (0: not checked)
};

// Rows print as their names in test output.
void PrintTo(const FaultRow &row, std::ostream *out)
{
    *out << row.name;
}

// The names under which the service serves the demo catalog's files.
constexpr const char *kInteriors = "VLM-FD-INT-1.0.cxf";
constexpr qint64 kInteriorsBytes = 1037518;
constexpr qint64 kInteriorsPause = 500000;

// AddressSanitizer's shadow memory and its quarantine of freed blocks make every program larger:
// the memory bounds are stated for the ordinary build.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kSanitizerMemoryFactor = 3;
#else
constexpr int kSanitizerMemoryFactor = 1;
#endif

// Bounds: a run that takes longer than this has hung. Device commands that get no answer end at
// the framework's time limit, set low for the rows; a service file that is refused holds the
// download step until the command line's stall time-out cancels it.
constexpr int kRunBoundMilliseconds = 90000;
constexpr const char *kCommandTimeLimit = "2500";
constexpr const char *kStallSeconds = "6";
// The least a transfer from the service must move per window: shorter than the stall time-out, longer
// than the slow rows' delay.
constexpr const char *kTransferWindow = "4000";

// Pieces of the causes the rows expect: how a run ended, and what a failed service request adds.
constexpr const char *kClean = R"(Sync finished in [0-9.]+ s without errors\. Last Sync: \w)";
constexpr const char *kNoneExported = R"(\nError code -1, 3 measurements found but 0 could be exported\n)";
constexpr const char *kAnything = R"([\s\S]*)";

QByteArray finishedWith(int errors)
{
    return R"(Sync finished in [0-9.]+ s with )" + QByteArray::number(errors) + R"( error\(s\)\.)";
}

QList<FaultRow> deviceRows()
{
    struct Command
    {
        const char *name;
        const char *when;
        const char *label;
        int after = 0;
    };
    // The command line runs the preliminary run first: the first "EndSync" and "GetFiles" are
    // its own, the later ones the full sync's.
    const QList<Command> commands{
        {"EndSync", "", "EndSync_preliminary"},
        {"EndSync", "", "EndSync_finishing", 2},
        {"GetFiles", "", "GetFiles_preliminary"},
        {"GetFiles", "", "GetFiles_afterReboot", 3},
        {"BeginSync", "", "BeginSync"},
        {"SetSyncImage", "", "SetSyncImage"},
        {"GetMeasurements", "", "GetMeasurements"},
        {"Download", "", "DownloadNote"},
        {"Upload", "FileType=Firmware", "UploadFirmware"},
        {"Upload", "FileType=Fandeck", "UploadFandeck"},
        {"Reboot", "", "Reboot"},
        {"EnableFandeck", "", "EnableFandeck"},
        {"SetDeltaE", "", "SetDeltaE"},
        {"SetPreferredFandeck", "", "SetPreferredFandeck"},
        {"SetClock", "", "SetClock"},
    };
    // The causes name the command's own failure and how the run ended, so that a changed message,
    // a lost or repeated error or another ending fails the row.
    const QByteArray finished = R"(Sync finished in [0-9.]+ s with %1 error\(s\)\. Please sync again in order to fix these errors\.)";
    const QByteArray gone = R"(Sync cancelled after [0-9.]+ s: the device is no longer connected\.)";
    const QByteArray linkLost = R"(Error code 2, The device was disconnected\. QLocalSocket: Remote closed\n)";
    const QByteArray garbled = R"(Error code 4, The device sent data that could not be understood\. \(no frame marker\)\n)";
    QList<FaultRow> rows;
    static QList<QByteArray> names; // the rows keep pointers into them
    names.reserve(commands.size() * 4);
    for (const Command &command : commands) {
        for (const char *fault : {"error", "disconnect", "garbage", "no-answer"}) {
            names.append(QByteArray(command.label) + '_' + QByteArray(fault).replace('-', '_'));
            FaultRow row{names.last().constData(), Kind::Device, command.name, fault, command.when, command.after};
            const bool preliminary = QByteArray(command.label).endsWith("preliminary");
            const bool dropsTheLink = QByteArray(fault) == "disconnect" || QByteArray(fault) == "garbage";
            const QByteArray lost = QByteArray(fault) == "disconnect" ? linkLost : garbled;
            // Fandecks the device no longer lists after its reboot are reported too (one of them twice
            // today): how many is not the row's business.
            const QByteArray errors = QByteArray(command.label) == "GetFiles_afterReboot" ? "[0-9]+" : "1";
            QByteArray cause;
            if (preliminary && !dropsTheLink) {
                // The preliminary run's errors are not the sync's: it starts with an empty list.
                row.exits = {0};
                cause = kClean;
            } else if (preliminary) {
                row.exits = {1};
                cause = R"(tintera: gathering the fandeck information was cancelled: the device is no longer connected\.)";
            } else if (QByteArray(command.name) == "Reboot" && dropsTheLink) {
                // A device that drops its link on "Reboot" looks like one that reboots.
                row.exits = {0, 1, 3};
                cause = kClean + ("|(" + linkLost + '|' + garbled + ")[\\s\\S]*" + gone);
            } else if (QByteArray(fault) == "error") {
                cause = "Error code -77, injected fault in " + QByteArray(command.name) + "\\n[\\s\\S]*" + finished;
            } else if (QByteArray(fault) == "no-answer") {
                cause = R"(Error code 3, The device did not answer in time\.\n[\s\S]*)" + finished;
            } else {
                // The link drops: the device goes (the run is cancelled) or, at the run's last
                // command, the framework answers it with the failure and the run ends.
                row.exits = {1, 3};
                cause = lost + "[\\s\\S]*(" + gone + '|' + QByteArray(finished).replace("%1", "1") + ')';
            }
            row.cause = cause.replace("%1", errors);
            rows.append(row);
        }
    }
    // Bytes that keep coming, too few to be progress: the command ends at its time limit all the
    // same, with what it is, and nothing of the answer is held beyond its bound.
    // The device's cancel code ends the sync at the next step, long before any download.
    rows.append({"GetMeasurements_cancelCode", Kind::Device, "GetMeasurements", "error=-1024", "", 0, {3},
                 R"(Error code -1024, [^\n]+\nSync cancelled after [0-9.]+ s\.\n)", {},
                 {"ALD-FD-HERITAGE", "VLM-FD-ACCENT", "VLM-FD-INT", "VLM-FD-WHITES"}}); // the seed is Exteriors
    rows.append({"GetMeasurements_trickle", Kind::Device, "GetMeasurements", "trickle=100", "", 0, {1, 3},
                 R"(Error code 10, The device answered too slowly\. GetMeasurements moved only [0-9]+ bytes in [0-9.]+ s; at least [0-9]+ are needed\.)", {}, {}, 64});
    return rows;
}

QList<FaultRow> serviceRows()
{
    const QByteArray dropped = R"(Error code -1005, (Connection closed|The network connection was lost after [0-9]+ of [0-9]+ bytes\.))";
    const QByteArray droppedFile = dropped + kAnything + finishedWith(1);
    const QByteArray http500 = "Error code 500, NSHTTPURLResponse, status code: 500";
    const QByteArray notXML = R"(Error code 200, Bad response from Cloud\. Data is not XML)";
    const QByteArray notOpened = QByteArray(R"(\nError code 4, The session is not open\.)") + kNoneExported + finishedWith(3);
    const QByteArray notListed = kNoneExported + finishedWith(2);
    const QByteArray incomplete = R"(Error code 2, Downloaded file is incomplete\n)";
    const auto missing = [&](const char *file) { return incomplete + "Error code 5, The file of " + file + R"( is missing\.\n)" + kAnything + finishedWith(2); };
    const QByteArray untrusted = R"(\.\n[\s\S]*A file was refused as untrusted: check the service address and the trusted keys\.)";
    const QByteArray tampered = R"( is not the one the service published: its SHA-256 is [0-9a-f]{64}, the service's is [0-9a-f]{64})" + untrusted;
    const QByteArray unverified = R"( does not verify against any trusted key \(1 known\): the file was not downloaded)" + untrusted;
    QList<FaultRow> rows{
        {"OpenDeviceSession_http500", Kind::Service, "OpenDeviceSession", "http=500", "", 0, {1}, http500 + notOpened},
        {"OpenDeviceSession_notXML", Kind::Service, "OpenDeviceSession", "body=notxml", "", 0, {1}, notXML + notOpened},
        {"OpenDeviceSession_statusCode", Kind::Service, "OpenDeviceSession", "statuscode=-3,message=Unknown%20device", "", 0, {1}, "Error code -3, Unknown device" + notOpened},
        {"OpenDeviceSession_cut", Kind::Service, "OpenDeviceSession", "cut=20", "", 0, {1}, dropped + notOpened},
        {"OpenDeviceSession_dropped", Kind::Service, "OpenDeviceSession", "drop", "", 0, {1}, dropped + notOpened},
        {"OpenDeviceSession_noLength", Kind::Service, "OpenDeviceSession", "nolength", "", 0, {0}, kClean},
        {"GetAvailableFiles_http500", Kind::Service, "GetAvailableFiles", "http=500", "", 0, {1}, http500 + notListed},
        {"GetAvailableFiles_notXML", Kind::Service, "GetAvailableFiles", "body=notxml", "", 0, {1}, notXML + notListed},
        {"GetAvailableFiles_statusCode", Kind::Service, "GetAvailableFiles", "statuscode=-5,message=Try%20later", "", 0, {1}, "Error code -5, Try later" + notListed},
        {"GetAvailableFiles_cut", Kind::Service, "GetAvailableFiles", "cut=200", "", 0, {1}, dropped + notListed},
        {"GetAvailableFiles_dropped", Kind::Service, "GetAvailableFiles", "drop", "", 0, {1}, dropped + notListed},
        {"GetAvailableFiles_noLength", Kind::Service, "GetAvailableFiles", "nolength", "", 0, {0}, kClean},
        {"FandeckFile_notXML", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "body=notxml", "", 0, {1}, incomplete + kAnything + finishedWith(1)},
        {"FandeckFile_cut", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "cut=1000", "", 0, {1}, droppedFile},
        {"FandeckFile_dropped", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "drop", "", 0, {1}, droppedFile},
        {"FandeckFile_noLength", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "nolength", "", 0, {0}, kClean},
        {"DeviceFile_notXML", Kind::Service, "files/TX350-FW-2.4.bin", "body=notxml", "", 0, {1}, missing(R"(TX350 Firmware 2\.4)")},
        {"DeviceFile_cut", Kind::Service, "files/TX350-FW-2.4.bin", "cut=1000", "", 0, {1}, droppedFile},
        {"DeviceFile_dropped", Kind::Service, "files/TX350-FW-2.4.bin", "drop", "", 0, {1}, droppedFile},
        {"DeviceFile_noLength", Kind::Service, "files/TX350-FW-2.4.bin", "nolength", "", 0, {0}, kClean},
        // One byte short and no length to tell: only the size check finds it. The next file's
        // download and the fandecks of the same run go on.
        {"StartSound_oneByteShort", Kind::ShortFile, "TX350-SOUND-START", "", "", 0, {1}, missing(R"(Start Sound 1\.0)"), {"TX350-SOUND-END", "TX350-SOUND-MULTI"}},
        {"InversionMatrix_oneByteShort", Kind::ShortFile, "TX350-INVMATRIX", "", "", 0, {1}, missing(R"(Inversion Matrix 1\.0)"), kFandeckSKUs},
        // What a peer can make the client spend is bounded by what it sent, not by what it says.
        {"FandeckFile_amplifyingEntities", Kind::UnpublishedService, "files/VLM-FD-ACCENT-1.0.cxf", "body=entities", "VLM-FD-ACCENT", 0, {1},
         R"(Error code 8, The fandeck Accent Brights is not a usable colour document: [^\n]*entity references expand to more than [0-9]+ bytes)", {}, {}, 150},
        {"GetAvailableFiles_tinyElements", Kind::Service, "GetAvailableFiles", "body=tiny", "", 0, {1},
         R"(Error code -1103, The reply of the service holds more than [0-9]+ elements \([0-9]+ bytes\): refused)" + notListed, {}, {}, 400},
        {"StaleFileInTheDownloadsFolder", Kind::StaleDownload, "VLM-FD-WHITES-1.0.cxf", "", "", 0, {0}, kClean},
        {"DataFolderOnAFullDisk", Kind::DiskFull, "", "", "", 0, {1}, R"(Error code -3003, The file "[^"]+" cannot be written: No space left on device)"},
        // Files nobody vouched for: a mirror's same-size replacement is found by its checksum after
        // the download, a record the trusted key did not sign before it. 100 MB bounds an ordinary
        // sync's peak memory with room to spare.
        {"Firmware_tamperedSameSize", Kind::Tampered, "TX350-FW", "", "", 0, {1}, R"(Error code 1, The file of TX350 Firmware 2\.4)" + tampered, kFandeckSKUs, {"TX350-FW"}, 100},
        {"Fandeck_tamperedSameSize", Kind::Tampered, "VLM-FD-ACCENT", "", "", 0, {1}, R"(Error code 1, The file of Accent Brights 1\.0)" + tampered, {"TX350-FW", "VLM-FD-INT"}, {"VLM-FD-ACCENT"}, 100},
        {"Bootloader_recordChangedAfterSigning", Kind::ForgedRecord, "TX350-BL", "", "", 0, {1}, R"(Error code 2, The signature of TX350 Bootloader 9\.9)" + unverified, {"TX350-FW"}, {"TX350-BL"}, 100},
        // The repaired sync keeps signatures required: a signed catalog passes whole.
        {"Firmware_unsignedWhenSignaturesAreRequired", Kind::UnsignedWhenRequired, "TX350-FW", "", "", 0, {1},
         R"(Error code 3, The service did not sign TX350 Firmware 2\.4, and only signed files are accepted: the file was not downloaded)" + untrusted, kFandeckSKUs, {"TX350-FW"}, 100},
        {"Fandeck_signedByAnUntrustedKey", Kind::ForeignSigner, "VLM-FD-WHITES", "", "", 0, {1}, R"(Error code 2, The signature of Designer Whites 1\.0)" + unverified, {"VLM-FD-INT"}, {"VLM-FD-WHITES"}, 100},
        // Nothing outside http(s) is fetched, whatever the file list names.
        {"FileList_fileURLs", Kind::Service, "GetAvailableFiles", "fileurl=file", "", 0, {1},
         R"(Error code 5, The service lists "VLM-FD-ACCENT-1\.0\.cxf" at "file://[^"]+"; files are fetched over http or https only\.[\s\S]*with 15 error\(s\))", {}, {}, 100},
        {"FandeckFile_replacedWithoutValidator", Kind::ReplacedFile, kInteriors, "", "", 0, {1}, droppedFile, {}, {}, 100},
    };
    return rows;
}

QList<FaultRow> longRows()
{
    const QByteArray tooSlow = R"(Error code -1001, The service sent fewer than [0-9]+ bytes in [0-9]+ s \([0-9]+ bytes\): the transfer was stopped as too slow\.)";
    return {
        {"OpenDeviceSession_slow", Kind::Service, "OpenDeviceSession", "delay=3000", "", 0, {0}, kClean},
        {"GetAvailableFiles_slow", Kind::Service, "GetAvailableFiles", "delay=3000", "", 0, {0}, kClean},
        {"FandeckFile_slow", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "delay=3000", "", 0, {0}, kClean},
        {"DeviceFile_slow", Kind::Service, "files/TX350-FW-2.4.bin", "delay=3000", "", 0, {0}, kClean},
        // A byte a second never stalls the link, but ends at the transfer's minimum pace.
        {"GetAvailableFiles_trickle", Kind::Service, "GetAvailableFiles", "trickle=1000", "", 0, {1}, tooSlow + kNoneExported + finishedWith(2), {}, {}, 150},
        {"FandeckFile_trickle", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "trickle=1000", "", 0, {1}, tooSlow + R"(\n)" + kAnything + finishedWith(1), {}, {}, 150},
        // A refused file holds the download step (it reports nothing): the refusal shows at once, and
        // the stall time-out ends the step saying it again.
        {"FandeckFile_http500", Kind::Service, "files/VLM-FD-ACCENT-1.0.cxf", "http=500", "", 0, {3},
         R"(  step 19 of 28  (The service refused Accent Brights \(HTTP 500, internal server error\); waiting\. Cancel the sync to stop; the next sync tries again\.)\n[\s\S]*No progress for 6 s at step 19 \(\1\): cancelling the sync\.\nError code -1001, No progress for 6 s at step 19 \(\1\); the sync was stopped\.\n[\s\S]*Sync cancelled after [0-9.]+ s: no progress\.)"},
        {"DeviceFile_http500", Kind::Service, "files/TX350-FW-2.4.bin", "http=500", "", 0, {3},
         R"(  step 11 of 28  (The service refused TX350 Firmware \(HTTP 500, internal server error\); waiting\. Cancel the sync to stop; the next sync tries again\.)\n[\s\S]*No progress for 6 s at step 11 \(\1\): cancelling the sync\.\nError code -1001, No progress for 6 s at step 11 \(\1\); the sync was stopped\.\n[\s\S]*Sync cancelled after [0-9.]+ s: no progress\.)"},
        {"Killed_midDownload", Kind::Kill, "download", "", "", 0, {-1}, ""},
        {"Interrupted_midDownload", Kind::Interrupt, "download", "", "", 0, {3}, R"(\nSync cancelled after [0-9.]+ s\.\n[\s\S]*tintera: cancelling the sync \(press Ctrl-C again to stop at once\))"},
        {"Killed_midUpload", Kind::Kill, "upload", "", "", 0, {-1}, ""},
        {"Interrupted_midUpload", Kind::Interrupt, "upload", "", "", 0, {3}, R"(\nSync cancelled after [0-9.]+ s\.\n[\s\S]*tintera: cancelling the sync \(press Ctrl-C again to stop at once\))"},
    };
}

QList<FaultRow> matrixRows()
{
    // Both programs are built from this file: each takes its own part of the table.
#ifdef TINTERA_FAULT_MATRIX_LONG
    const bool longOnes = true;
#else
    const bool longOnes = false;
#endif
    return longOnes ? longRows() : deviceRows() + serviceRows();
}

void signAsTheDemoService(QJsonObject &record)
{
    record.insert("Signature", QString::fromLatin1(VLRecordSigning::sign(demoSigningKeyPem(),
                                                                         vlFileRecordSigningText(record.toVariantMap()))));
}

class FaultMatrix : public ::testing::TestWithParam<FaultRow>
{
protected:
    void SetUp() override
    {
        qputenv("KALVEX_COMMAND_TIME_LIMIT_MS", kCommandTimeLimit);
        qputenv("KALVEX_REBOOT_TIME_LIMIT_MS", "15000");
        qputenv("TINTERA_TRANSFER_WINDOW_MS", kTransferWindow);
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = 50;
        VLError error;
        ASSERT_TRUE(environment.start(options, &error)) << qPrintable(error.description());
        serial = environment.serialNumbers().first();
        // The tintera runs get a home of their own: nothing may appear there.
        ASSERT_TRUE(home.isValid());
        previousHome = qgetenv("HOME");
        qputenv("HOME", home.path().toUtf8());
        topLevelBefore = QDir(environment.folder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }
    void TearDown() override
    {
        qputenv("HOME", previousHome);
        environment.stop();
    }

    QString dataPath(const QString &relative) const { return environment.dataFolder() + QLatin1Char('/') + relative; }

    QVariantList deviceInventory() { return environment.deviceInventory(serial); }
    QVariantMap deviceState() const { return environment.deviceState(serial); }
    QJsonObject served() { return environment.serviceStatistics().value("files").toObject(); }

    QMap<QString, QVariantMap> catalogRecords()
    {
        const QJsonDocument index = QJsonDocument::fromJson(readFile(environment.catalogFolder() + "/index.json"));
        return bySKU(index.object().value("files").toArray().toVariantList());
    }
    bool inject(const FaultRow &row);
    // Changes the "ByteLength" the catalog announces for a SKU by `delta` (0 restores it).
    bool setAnnouncedLength(const QString &sku, qint64 delta);
    // Changes the catalog's record of a SKU in place; the payload's path is given to `change`.
    bool editRecord(const QString &sku, const std::function<void(QJsonObject &, const QString &)> &change);
    // The catalog's records and the files the row changes, as they were before, and back.
    bool keepCatalog(const QString &sku);
    bool restoreCatalog();
    // Another version of a served CxF file, as long as the old one: its colours' names change case
    // within the first 100,000 bytes.
    bool replaceServedFile(const QString &name);
    TinteraRun runFaultySync(const FaultRow &row);
    void expectNothingOutsideTheDataFolder();
    void expectNothingHalfWrittenInstalled(const QString &dataFolder);
    void expectTheFullState(const QString &dataFolder);

    TinteraDemoEnvironment environment;
    QString serial;
    QMap<QString, QByteArray> keptCatalogFiles;
    QTemporaryDir home;
    QByteArray previousHome;
    QStringList topLevelBefore;
};

bool FaultMatrix::inject(const FaultRow &row)
{
    VLError error;
    switch (row.kind) {
    case Kind::Device: {
        // A fault with a value is written KIND=VALUE.
        const QStringList fault = QString::fromLatin1(row.fault).split('=');
        QStringList arguments{"fault", "--serial", serial, "--command", row.target, "--" + fault.first()};
        arguments += fault.mid(1);
        if (QByteArray(row.fault) == "error")
            arguments += {"-77", "--message", QStringLiteral("injected fault in %1").arg(row.target)};
        if (*row.when)
            arguments += {"--when", row.when};
        if (row.after > 0)
            arguments += {"--after", QString::number(row.after)};
        return environment.devsim(arguments, nullptr, &error);
    }
    case Kind::UnpublishedService:
        // Neither checksum nor signature, as the protocol allows: only what reads the bytes can
        // find what they hold.
        if (!keepCatalog(row.when) || !editRecord(row.when, [](QJsonObject &record, const QString &) {
                record.remove("SHA256");
                record.remove("Signature");
            }))
            return false;
        [[fallthrough]];
    case Kind::Service: {
        QString items = QString::fromLatin1(row.fault);
        items.replace(',', '&');
        return environment.cloudsimControl(QStringLiteral("fault?target=%1&%2").arg(row.target, items), nullptr, &error);
    }
    case Kind::StaleDownload: {
        writeFile(dataPath("Downloads/") + row.target, "a stale file an earlier run left behind");
        return true;
    }
    case Kind::ShortFile:
        return setAnnouncedLength(row.target, 1);
    case Kind::ReplacedFile:
        return environment.cloudsimControl("fault?target=files&validator=none", nullptr, &error)
            && environment.cloudsimControl(QStringLiteral("fault?target=files/%1&validator=none&cut=100000").arg(row.target),
                                           nullptr, &error);
    case Kind::Kill:
    case Kind::Interrupt:
        if (QByteArray(row.target) == "download")
            return environment.cloudsimControl(
                QStringLiteral("fault?target=files/%1&pauseat=%2&delay=20000&times=1").arg(kInteriors).arg(kInteriorsPause),
                nullptr, &error);
        // About a second for the largest fandeck on the emulated device's link.
        return environment.devsim({"link", "--serial", serial, "--profile", "usb-full-speed"}, nullptr, &error);
    case Kind::DiskFull:
        return true;
    case Kind::Tampered:
        return keepCatalog(row.target) && editRecord(row.target, [](QJsonObject &, const QString &payload) {
                   QFile file(payload);
                   if (!file.open(QIODevice::ReadWrite))
                       return;
                   QByteArray bytes = file.readAll();
                   for (qsizetype i = bytes.size() / 2; i < bytes.size() / 2 + 16 && i < bytes.size(); ++i)
                       bytes[i] = char(bytes[i] ^ 0x5a);
                   file.seek(0);
                   file.write(bytes);
               });
    case Kind::ForgedRecord:
        return keepCatalog(row.target) && editRecord(row.target, [](QJsonObject &record, const QString &) {
                   record.insert("VersionString", "9.9");
               });
    case Kind::UnsignedWhenRequired:
        return runTintera({"settings", "require-signed", "on"}).exitCode == 0 && keepCatalog(row.target)
            && editRecord(row.target, [](QJsonObject &record, const QString &) { record.remove("Signature"); });
    case Kind::ForeignSigner:
        return keepCatalog(row.target) && editRecord(row.target, [](QJsonObject &record, const QString &) {
                   const QByteArray foreign = VLRecordSigning::privateKeyPemFromSeed(QByteArray(32, 'x'));
                   record.insert("Signature", QString::fromLatin1(VLRecordSigning::sign(
                                                  foreign, vlFileRecordSigningText(record.toVariantMap()))));
               });
    }
    return false;
}

bool FaultMatrix::editRecord(const QString &sku, const std::function<void(QJsonObject &, const QString &)> &change)
{
    QFile index(environment.catalogFolder() + "/index.json");
    if (!index.open(QIODevice::ReadOnly))
        return false;
    QJsonObject catalog = QJsonDocument::fromJson(index.readAll()).object();
    index.close();
    QJsonArray files = catalog.value("files").toArray();
    bool found = false;
    for (qsizetype i = 0; i < files.size(); ++i) {
        QJsonObject record = files.at(i).toObject();
        if (record.value("SKU").toString() != sku)
            continue;
        change(record, environment.catalogFolder() + "/files/" + record.value("FileURL").toString().section('/', -1));
        files.replace(i, record);
        found = true;
    }
    catalog.insert("files", files);
    return found && index.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && index.write(QJsonDocument(catalog).toJson()) > 0;
}

bool FaultMatrix::keepCatalog(const QString &sku)
{
    QStringList paths{environment.catalogFolder() + "/index.json"};
    editRecord(sku, [&](QJsonObject &, const QString &payload) { paths << payload; });
    for (const QString &path : std::as_const(paths)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        keptCatalogFiles.insert(path, file.readAll());
    }
    return true;
}

bool FaultMatrix::restoreCatalog()
{
    for (auto it = keptCatalogFiles.cbegin(); it != keptCatalogFiles.cend(); ++it) {
        QFile file(it.key());
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(it.value()) != it.value().size())
            return false;
    }
    return true;
}

bool FaultMatrix::setAnnouncedLength(const QString &sku, qint64 delta)
{
    // Re-signed, as a service that publishes a wrong length would: only the size check can find it.
    return editRecord(sku, [delta](QJsonObject &record, const QString &payload) {
        record.insert("ByteLength", QString::number(QFileInfo(payload).size() + delta));
        signAsTheDemoService(record);
    });
}

bool FaultMatrix::replaceServedFile(const QString &name)
{
    QFile file(environment.catalogFolder() + "/files/" + name);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    QByteArray bytes = file.readAll();
    const QByteArray marker = "ObjectType=\"Standard\" Name=\"";
    int changed = 0;
    for (qsizetype at = bytes.indexOf(marker); at >= 0 && at < 100000; at = bytes.indexOf(marker, at + 1), ++changed)
        bytes[at + marker.size()] = char(bytes.at(at + marker.size()) ^ 0x20);
    if (changed == 0 || !file.seek(0) || file.write(bytes) != bytes.size())
        return false;
    file.close();
    // Published anew: a new checksum, signed.
    const QMap<QString, QVariantMap> records = catalogRecords();
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        if (it->value("FileURL").toString().endsWith('/' + name))
            return editRecord(it.key(), [&bytes](QJsonObject &record, const QString &) {
                record.insert("SHA256", QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
                signAsTheDemoService(record);
            });
    }
    return false;
}

TinteraRun FaultMatrix::runFaultySync(const FaultRow &row)
{
    const QStringList arguments{"sync", "--stall-timeout", kStallSeconds};
    if (row.kind != Kind::Kill && row.kind != Kind::Interrupt)
        return runTintera(arguments, kRunBoundMilliseconds);
    const int signal = row.kind == Kind::Kill ? SIGKILL : SIGINT;
    const QString moment = QByteArray(row.target) == "download" ? "Downloading Velmora Interiors"
                                                                : "Uploading Velmora Interiors";
    bool signalled = false;
    TinteraRun run = runTintera(arguments, kRunBoundMilliseconds, [&](const QString &out, qint64 pid) {
        if (!out.contains(moment))
            return true;
        QThread::msleep(400); // well into the transfer
        signalled = ::kill(pid_t(pid), signal) == 0;
        return false;
    });
    EXPECT_TRUE(signalled) << "the run never reached: " << qPrintable(moment);
    return run;
}

void FaultMatrix::expectNothingOutsideTheDataFolder()
{
    EXPECT_TRUE(QDir(home.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty())
        << "the run wrote into its home folder";
    QStringList topLevel = QDir(environment.folder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    topLevel.removeAll("data"); // created by the first run
    QStringList before = topLevelBefore;
    before.removeAll("data");
    topLevel.sort();
    before.sort();
    EXPECT_EQ(topLevel, before) << "the run wrote beside the data folder";
}

// Every installed package holds exactly the bytes its record announces: its length and its SHA-256.
void FaultMatrix::expectNothingHalfWrittenInstalled(const QString &dataFolder)
{
    for (const auto &[store, payloadName] : {std::pair{"Fandecks", "payload.cxf"}, std::pair{"Files", "payload"}}) {
        const QString folder = dataFolder + QLatin1Char('/') + store;
        for (const QString &sku : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QString payload = folder + '/' + sku + '/' + payloadName;
            const VLSyncFileInfoPtr info = VLSyncFileInfo::initWithFilename(folder + '/' + sku + "/info.plist");
            if (!info || !QFileInfo::exists(payload))
                continue; // not a package the inventory would take
            const VLError unverified = VLFileTrust().checkPayload(*info, payload);
            EXPECT_TRUE(unverified.isNull()) << qPrintable(store + QLatin1Char('/') + sku + ": " + unverified.description());
            EXPECT_TRUE(vlIsSha256Hex(info->info().value(VLSyncFileInfoSHA256).toString()))
                << qPrintable(store + QLatin1Char('/') + sku) << " installed without the service's checksum";
        }
    }
}

void FaultMatrix::expectTheFullState(const QString &dataFolder)
{
    EXPECT_EQ(QDir(dataFolder + "/Fandecks").entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name), kFandeckSKUs);
    EXPECT_EQ(QDir(dataFolder + "/Files").entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name), kDeviceFileSKUs);
    expectNothingHalfWrittenInstalled(dataFolder);

    const QMap<QString, QVariantMap> onDevice = bySKU(deviceInventory());
    QStringList everySKU = kFandeckSKUs + kDeviceFileSKUs;
    everySKU.sort();
    QStringList deviceSKUs = onDevice.keys();
    deviceSKUs.removeAll("DEMO-FD-SEED"); // the fandeck the emulated device came with
    EXPECT_EQ(deviceSKUs, everySKU);
    for (const QString &sku : kFandeckSKUs)
        EXPECT_TRUE(onDevice.value(sku).value("Enabled").toBool()) << "not enabled: " << qPrintable(sku);
    // The device holds the very bytes the service published.
    const QMap<QString, QVariantMap> published = catalogRecords();
    for (const QString &sku : std::as_const(everySKU)) {
        const QString stored = environment.devsimStateFolder() + "/devices/" + serial + "/files/"
                             + onDevice.value(sku).value("DeviceFileID").toString();
        EXPECT_EQ(vlSha256HexOfFile(stored), published.value(sku).value("SHA256").toString().toLatin1())
            << "on the device: " << qPrintable(sku);
    }
    const QVariantMap state = deviceState();
    EXPECT_EQ(state.value("DeltaE").toMap().value("MatchPerformanceTolerance").toDouble(), 3.0) << "settings not applied";
    EXPECT_EQ(state.value("PreferredFandeck").toString(), onDevice.value("VLM-FD-INT").value("DeviceFileID").toString())
        << "preferred fandeck not set";
    EXPECT_TRUE(state.contains("ClockOffset")) << "clock never set";
    EXPECT_LE(qAbs(state.value("ClockOffset").toDouble()), 120.0) << "clock not set to now";

    const QString exported = dataFolder + "/Measurements/LastMeasurements.cxf";
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithFile(exported, nullptr, &error);
    ASSERT_TRUE(document) << qPrintable(error.description());
    EXPECT_EQ(document->colors().size(), 3);
    EXPECT_EQ(QDir(dataFolder + "/Measurements/Audio").entryList(QDir::Files).size(), 2);
}

TEST_P(FaultMatrix, EndsOnceAndTheNextSyncRepairsEverything)
{
    const FaultRow &row = GetParam();
    if (row.kind == Kind::DiskFull) {
        QProcess probe;
        probe.start("unshare", {::geteuid() == 0 ? "--mount" : "--map-root-user", "--mount", "true"});
        if (!probe.waitForFinished(10000) || probe.exitCode() != 0)
            GTEST_SKIP() << "no mount namespace here (unshare failed): the full-disk row needs one";
    }
    ASSERT_TRUE(inject(row)) << "the fault could not be injected";

    QString dataFolder = environment.dataFolder();
    TinteraRun faulty;
    TinteraRun repaired;
    if (row.kind == Kind::DiskFull) {
        // The data folder on a tmpfs too small for the fandecks, in a mount namespace of its own:
        // the first sync runs out of space, then the same tmpfs grows and the second sync runs on
        // what the first left. The folder is copied out for the checks before the namespace goes.
        QTemporaryDir copy;
        const QString script = QStringLiteral(
            "set -u; mkdir -p \"$DATA\"; mount -t tmpfs -o size=1400k tmpfs \"$DATA\" || exit 90; "
            "\"$TINTERA\" sync --stall-timeout %1 >\"$OUT/faulty.out\" 2>&1; echo $? >\"$OUT/faulty.rc\"; "
            "mount -o remount,size=64m \"$DATA\" || exit 91; "
            "\"$TINTERA\" sync >\"$OUT/repaired.out\" 2>&1; echo $? >\"$OUT/repaired.rc\"; "
            "cp -a \"$DATA/.\" \"$OUT/data/\"").arg(kStallSeconds);
        QDir().mkpath(copy.filePath("data"));
        QProcess shell;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DATA", environment.dataFolder());
        env.insert("OUT", copy.path());
        env.insert("TINTERA", tinteraBuiltProgram("src/cli/tintera"));
        shell.setProcessEnvironment(env);
        QStringList unshare{"--mount"};
        if (::geteuid() != 0)
            unshare.prepend("--map-root-user");
        shell.start("unshare", unshare + QStringList{"sh", "-c", script});
        ASSERT_TRUE(shell.waitForFinished(2 * kRunBoundMilliseconds));
        ASSERT_EQ(shell.exitCode(), 0) << qPrintable(QString::fromUtf8(shell.readAllStandardError()));
        faulty.exitCode = readFile(copy.filePath("faulty.rc")).trimmed().toInt();
        faulty.out = QString::fromUtf8(readFile(copy.filePath("faulty.out")));
        repaired.exitCode = readFile(copy.filePath("repaired.rc")).trimmed().toInt();
        repaired.out = QString::fromUtf8(readFile(copy.filePath("repaired.out")));
        dataFolder = QDir(environment.folder()).filePath("disk-copy");
        ASSERT_TRUE(QDir().rename(copy.filePath("data"), dataFolder));
        topLevelBefore.append("disk-copy");
    } else {
        faulty = runFaultySync(row);
    }
    if (row.peakMegabytes > 0) {
        // The faulty run is the largest program this test has waited for so far.
        rusage usage{};
        ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &usage), 0);
        const long peakMegabytes = usage.ru_maxrss / 1024;
        std::cout << "[ peak     ] " << row.name << ": " << peakMegabytes << " MB" << std::endl;
        EXPECT_LE(peakMegabytes, row.peakMegabytes * kSanitizerMemoryFactor) << "the faulty run's peak resident memory";
    }

    // The faulty run: ended by itself within the bound, once, with its cause.
    const QString faultyText = faulty.out + faulty.err;
    if (row.exits != QList<int>{-1}) {
        EXPECT_FALSE(faulty.crashed) << qPrintable(faultyText);
        EXPECT_TRUE(row.exits.contains(faulty.exitCode)) << "exit " << faulty.exitCode << "\n" << qPrintable(faultyText);
        const qsizetype endings = faultyText.count(
            QRegularExpression("^(Sync (finished|cancelled) |tintera: (?!cancelling the sync))",
                               QRegularExpression::MultilineOption));
        EXPECT_EQ(endings, 1) << qPrintable(faultyText);
    } else {
        EXPECT_TRUE(faulty.crashed || faulty.exitCode == -1) << qPrintable(faultyText);
    }
    EXPECT_FALSE(faultyText.contains("Unknown error")) << "every error names its cause:\n" << qPrintable(faultyText);
    if (!row.cause.isEmpty()) {
        EXPECT_TRUE(faultyText.contains(QRegularExpression(QString::fromUtf8(row.cause))))
            << "no '" << row.cause.constData() << "' in:\n" << qPrintable(faultyText);
    }
    expectNothingHalfWrittenInstalled(row.kind == Kind::DiskFull ? dataFolder : environment.dataFolder());
    if (!row.absentFromDevice.isEmpty()) {
        const QMap<QString, QVariantMap> onDevice = bySKU(deviceInventory());
        for (const QString &sku : row.absentFromDevice)
            EXPECT_FALSE(onDevice.contains(sku)) << "the faulty run put on the device: " << qPrintable(sku);
    }
    if (!row.installedDespite.isEmpty()) {
        const QMap<QString, QVariantMap> onDevice = bySKU(deviceInventory());
        for (const QString &sku : row.installedDespite) {
            EXPECT_TRUE(onDevice.contains(sku)) << "the faulty run dropped " << qPrintable(sku);
            if (kFandeckSKUs.contains(sku)) {
                EXPECT_TRUE(onDevice.value(sku).value("Enabled").toBool()) << "the faulty run left disabled " << qPrintable(sku);
            }
        }
    }

    // The fault cleared, the next sync puts everything in place.
    VLError error;
    ASSERT_TRUE(environment.devsim({"fault", "--serial", serial, "--clear"}, nullptr, &error));
    ASSERT_TRUE(environment.cloudsimControl("clear", nullptr, &error));
    if (row.kind == Kind::ShortFile) {
        ASSERT_TRUE(setAnnouncedLength(row.target, 0));
    }
    ASSERT_TRUE(restoreCatalog());
    if (row.kind == Kind::ReplacedFile) {
        ASSERT_TRUE(replaceServedFile(row.target));
        ASSERT_TRUE(environment.cloudsimControl("fault?target=files&validator=none", nullptr, &error));
    }
    if (row.kind == Kind::Kill || row.kind == Kind::Interrupt) {
        ASSERT_TRUE(environment.devsim({"link", "--serial", serial, "--profile", "loopback"}, nullptr, &error));
    }
    const QJsonObject servedBefore = served();
    if (row.kind != Kind::DiskFull)
        repaired = runTintera({"sync", "--stall-timeout", kStallSeconds}, kRunBoundMilliseconds);
    ASSERT_EQ(repaired.exitCode, 0) << qPrintable(repaired.out + repaired.err);
    EXPECT_TRUE(repaired.out.contains("without errors"));
    expectTheFullState(dataFolder);
    expectNothingOutsideTheDataFolder();

    if (row.kind == Kind::ReplacedFile) {
        const QString name = QString::fromLatin1(row.target);
        QFile served(environment.catalogFolder() + "/files/" + name);
        QFile installed(dataFolder + "/Fandecks/" + name.left(name.lastIndexOf('-')) + "/payload.cxf");
        ASSERT_TRUE(served.open(QIODevice::ReadOnly) && installed.open(QIODevice::ReadOnly));
        EXPECT_TRUE(installed.readAll() == served.readAll()) << "the installed file is not the one the service now serves";
    }
    if ((row.kind == Kind::Kill || row.kind == Kind::Interrupt) && QByteArray(row.target) == "download") {
        // The second run goes on from the bytes the first left on disk.
        const qint64 before = servedBefore.value(kInteriors).toObject().value("bytesServed").toInteger();
        const qint64 after = served().value(kInteriors).toObject().value("bytesServed").toInteger();
        // What the killed process had not yet flushed to disk is fetched again; the rest is not.
        EXPECT_LE(after - before, kInteriorsBytes - kInteriorsPause + 64 * 1024) << "the interrupted download started over";
    }
    // Each file the first run left waiting is fetched once.
    const QJsonObject servedAfter = served();
    for (auto it = servedAfter.begin(); it != servedAfter.end(); ++it) {
        const qint64 requests = it->toObject().value("requests").toInteger()
                              - servedBefore.value(it.key()).toObject().value("requests").toInteger();
        EXPECT_LE(requests, 1) << qPrintable(it.key()) << " fetched more than once by one sync";
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultMatrix, ::testing::ValuesIn(matrixRows()),
                         [](const ::testing::TestParamInfo<FaultRow> &row) { return std::string(row.param.name); });

} // namespace
