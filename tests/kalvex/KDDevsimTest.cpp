// The device framework against a real emulator process.

#include "DevsimErrors.h"
#include "DevsimFixture.h"
#include "DevsimTestData.h"
#include "TestSupport.h"
#include "VLPropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>
#include <QUrl>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>

namespace {

const QString kSerial = QStringLiteral("VL000001");

KDCommandPtr command(const QString &name, const QVariantMap &arguments = {})
{
    return KDCommand::initWithNameArguments(name, arguments);
}

// A command whose payload is the mapped file, set the way the sync engine sets it.
KDCommandPtr commandWithFile(const QString &name, const QVariantMap &arguments, const QString &path)
{
    KDCommandPtr result = command(name, arguments);
    KXDeviceCommandSetData(result->KXType(), KXDataWithMappedFileAtPath(path));
    return result;
}

void expectSuccess(const KDDevicePtr &device, const KDCommandPtr &sent)
{
    const CommandResult result = sendAndWait(device, sent);
    ASSERT_EQ(result.answers, 1) << sent->name().toStdString();
    EXPECT_TRUE(result.response->error().isNull())
        << sent->name().toStdString() << ": " << result.response->error().description().toStdString();
    EXPECT_EQ(result.response->command(), sent);
}

void expectRefusal(const KDDevicePtr &device, const KDCommandPtr &sent, const QString &domain, qint64 code)
{
    const CommandResult result = sendAndWait(device, sent);
    ASSERT_EQ(result.answers, 1) << sent->name().toStdString();
    EXPECT_EQ(result.response->error().domain(), domain) << sent->description().toStdString();
    EXPECT_EQ(result.response->error().code(), code) << result.response->error().description().toStdString();
}

QList<QVariantMap> deviceFiles(const KDDevicePtr &device)
{
    const CommandResult result = sendAndWait(device, command("GetFiles"));
    EXPECT_TRUE(result.response && result.response->error().isNull() && !result.response->data().isNull());
    return result.response ? decodeFileInventory(result.response->data()) : QList<QVariantMap>();
}

qint64 freeSpace(const KDDevicePtr &device)
{
    return device->attributeForKey(KDDeviceAttributeFreeDiskSpace).toLongLong();
}

qint64 residentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

// The emulator serving its first device, as an observer sees it.
class ServedDevice : public ::testing::Test
{
protected:
    void SetUp() override
    {
        devsim.start();
        observed.emplace();
        device = observed->waitForDevice(kSerial);
        ASSERT_TRUE(device);
    }

    DevsimProcess devsim;
    std::optional<ObservedDevices> observed;
    KDDevicePtr device;
};

} // namespace

// The commands of a sync and their answers are checked through the real programs by the fault matrix;
// these are the ones no sync sends: each is refused with its reason and changes nothing.
TEST_F(ServedDevice, MalformedCommandsAreRefusedAndChangeNothing)
{
    const qint64 emptySpace = freeSpace(device);
    const QString deck = devsim.filePath("deck.cxf");
    writeFandeck(deck, "Deck One", {{"101", {50, 10, 10}}});
    const qint64 deckSize = QFileInfo(deck).size();
    const QVariantMap upload{{"FileType", "Fandeck"}, {"FileID", "fd-1"}, {"ByteLength", QString::number(deckSize)}};
    expectSuccess(device, commandWithFile("Upload", upload, deck));
    EXPECT_EQ(freeSpace(device), emptySpace - deckSize);
    const QList<QVariantMap> stored = deviceFiles(device);
    ASSERT_EQ(stored.size(), 1);

    const QString notes = devsim.filePath("notes.txt");
    writeFile(notes, "plain text, no colours");
    const QString notesSize = QString::number(QFileInfo(notes).size());
    QVariantMap badMonth{{"Year", "2026"}, {"Month", "13"}, {"Day", "7"}, {"Hour", "9"}, {"Minute", "5"}, {"Second", "0"}};
    QVariantMap noMonth = badMonth;
    noMonth.remove("Month");
    const struct
    {
        KDCommandPtr sent;
        qint64 code;
    } refusals[] = {
        {KDCommand::initWithNameData("SetSyncImage", QByteArray("GIF89a not a bitmap")), DevsimErrorNotABitmap},
        {commandWithFile("Upload", {{"FileType", "Fandeck"}, {"FileID", "fd-2"}, {"ByteLength", notesSize}}, notes),
         DevsimErrorNotAFandeck},
        {commandWithFile("Upload", {{"FileType", "Fandeck"}, {"ByteLength", notesSize + "0"}}, notes),
         DevsimErrorByteLengthMismatch},
        {command("Upload", upload), DevsimErrorMissingData},
        {command("SetPreferredFandeck", {{"DeviceFileID", "999"}}), DevsimErrorNoSuchFile},
        {command("SetDeltaE", {{"DEWeightFactorL", "heavy"}}), DevsimErrorBadArgument},
        {command("SetClock", badMonth), DevsimErrorBadArgument},
        {command("SetClock", noMonth), DevsimErrorBadArgument},
        {command("Download", {{"filename", "../device.plist"}}), DevsimErrorBadArgument},
        {command("Download", {{"filename", "missing.wav"}}), DevsimErrorNoSuchFile},
        {command("DeleteFile", {{"FileID", "other"}, {"DeviceFileID", stored[0].value("DeviceFileID")}}),
         DevsimErrorNoSuchFile},
        {command("Teleport"), DevsimErrorUnknownCommand},
    };
    for (const auto &refusal : refusals)
        expectRefusal(device, refusal.sent, DevsimErrorDomain, refusal.code);
    EXPECT_EQ(deviceFiles(device), stored);
    EXPECT_EQ(freeSpace(device), emptySpace - deckSize);
    expectSuccess(device, command("HiddenClean"));
    EXPECT_EQ(freeSpace(device), emptySpace);
}

TEST_F(ServedDevice, CapturesMatchEnabledFandecksByWeightedCiede2000)
{
    // From (50, 0, 0): A differs in lightness only (dE00 3.95), B in chroma only (dE00 4.09).
    QStringList deviceFileIDs;
    for (const auto &[id, lab] : {std::pair{QStringLiteral("A"), std::array<double, 3>{54, 0, 0}},
                                  std::pair{QStringLiteral("B"), std::array<double, 3>{50, 3, 0}}}) {
        const QString path = devsim.filePath(id + ".cxf");
        writeFandeck(path, id, {{id, lab}});
        expectSuccess(device, commandWithFile("Upload", {{"FileType", "Fandeck"}, {"FileID", id}}, path));
    }
    for (const QVariantMap &file : deviceFiles(device))
        deviceFileIDs.append(file.value("DeviceFileID").toString());
    ASSERT_EQ(deviceFileIDs.size(), 2);

    auto capture = [&] {
        QByteArray output;
        EXPECT_EQ(devsim.run("capture", {"--serial", kSerial, "--lab", "50,0,0"}, &output), 0);
        const QVariantMap record = VLPropertyList::fromData(output).toMap();
        const HBColorPtr color = KDMeasurement::initWithDictionary(record)->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
        return color ? color->attributeForKey(KDMeasurementColorIdKey).toString() : "?";
    };
    auto setDeltaE = [&](const QVariantMap &values) { expectSuccess(device, command("SetDeltaE", values)); };

    EXPECT_EQ(capture(), QString()) << "uploaded fandecks stay disabled until enabled";
    for (const QString &id : deviceFileIDs)
        expectSuccess(device, command("EnableFandeck", {{"DeviceFileID", id}}));
    EXPECT_EQ(capture(), "A");
    setDeltaE({{"DEWeightFactorC", "2"}});
    EXPECT_EQ(capture(), "B");
    setDeltaE({{"DEWeightFactorC", "1"}, {"DEWeightFactorL", "0.5"}});
    EXPECT_EQ(capture(), "B");
    setDeltaE({{"DEWeightFactorL", "1"}, {"PriorityFandeckOffset", "0.5"}});
    EXPECT_EQ(capture(), "A") << "an offset without a preferred fandeck changes nothing";
    expectSuccess(device, command("SetPreferredFandeck", {{"DeviceFileID", deviceFileIDs[1]}}));
    EXPECT_EQ(capture(), "B");
    setDeltaE({{"MatchPerformanceTolerance", "1"}});
    EXPECT_EQ(capture(), QString()) << "nothing lies within the tolerance";

    // Spectral captures are converted with the colour framework before matching.
    setDeltaE({{"MatchPerformanceTolerance", "100"}});
    QStringList spectrum{"400", "10"};
    for (int i = 0; i < 31; ++i)
        spectrum << "0.2";
    QByteArray output;
    ASSERT_EQ(devsim.run("capture", {"--serial", kSerial, "--spectrum", spectrum.join(QLatin1Char(','))}, &output), 0);
    const HBColorPtr grey = KDMeasurement::initWithDictionary(VLPropertyList::fromData(output).toMap())
                                ->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
    ASSERT_TRUE(grey);
    EXPECT_FALSE(grey->attributeForKey(KDMeasurementColorIdKey).toString().isEmpty());
    EXPECT_EQ(grey->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).size(), 1);
    EXPECT_EQ(devsim.run("capture", {"--serial", kSerial, "--spectrum", "403,7,0.5,0.5"}), 1);
    EXPECT_EQ(devsim.run("capture", {"--serial", kSerial, "--lab", "1,2", "--audio", "/etc/hostname"}), 2);
}

TEST_F(ServedDevice, LargeUploadStreamsFromTheMappedFile)
{
    constexpr qint64 kSize = 100 * 1024 * 1024;
    const QString path = devsim.filePath("large.bin");
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        QByteArray block(1024 * 1024, '\0');
        for (qint64 written = 0; written < kSize; written += block.size()) {
            block.fill(char('a' + (written / block.size()) % 26));
            ASSERT_EQ(file.write(block), block.size());
        }
    }
    const qint64 before = residentBytes();
    ASSERT_GT(before, 0);
    qint64 peak = before;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, [&] { peak = std::max(peak, residentBytes()); });
    sampler.start(5);

    const KDCommandPtr upload = KDCommand::initWithNameArgumentsDataURL(
        "Upload", {{"FileType", "Firmware"}, {"FileID", "fw-big"}, {"VersionString", "9.9"}, {"ByteLength", QString::number(kSize)}},
        QUrl::fromLocalFile(path));
    EXPECT_EQ(upload->dataLength(), kSize);
    const CommandResult result = sendAndWait(device, upload, 120000);
    sampler.stop();
    ASSERT_EQ(result.answers, 1);
    EXPECT_TRUE(result.response->error().isNull()) << result.response->error().description().toStdString();
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer keeps freed socket buffers in quarantine, so resident size says nothing here.
    std::printf("resident memory grew by %lld KiB (not checked under AddressSanitizer)\n", static_cast<long long>((peak - before) / 1024));
#else
    EXPECT_LT(peak - before, 24 * 1024 * 1024) << "resident memory grew by " << (peak - before) / 1024 << " KiB";
#endif

    const QList<QVariantMap> files = deviceFiles(device);
    ASSERT_EQ(files.size(), 1);
    const QString stored = QDir(devsim.stateFolder()).filePath("devices/VL000001/files/" + files[0].value("DeviceFileID").toString());
    QFile copy(stored);
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.size(), kSize);
    copy.seek(kSize - 1);
    EXPECT_EQ(copy.read(1), QByteArray(1, char('a' + (kSize / (1024 * 1024) - 1) % 26)));
}

TEST_F(ServedDevice, GarbageGivesAnErrorNotACrash)
{
    // Someone else's socket in the folder that does not speak frames: ignored.
    QLocalServer impostor;
    QObject::connect(&impostor, &QLocalServer::newConnection, [&] {
        QLocalSocket *socket = impostor.nextPendingConnection();
        socket->write(QByteArray("HTTP/1.1 200 OK\r\n\r\n") + QByteArray(100, '\xff'));
    });
    ASSERT_TRUE(impostor.listen(QDir(devsim.deviceFolder()).filePath("impostor.sock")));

    // A client sending garbage to the emulator loses its connection; the emulator goes on.
    QLocalSocket raw;
    raw.connectToServer(QDir(devsim.deviceFolder()).filePath("VL000001.sock"));
    ASSERT_TRUE(raw.waitForConnected(5000));
    raw.write(QByteArray(64, 'z'));
    ASSERT_TRUE(waitUntil([&] { return raw.state() == QLocalSocket::UnconnectedState; }));
    expectSuccess(device, command("GetFiles"));
    QTest::qWait(300);
    EXPECT_EQ(observed->arrived.size(), 1) << "the impostor is not taken on";
}

TEST(DevsimDevices, TwoDevicesAreToldApartBySerialNumber)
{
    DevsimProcess devsim;
    devsim.start({"--devices", "2"});
    ObservedDevices observed;
    const KDDevicePtr first = observed.waitForDevice("VL000001");
    const KDDevicePtr second = observed.waitForDevice("VL000002");
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(first->isEqual(second));
    EXPECT_TRUE(first->isEqual(first));
    EXPECT_NE(first->attributeForKey(KDDeviceAttributeChipId), second->attributeForKey(KDDeviceAttributeChipId));

    const QString firmware = devsim.filePath("fw.bin");
    writeFile(firmware, "firmware");
    expectSuccess(second, commandWithFile("Upload", {{"FileType", "Firmware"}}, firmware));
    EXPECT_TRUE(deviceFiles(first).isEmpty());
    EXPECT_EQ(deviceFiles(second).size(), 1);

    // A device added while the emulator runs arrives too.
    ASSERT_EQ(devsim.addDevice("VL000003"), 0);
    EXPECT_TRUE(observed.waitForDevice("VL000003"));
    EXPECT_EQ(observed.arrived.size(), 3);
}

// A device that drops one connection keeps its socket: the same process takes it on again. (The
// fault matrix cannot see this: each of its syncs is a new process.)
TEST_F(ServedDevice, ADroppedConnectionIsAnErrorARemovalAndANewArrival)
{
    devsim.fault(kSerial, {"--command", "SetDeltaE", "--disconnect"});
    expectRefusal(device, command("SetDeltaE"), KDErrorDomain, KDErrorDeviceDisconnected);
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1 && observed->arrived.size() == 2; }));
    expectSuccess(observed->arrived.last(), command("SetDeltaE"));
}

// A header dictionary with a NUL-keyed entry made libplist abort the process. A greeting with one is
// the command line's test (that device is not listed); in an answer, the command fails once with the
// reason and the device goes.
TEST_F(ServedDevice, AnAnswerWithANulKeyedEntryIsRefused)
{
    devsim.fault(kSerial, {"--command", "GetFiles", "--nul-key"});
    const CommandResult answered = sendAndWait(device, command("GetFiles"));
    ASSERT_EQ(answered.answers, 1);
    EXPECT_EQ(answered.response->error().code(), KDErrorBadFrame);
    EXPECT_TRUE(answered.response->error().localizedDescription().contains("NUL"))
        << qPrintable(answered.response->error().localizedDescription());
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1; }));
}

// Reals beyond the 64-bit integer range in the inventory are read without undefined conversions.
TEST_F(ServedDevice, NumbersBeyondEveryIntegerInAnInventoryAreRead)
{
    const QString firmware = devsim.filePath("fw.bin");
    writeFile(firmware, "firmware");
    expectSuccess(device, commandWithFile("Upload", {{"FileType", "Firmware"}}, firmware));

    devsim.fault(kSerial, {"--command", "GetFiles", "--huge-numbers"});
    const QList<QVariantMap> files = deviceFiles(device);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files.first().value("ByteLength").toDouble(), 1e113);
    EXPECT_EQ(files.first().value("Huge").toDouble(), -1e113);
    EXPECT_EQ(files.first().value("FileType").toString(), "Firmware");
}

TEST_F(ServedDevice, UnplugAndPlugAgain)
{
    ASSERT_EQ(devsim.run("unplug", {"--serial", kSerial}), 0);
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1; }));
    EXPECT_FALSE(QFile::exists(QDir(devsim.deviceFolder()).filePath("VL000001.sock")));
    ASSERT_EQ(devsim.run("plug", {"--serial", kSerial}), 0);
    ASSERT_TRUE(waitUntil([&] { return observed->arrived.size() == 2; }));
    EXPECT_EQ(observed->removed.size(), 1);
}

TEST_F(ServedDevice, StateOutlivesTheEmulator)
{
    const QString firmware = devsim.filePath("fw.bin");
    writeFile(firmware, "firmware");
    expectSuccess(device, commandWithFile("Upload", {{"FileType", "Firmware"}, {"FileID", "fw-7"}}, firmware));
    devsim.stop();
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1; }));
    EXPECT_FALSE(QFile::exists(QDir(devsim.deviceFolder()).filePath("VL000001.sock")));
    devsim.start();
    ASSERT_TRUE(waitUntil([&] { return observed->arrived.size() == 2; }));
    const QList<QVariantMap> files = deviceFiles(observed->arrived.last());
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files[0].value("FileID"), "fw-7");
}

TEST(DevctlTool, ListsDevicesAndSendsCommands)
{
    DevsimProcess devsim;
    devsim.start({"--devices", "2"});
    const QString devctl = tinteraBuiltProgram("tools/devsim/tintera-devctl");
    auto run = [&](const QStringList &arguments, QByteArray *output) {
        QProcess process;
        process.start(devctl, QStringList{"--device-dir", devsim.deviceFolder()} + arguments);
        EXPECT_TRUE(process.waitForFinished(30000));
        *output = process.readAllStandardOutput();
        return process.exitCode();
    };
    QByteArray output;
    ASSERT_EQ(run({"list"}, &output), 0);
    const QList<QByteArray> lines = output.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2) << output.constData();
    EXPECT_TRUE(lines[0].startsWith("VL000001\tVelmora\tavailable\t"));
    EXPECT_TRUE(lines[1].contains("FreeDiskSpace="));

    const QString image = devsim.filePath("sync.bmp");
    writeFile(image, sampleBitmap());
    EXPECT_EQ(run({"send", "VL000002", "SetSyncImage", "--data", image}, &output), 0);
    EXPECT_EQ(output.trimmed(), "ok");
    EXPECT_EQ(run({"send", "VL000002", "GetFiles"}, &output), 0);
    EXPECT_TRUE(output.contains("<array/>")) << output.constData();
    EXPECT_EQ(run({"send", "VL000002", "SetClock", "Year=2026"}, &output), 1);
    EXPECT_TRUE(output.startsWith("error: Error Domain=KDDeviceErrorDomain Code=101")) << output.constData();
    EXPECT_EQ(run({"--wait", "500", "send", "VL999999", "GetFiles"}, &output), 3);
}
