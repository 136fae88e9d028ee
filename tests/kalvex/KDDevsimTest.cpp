// The device framework against a real emulator process.

#include "DevsimErrors.h"
#include "DevsimFixture.h"
#include "DevsimTestData.h"
#include "TestSupport.h"
#include "VLPropertyList.h"

#include <QDateTime>
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

QVariantMap deviceState(const DevsimProcess &devsim, const QString &serial = kSerial)
{
    QByteArray output;
    EXPECT_EQ(devsim.run(QStringLiteral("show"), {QStringLiteral("--serial"), serial}, &output), 0);
    return VLPropertyList::fromData(output).toMap();
}

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

KDCommandResponsePtr expectSuccess(const KDDevicePtr &device, const KDCommandPtr &sent)
{
    const CommandResult result = sendAndWait(device, sent);
    EXPECT_EQ(result.answers, 1) << sent->name().toStdString();
    if (!result.response)
        return KDCommandResponsePtr::create(sent, VLError(QStringLiteral("test"), 1, QStringLiteral("no answer")));
    EXPECT_TRUE(result.response->error().isNull())
        << sent->name().toStdString() << ": " << result.response->error().description().toStdString();
    EXPECT_EQ(result.response->command(), sent);
    return result.response;
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
    const KDCommandResponsePtr response = expectSuccess(device, command(QStringLiteral("GetFiles")));
    EXPECT_FALSE(response->data().isNull());
    return decodeFileInventory(response->data());
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

TEST_F(ServedDevice, EveryCommandRoundTrips)
{
    EXPECT_EQ(device->name(), QStringLiteral("Velmora"));
    EXPECT_FALSE(device->attributeForKey(KDDeviceAttributeChipId).isEmpty());
    EXPECT_EQ(device->attributeForKey(KDDeviceAttributeFirmware), QStringLiteral("1.0"));
    const qint64 emptySpace = freeSpace(device);
    ASSERT_GT(emptySpace, 0);

    expectSuccess(device, command(QStringLiteral("BeginSync")));
    EXPECT_TRUE(deviceState(devsim).value(QStringLiteral("SyncMode")).toBool());
    expectSuccess(device, KDCommand::initWithNameData(QStringLiteral("SetSyncImage"), sampleBitmap()));
    expectRefusal(device, KDCommand::initWithNameData(QStringLiteral("SetSyncImage"), QByteArray("GIF89a not a bitmap")),
                  DevsimErrorDomain, DevsimErrorNotABitmap);
    EXPECT_TRUE(deviceFiles(device).isEmpty());

    // Upload a fandeck: stored disabled, identified by the device, and the free space shrinks.
    const QString deck = devsim.filePath(QStringLiteral("deck.cxf"));
    writeFandeck(deck, QStringLiteral("Deck One"), {{QStringLiteral("101"), {50, 10, 10}}});
    const qint64 deckSize = QFileInfo(deck).size();
    const QVariantMap uploadArguments{{QStringLiteral("FileType"), QStringLiteral("Fandeck")},
                                      {QStringLiteral("FileID"), QStringLiteral("fd-1")},
                                      {QStringLiteral("SKU"), QStringLiteral("SKU-1")},
                                      {QStringLiteral("Description"), QStringLiteral("Deck One")},
                                      {QStringLiteral("VersionString"), QStringLiteral("1.2")},
                                      {QStringLiteral("ByteLength"), QString::number(deckSize)}};
    expectSuccess(device, commandWithFile(QStringLiteral("Upload"), uploadArguments, deck));
    EXPECT_EQ(freeSpace(device), emptySpace - deckSize);
    QList<QVariantMap> files = deviceFiles(device);
    ASSERT_EQ(files.size(), 1);
    const QString deviceFileID = files[0].value(QStringLiteral("DeviceFileID")).toString();
    EXPECT_FALSE(deviceFileID.isEmpty());
    EXPECT_EQ(files[0].value(QStringLiteral("FileID")), QStringLiteral("fd-1"));
    EXPECT_EQ(files[0].value(QStringLiteral("VersionString")), QStringLiteral("1.2"));
    EXPECT_EQ(files[0].value(QStringLiteral("ByteLength")), QString::number(deckSize));
    EXPECT_EQ(files[0].value(QStringLiteral("Enabled")), false);

    // Refused uploads leave the store as it was.
    const QString notCxf = devsim.filePath(QStringLiteral("notes.txt"));
    writeFile(notCxf, "plain text, no colours");
    QVariantMap wrong = uploadArguments;
    wrong.insert(QStringLiteral("FileID"), QStringLiteral("fd-2"));
    wrong.insert(QStringLiteral("ByteLength"), QString::number(QFileInfo(notCxf).size()));
    expectRefusal(device, commandWithFile(QStringLiteral("Upload"), wrong, notCxf), DevsimErrorDomain, DevsimErrorNotAFandeck);
    wrong.insert(QStringLiteral("ByteLength"), QString::number(QFileInfo(notCxf).size() + 1));
    expectRefusal(device, commandWithFile(QStringLiteral("Upload"), wrong, notCxf), DevsimErrorDomain,
                  DevsimErrorByteLengthMismatch);
    expectRefusal(device, command(QStringLiteral("Upload"), uploadArguments), DevsimErrorDomain, DevsimErrorMissingData);
    EXPECT_EQ(deviceFiles(device).size(), 1);

    expectSuccess(device, command(QStringLiteral("EnableFandeck"), {{QStringLiteral("DeviceFileID"), deviceFileID},
                                                                     {QStringLiteral("Description"), QStringLiteral("Deck One")}}));
    EXPECT_EQ(deviceFiles(device).value(0).value(QStringLiteral("Enabled")), true);
    expectSuccess(device, command(QStringLiteral("SetPreferredFandeck"), {{QStringLiteral("DeviceFileID"), deviceFileID}}));
    expectRefusal(device, command(QStringLiteral("SetPreferredFandeck"), {{QStringLiteral("DeviceFileID"), QStringLiteral("999")}}),
                  DevsimErrorDomain, DevsimErrorNoSuchFile);
    expectSuccess(device, command(QStringLiteral("SetDeltaE"), {{QStringLiteral("MatchPerformanceTolerance"), QStringLiteral("5")},
                                                                {QStringLiteral("PriorityFandeckOffset"), QStringLiteral("0.5")},
                                                                {QStringLiteral("DEWeightFactorL"), QStringLiteral("1")},
                                                                {QStringLiteral("DEWeightFactorC"), QStringLiteral("1")},
                                                                {QStringLiteral("DEWeightFactorH"), QStringLiteral("1")}}));
    expectSuccess(device, command(QStringLiteral("SetDeltaE"))); // no values: nothing changes
    expectRefusal(device, command(QStringLiteral("SetDeltaE"), {{QStringLiteral("DEWeightFactorL"), QStringLiteral("heavy")}}),
                  DevsimErrorDomain, DevsimErrorBadArgument);
    EXPECT_DOUBLE_EQ(deviceState(devsim).value(QStringLiteral("DeltaE")).toMap().value(QStringLiteral("PriorityFandeckOffset")).toDouble(),
                     0.5);

    const QVariantMap clock{{QStringLiteral("Year"), QStringLiteral("2026")}, {QStringLiteral("Month"), QStringLiteral("3")},
                            {QStringLiteral("Day"), QStringLiteral("7")},     {QStringLiteral("Hour"), QStringLiteral("9")},
                            {QStringLiteral("Minute"), QStringLiteral("5")},  {QStringLiteral("Second"), QStringLiteral("0")}};
    expectSuccess(device, command(QStringLiteral("SetClock"), clock));
    QVariantMap badClock = clock;
    badClock.insert(QStringLiteral("Month"), QStringLiteral("13"));
    expectRefusal(device, command(QStringLiteral("SetClock"), badClock), DevsimErrorDomain, DevsimErrorBadArgument);
    badClock.remove(QStringLiteral("Month"));
    expectRefusal(device, command(QStringLiteral("SetClock"), badClock), DevsimErrorDomain, DevsimErrorBadArgument);

    // A capture with a tag and an audio note comes back from "GetMeasurements"; the note downloads.
    const QString wave = devsim.filePath(QStringLiteral("note.wav"));
    writeFile(wave, sampleWave());
    ASSERT_EQ(devsim.run(QStringLiteral("capture"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--lab"),
                                                     QStringLiteral("51,10,9"), QStringLiteral("--tag"), QStringLiteral("kitchen wall"),
                                                     QStringLiteral("--audio"), wave, QStringLiteral("--date"), QStringLiteral("1700000000.5")}),
              0);
    const KDCommandResponsePtr measured = expectSuccess(device, command(QStringLiteral("GetMeasurements")));
    ASSERT_EQ(measured->measurements().size(), 1);
    const HBColorPtr color = measured->measurements()[0]->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
    ASSERT_TRUE(color);
    EXPECT_EQ(color->attributeForKey(KDMeasurementColorIdKey), QStringLiteral("101"));
    EXPECT_EQ(color->attributeForKey(KDMeasurementDeviceFileIDKey), deviceFileID);
    EXPECT_DOUBLE_EQ(color->attributeForKey(KDMeasurementDateSince1970Key).toDouble(), 1700000000.5);
    EXPECT_EQ(color->attributeForKey(KDMeasurementTextTagKey), QStringLiteral("kitchen wall"));
    const QString audioName = color->attributeForKey(KDMeasurementAudioFileNameKey).toString();
    ASSERT_FALSE(audioName.isEmpty());
    EXPECT_FALSE(color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).isEmpty());
    EXPECT_FALSE(measured->measurements()[0]->measurementColorForColorSpace(QStringLiteral("Other")));

    const KDCommandResponsePtr audio = expectSuccess(device, command(QStringLiteral("Download"), {{QStringLiteral("filename"), audioName}}));
    EXPECT_EQ(audio->data(), sampleWave());
    expectRefusal(device, command(QStringLiteral("Download"), {{QStringLiteral("filename"), QStringLiteral("../device.plist")}}),
                  DevsimErrorDomain, DevsimErrorBadArgument);
    expectRefusal(device, command(QStringLiteral("Download"), {{QStringLiteral("filename"), QStringLiteral("missing.wav")}}),
                  DevsimErrorDomain, DevsimErrorNoSuchFile);

    expectRefusal(device, command(QStringLiteral("DeleteFile"), {{QStringLiteral("FileID"), QStringLiteral("other")},
                                                                {QStringLiteral("DeviceFileID"), deviceFileID}}),
                  DevsimErrorDomain, DevsimErrorNoSuchFile);
    expectSuccess(device, command(QStringLiteral("DeleteFile"), {{QStringLiteral("FileID"), QStringLiteral("fd-1")},
                                                                {QStringLiteral("DeviceFileID"), deviceFileID},
                                                                {QStringLiteral("Description"), QStringLiteral("Deck One")}}));
    EXPECT_TRUE(deviceFiles(device).isEmpty());
    EXPECT_EQ(freeSpace(device), emptySpace - sampleWave().size()); // the audio note still takes room

    expectSuccess(device, command(QStringLiteral("HiddenClean")));
    EXPECT_TRUE(expectSuccess(device, command(QStringLiteral("GetMeasurements")))->measurements().isEmpty());
    EXPECT_EQ(freeSpace(device), emptySpace);

    expectSuccess(device, command(QStringLiteral("EndSync")));
    EXPECT_FALSE(deviceState(devsim).value(QStringLiteral("SyncMode")).toBool());
    expectRefusal(device, command(QStringLiteral("Teleport")), DevsimErrorDomain, DevsimErrorUnknownCommand);
    EXPECT_TRUE(observed->removed.isEmpty());
}

TEST_F(ServedDevice, CapturesMatchEnabledFandecksByWeightedCiede2000)
{

    // From (50, 0, 0): A differs in lightness only (dE00 3.95), B in chroma only (dE00 4.09).
    QStringList deviceFileIDs;
    for (const auto &[id, lab] : {std::pair{QStringLiteral("A"), std::array<double, 3>{54, 0, 0}},
                                  std::pair{QStringLiteral("B"), std::array<double, 3>{50, 3, 0}}}) {
        const QString path = devsim.filePath(id + QStringLiteral(".cxf"));
        writeFandeck(path, id, {{id, lab}});
        expectSuccess(device, commandWithFile(QStringLiteral("Upload"),
                                              {{QStringLiteral("FileType"), QStringLiteral("Fandeck")}, {QStringLiteral("FileID"), id}},
                                              path));
    }
    for (const QVariantMap &file : deviceFiles(device))
        deviceFileIDs.append(file.value(QStringLiteral("DeviceFileID")).toString());
    ASSERT_EQ(deviceFileIDs.size(), 2);

    auto capture = [&] {
        QByteArray output;
        EXPECT_EQ(devsim.run(QStringLiteral("capture"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--lab"), QStringLiteral("50,0,0")},
                             &output),
                  0);
        const QVariantMap record = VLPropertyList::fromData(output).toMap();
        const HBColorPtr color = KDMeasurement::initWithDictionary(record)->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
        return color ? color->attributeForKey(KDMeasurementColorIdKey).toString() : QStringLiteral("?");
    };
    auto setDeltaE = [&](const QVariantMap &values) { expectSuccess(device, command(QStringLiteral("SetDeltaE"), values)); };

    EXPECT_EQ(capture(), QString()) << "uploaded fandecks stay disabled until enabled";
    for (const QString &id : deviceFileIDs)
        expectSuccess(device, command(QStringLiteral("EnableFandeck"), {{QStringLiteral("DeviceFileID"), id}}));
    EXPECT_EQ(capture(), QStringLiteral("A"));
    setDeltaE({{QStringLiteral("DEWeightFactorC"), QStringLiteral("2")}});
    EXPECT_EQ(capture(), QStringLiteral("B"));
    setDeltaE({{QStringLiteral("DEWeightFactorC"), QStringLiteral("1")}, {QStringLiteral("DEWeightFactorL"), QStringLiteral("0.5")}});
    EXPECT_EQ(capture(), QStringLiteral("B"));
    setDeltaE({{QStringLiteral("DEWeightFactorL"), QStringLiteral("1")}, {QStringLiteral("PriorityFandeckOffset"), QStringLiteral("0.5")}});
    EXPECT_EQ(capture(), QStringLiteral("A")) << "an offset without a preferred fandeck changes nothing";
    expectSuccess(device, command(QStringLiteral("SetPreferredFandeck"), {{QStringLiteral("DeviceFileID"), deviceFileIDs[1]}}));
    EXPECT_EQ(capture(), QStringLiteral("B"));
    setDeltaE({{QStringLiteral("MatchPerformanceTolerance"), QStringLiteral("1")}});
    EXPECT_EQ(capture(), QString()) << "nothing lies within the tolerance";

    // Spectral captures are converted with the colour framework before matching.
    setDeltaE({{QStringLiteral("MatchPerformanceTolerance"), QStringLiteral("100")}});
    QStringList spectrum{QStringLiteral("400"), QStringLiteral("10")};
    for (int i = 0; i < 31; ++i)
        spectrum << QStringLiteral("0.2");
    QByteArray output;
    ASSERT_EQ(devsim.run(QStringLiteral("capture"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--spectrum"), spectrum.join(QLatin1Char(','))},
                         &output),
              0);
    const HBColorPtr grey = KDMeasurement::initWithDictionary(VLPropertyList::fromData(output).toMap())
                                ->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
    ASSERT_TRUE(grey);
    EXPECT_FALSE(grey->attributeForKey(KDMeasurementColorIdKey).toString().isEmpty());
    EXPECT_EQ(grey->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).size(), 1);
    EXPECT_EQ(devsim.run(QStringLiteral("capture"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--spectrum"), QStringLiteral("403,7,0.5,0.5")}),
              1);
    EXPECT_EQ(devsim.run(QStringLiteral("capture"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--lab"), QStringLiteral("1,2"),
                                                     QStringLiteral("--audio"), QStringLiteral("/etc/hostname")}),
              2);
}

TEST_F(ServedDevice, LargeUploadStreamsFromTheMappedFile)
{

    constexpr qint64 kSize = 100 * 1024 * 1024;
    const QString path = devsim.filePath(QStringLiteral("large.bin"));
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
        QStringLiteral("Upload"),
        {{QStringLiteral("FileType"), QStringLiteral("Firmware")}, {QStringLiteral("FileID"), QStringLiteral("fw-big")},
         {QStringLiteral("VersionString"), QStringLiteral("9.9")}, {QStringLiteral("ByteLength"), QString::number(kSize)}},
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
    const QString stored = QDir(devsim.stateFolder())
                               .filePath(QStringLiteral("devices/VL000001/files/") + files[0].value(QStringLiteral("DeviceFileID")).toString());
    QFile copy(stored);
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.size(), kSize);
    copy.seek(kSize - 1);
    EXPECT_EQ(copy.read(1), QByteArray(1, char('a' + (kSize / (1024 * 1024) - 1) % 26)));
}

TEST_F(ServedDevice, KillingTheEmulatorAnswersOnceAndRemovesOnce)
{
    devsim.fault(kSerial, {QStringLiteral("--command"), QStringLiteral("GetFiles"), QStringLiteral("--delay"), QStringLiteral("20000")});

    int answers = 0;
    KDCommandResponsePtr answer;
    device->sendCommand(command(QStringLiteral("GetFiles")), [&](const KDCommandResponsePtr &response) {
        ++answers;
        answer = response;
    });
    QTest::qWait(200);
    devsim.kill();
    ASSERT_TRUE(waitUntil([&] { return answers > 0 && !observed->removed.isEmpty(); }));
    QTest::qWait(1500); // the stale socket is retried and given up: nothing more may arrive
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(answer->error().domain(), KDErrorDomain);
    EXPECT_EQ(answer->error().code(), KDErrorDeviceDisconnected);
    EXPECT_EQ(observed->removed.size(), 1);
    EXPECT_EQ(observed->removed.value(0), device);
    EXPECT_EQ(observed->arrived.size(), 1);
    EXPECT_FALSE(device->isConnected());

    // A removed device refuses at once, and still answers exactly once, later.
    const CommandResult late = sendAndWait(device, command(QStringLiteral("EndSync")));
    EXPECT_EQ(late.answers, 1);
    EXPECT_EQ(late.response->error().code(), KDErrorDeviceNotAvailable);
}

TEST(DevsimDevices, RebootGoesUnavailableThenAnswersWhenBack)
{
    DevsimProcess devsim;
    ASSERT_EQ(devsim.addDevice(kSerial, {QStringLiteral("--reboot-ms"), QStringLiteral("400")}), 0);
    devsim.start();
    ObservedDevices observed;
    const KDDevicePtr device = observed.waitForDevice(kSerial);
    ASSERT_TRUE(device);

    // A firmware installed before the reboot is the one reported after it.
    const QString firmware = devsim.filePath(QStringLiteral("fw.bin"));
    writeFile(firmware, "firmware image");
    expectSuccess(device, commandWithFile(QStringLiteral("Upload"),
                                          {{QStringLiteral("FileType"), QStringLiteral("Firmware")},
                                           {QStringLiteral("VersionString"), QStringLiteral("2.1")}},
                                          firmware));

    QList<std::pair<bool, bool>> statesWhenAnswered;
    const qsizetype updatesBefore = observed.updateStates.size();
    int answers = 0;
    KDCommandResponsePtr answer;
    QList<std::pair<bool, bool>> updatesWhenAnswered;
    device->sendCommand(command(QStringLiteral("Reboot")), [&](const KDCommandResponsePtr &response) {
        ++answers;
        answer = response;
        statesWhenAnswered.append({device->isAvailable(), device->isConnected()});
        updatesWhenAnswered = observed.updateStates.mid(updatesBefore);
    });
    ASSERT_TRUE(waitUntil([&] { return answers > 0; }));
    QTest::qWait(300);
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(answer->error().isNull()) << answer->error().description().toStdString();
    EXPECT_EQ(statesWhenAnswered.value(0), std::make_pair(true, true));
    // Unavailable (still connected), then available again, both as updates before the answer.
    ASSERT_GE(updatesWhenAnswered.size(), 2);
    EXPECT_EQ(updatesWhenAnswered.first(), std::make_pair(false, true));
    EXPECT_EQ(updatesWhenAnswered.last(), std::make_pair(true, true));
    EXPECT_TRUE(observed.removed.isEmpty());
    EXPECT_EQ(observed.arrived.size(), 1);
    EXPECT_EQ(device->attributeForKey(KDDeviceAttributeFirmware), QStringLiteral("2.1"));
    expectSuccess(device, command(QStringLiteral("GetFiles")));
}

TEST(DevsimDevices, ADeviceThatDoesNotComeBackIsRemoved)
{
    DevsimProcess devsim;
    ASSERT_EQ(devsim.addDevice(kSerial, {QStringLiteral("--reboot-ms"), QStringLiteral("2500")}), 0);
    devsim.start();
    ObservedDevices observed;
    const KDDevicePtr device = observed.waitForDevice(kSerial);
    ASSERT_TRUE(device);
    device->setRebootTimeLimit(500);

    const CommandResult rebooted = sendAndWait(device, command(QStringLiteral("Reboot")));
    ASSERT_EQ(rebooted.answers, 1);
    EXPECT_EQ(rebooted.response->error().code(), KDErrorRebootTimedOut);
    ASSERT_TRUE(waitUntil([&] { return observed.removed.size() == 1; }));

    // When it does come back it is a new arrival: a new device object, equal by serial number.
    ASSERT_TRUE(waitUntil([&] { return observed.arrived.size() == 2; }, 10000));
    EXPECT_NE(observed.arrived[1], device);
    EXPECT_TRUE(observed.arrived[1]->isEqual(device));
    EXPECT_FALSE(device->isConnected());
}

TEST_F(ServedDevice, GarbageGivesAnErrorNotACrash)
{

    // Someone else's socket in the folder that does not speak frames: ignored.
    QLocalServer impostor;
    QObject::connect(&impostor, &QLocalServer::newConnection, [&] {
        QLocalSocket *socket = impostor.nextPendingConnection();
        socket->write(QByteArray("HTTP/1.1 200 OK\r\n\r\n") + QByteArray(100, '\xff'));
    });
    ASSERT_TRUE(impostor.listen(QDir(devsim.deviceFolder()).filePath(QStringLiteral("impostor.sock"))));

    // A client sending garbage to the emulator loses its connection; the emulator goes on.
    QLocalSocket raw;
    raw.connectToServer(QDir(devsim.deviceFolder()).filePath(QStringLiteral("VL000001.sock")));
    ASSERT_TRUE(raw.waitForConnected(5000));
    raw.write(QByteArray(64, 'z'));
    ASSERT_TRUE(waitUntil([&] { return raw.state() == QLocalSocket::UnconnectedState; }));
    expectSuccess(device, command(QStringLiteral("GetFiles")));

    // The device answering with garbage: the command gets an error once, the device is removed.
    devsim.fault(kSerial, {QStringLiteral("--command"), QStringLiteral("EndSync"), QStringLiteral("--garbage")});
    int otherAnswers = 0;
    device->sendCommand(command(QStringLiteral("GetMeasurements")), [&](const KDCommandResponsePtr &) { ++otherAnswers; });
    const CommandResult garbled = sendAndWait(device, command(QStringLiteral("EndSync")));
    ASSERT_EQ(garbled.answers, 1);
    EXPECT_EQ(garbled.response->error().domain(), KDErrorDomain);
    EXPECT_EQ(garbled.response->error().code(), KDErrorBadFrame);
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1; }));
    QTest::qWait(500);
    EXPECT_EQ(otherAnswers, 1);
    EXPECT_EQ(observed->arrived.size(), 1) << "neither the impostor nor the garbling device is taken on again";
    EXPECT_EQ(observed->removed.size(), 1);
}

TEST(DevsimDevices, TwoDevicesAreToldApartBySerialNumber)
{
    DevsimProcess devsim;
    devsim.start({QStringLiteral("--devices"), QStringLiteral("2")});
    ObservedDevices observed;
    const KDDevicePtr first = observed.waitForDevice(QStringLiteral("VL000001"));
    const KDDevicePtr second = observed.waitForDevice(QStringLiteral("VL000002"));
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(first->isEqual(second));
    EXPECT_TRUE(first->isEqual(first));
    EXPECT_NE(first->attributeForKey(KDDeviceAttributeChipId), second->attributeForKey(KDDeviceAttributeChipId));

    const QString firmware = devsim.filePath(QStringLiteral("fw.bin"));
    writeFile(firmware, "firmware");
    expectSuccess(second, commandWithFile(QStringLiteral("Upload"), {{QStringLiteral("FileType"), QStringLiteral("Firmware")}}, firmware));
    EXPECT_TRUE(deviceFiles(first).isEmpty());
    EXPECT_EQ(deviceFiles(second).size(), 1);

    // A device added while the emulator runs arrives too.
    ASSERT_EQ(devsim.addDevice(QStringLiteral("VL000003")), 0);
    EXPECT_TRUE(observed.waitForDevice(QStringLiteral("VL000003")));
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

// A device whose header dictionary holds a key with a NUL character made libplist abort the
// process; it is refused with the reason, and the other devices are not disturbed.
TEST(DevsimDevices, HeadersWithANulKeyedEntryAreRefusedAndOthersGoOn)
{
    DevsimProcess devsim;
    ASSERT_EQ(devsim.addDevice(kSerial), 0);
    ASSERT_EQ(devsim.addDevice(QStringLiteral("VL000002")), 0);
    devsim.fault(QStringLiteral("VL000002"), {QStringLiteral("--command"), QStringLiteral("Hello"), QStringLiteral("--nul-key")});
    devsim.start();
    ObservedDevices observed;
    const KDDevicePtr device = observed.waitForDevice(kSerial);
    ASSERT_TRUE(device);
    QTest::qWait(500);
    EXPECT_EQ(observed.arrived.size(), 1) << "the device greeting with a NUL-keyed header is not taken on";

    // The same in an answer: the command fails with the reason once, the device goes, nothing aborts.
    devsim.fault(kSerial, {QStringLiteral("--command"), QStringLiteral("GetFiles"), QStringLiteral("--nul-key")});
    const CommandResult answered = sendAndWait(device, command(QStringLiteral("GetFiles")));
    ASSERT_EQ(answered.answers, 1);
    EXPECT_EQ(answered.response->error().code(), KDErrorBadFrame);
    EXPECT_TRUE(answered.response->error().localizedDescription().contains(QStringLiteral("NUL")))
        << qPrintable(answered.response->error().localizedDescription());
    ASSERT_TRUE(waitUntil([&] { return observed.removed.size() == 1; }));
}

// Reals beyond the 64-bit integer range in the inventory are read without undefined conversions.
TEST_F(ServedDevice, NumbersBeyondEveryIntegerInAnInventoryAreRead)
{
    const QString firmware = devsim.filePath(QStringLiteral("fw.bin"));
    writeFile(firmware, "firmware");
    expectSuccess(device, commandWithFile(QStringLiteral("Upload"), {{QStringLiteral("FileType"), QStringLiteral("Firmware")}}, firmware));

    devsim.fault(kSerial, {QStringLiteral("--command"), QStringLiteral("GetFiles"), QStringLiteral("--huge-numbers")});
    const QList<QVariantMap> files = deviceFiles(device);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files.first().value(QStringLiteral("ByteLength")).toDouble(), 1e113);
    EXPECT_EQ(files.first().value(QStringLiteral("Huge")).toDouble(), -1e113);
    EXPECT_EQ(files.first().value(QStringLiteral("FileType")).toString(), QStringLiteral("Firmware"));
}

TEST_F(ServedDevice, UnplugAndPlugAgain)
{
    ASSERT_EQ(devsim.run(QStringLiteral("unplug"), {QStringLiteral("--serial"), kSerial}), 0);
    ASSERT_TRUE(waitUntil([&] { return observed->removed.size() == 1; }));
    EXPECT_FALSE(QFile::exists(QDir(devsim.deviceFolder()).filePath(QStringLiteral("VL000001.sock"))));
    ASSERT_EQ(devsim.run(QStringLiteral("plug"), {QStringLiteral("--serial"), kSerial}), 0);
    ASSERT_TRUE(waitUntil([&] { return observed->arrived.size() == 2; }));
    EXPECT_EQ(observed->removed.size(), 1);
}

TEST(DevsimDevices, StateOutlivesTheEmulator)
{
    DevsimProcess devsim;
    devsim.start();
    {
        ObservedDevices observed;
        const KDDevicePtr device = observed.waitForDevice(kSerial);
        ASSERT_TRUE(device);
        const QString firmware = devsim.filePath(QStringLiteral("fw.bin"));
        writeFile(firmware, "firmware");
        expectSuccess(device, commandWithFile(QStringLiteral("Upload"), {{QStringLiteral("FileType"), QStringLiteral("Firmware")},
                                                                         {QStringLiteral("FileID"), QStringLiteral("fw-7")}},
                                              firmware));
        devsim.stop();
        ASSERT_TRUE(waitUntil([&] { return observed.removed.size() == 1; }));
    }
    EXPECT_FALSE(QFile::exists(QDir(devsim.deviceFolder()).filePath(QStringLiteral("VL000001.sock"))));
    devsim.start();
    ObservedDevices again;
    const KDDevicePtr device = again.waitForDevice(kSerial);
    ASSERT_TRUE(device);
    const QList<QVariantMap> files = deviceFiles(device);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files[0].value(QStringLiteral("FileID")), QStringLiteral("fw-7"));
}

TEST(DevctlTool, ListsDevicesAndSendsCommands)
{
    DevsimProcess devsim;
    devsim.start({QStringLiteral("--devices"), QStringLiteral("2")});
    const QString devctl = tinteraBuiltProgram(QStringLiteral("tools/devsim/tintera-devctl"));
    auto run = [&](const QStringList &arguments, QByteArray *output) {
        QProcess process;
        process.start(devctl, QStringList{QStringLiteral("--device-dir"), devsim.deviceFolder()} + arguments);
        EXPECT_TRUE(process.waitForFinished(30000));
        *output = process.readAllStandardOutput();
        return process.exitCode();
    };
    QByteArray output;
    ASSERT_EQ(run({QStringLiteral("list")}, &output), 0);
    const QList<QByteArray> lines = output.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2) << output.constData();
    EXPECT_TRUE(lines[0].startsWith("VL000001\tVelmora\tavailable\t"));
    EXPECT_TRUE(lines[1].contains("FreeDiskSpace="));

    const QString image = devsim.filePath(QStringLiteral("sync.bmp"));
    writeFile(image, sampleBitmap());
    EXPECT_EQ(run({QStringLiteral("send"), QStringLiteral("VL000002"), QStringLiteral("SetSyncImage"), QStringLiteral("--data"), image}, &output), 0);
    EXPECT_EQ(output.trimmed(), "ok");
    EXPECT_EQ(run({QStringLiteral("send"), QStringLiteral("VL000002"), QStringLiteral("GetFiles")}, &output), 0);
    EXPECT_TRUE(output.contains("<array/>")) << output.constData();
    EXPECT_EQ(run({QStringLiteral("send"), QStringLiteral("VL000002"), QStringLiteral("SetClock"), QStringLiteral("Year=2026")}, &output), 1);
    EXPECT_TRUE(output.startsWith("error: Error Domain=KDDeviceErrorDomain Code=101")) << output.constData();
    EXPECT_EQ(run({QStringLiteral("--wait"), QStringLiteral("500"), QStringLiteral("send"), QStringLiteral("VL999999"), QStringLiteral("GetFiles")},
                  &output),
              3);
}
