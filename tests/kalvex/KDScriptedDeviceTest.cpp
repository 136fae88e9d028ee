// The framework's device logic over the in-process loopback link. (A command the device never
// answers is the fault matrix's: each command's "no-answer" row.)

#include "DevsimFixture.h"
#include "KDScriptedDevice.h"
#include "KalvexDevice.h"
#include "TestSupport.h"

#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>

namespace {

struct Answers
{
    QList<KDCommandResponsePtr> responses;
    QList<Qt::HANDLE> threads;
    KDCommandResponseHandler handler()
    {
        return [this](const KDCommandResponsePtr &response) {
            responses.append(response);
            threads.append(QThread::currentThreadId());
        };
    }
    bool waitFor(int count, int milliseconds = 5000)
    {
        return QTest::qWaitFor([&] { return responses.size() >= count; }, milliseconds);
    }
};

struct Events
{
    explicit Events(const QString &name = QStringLiteral("Velmora")) : observer(name)
    {
        observer.setDeviceArrivalBlock([this](const KDDevicePtr &device) { log.append(QStringLiteral("arrived ") + device->serialNumber()); });
        observer.setDeviceUpdateBlock([this](const KDDevicePtr &device) {
            log.append(QStringLiteral("updated ") + device->serialNumber() + (device->isAvailable() ? QStringLiteral(" up") : QStringLiteral(" down")));
        });
        observer.setDeviceRemovalBlock([this](const KDDevicePtr &device) { log.append(QStringLiteral("removed ") + device->serialNumber()); });
    }
    KDDeviceObserver observer;
    QStringList log;
};

// Observers here watch a device folder of their own, which stays empty.
class KDScriptedDevices : public ::testing::Test
{
    QTemporaryDir m_folder;
    ScopedEnvironment m_devices{"KALVEX_DEVICE_DIR", m_folder.path().toUtf8()};
};

} // namespace

TEST_F(KDScriptedDevices, EveryCommandIsAnsweredOnceAndNeverInsideTheCall)
{
    KDScriptedDevice scripted(QStringLiteral("S-1"), {{QStringLiteral("FreeDiskSpace"), QStringLiteral("100")}});
    KDScriptedDevice::Reply files;
    files.data = QByteArray("inventory");
    scripted.setReply(QStringLiteral("GetFiles"), files);
    KDScriptedDevice::Reply refused;
    refused.error = VLError(QStringLiteral("KDDeviceErrorDomain"), -1024, QStringLiteral("stop"));
    scripted.setReply(QStringLiteral("BeginSync"), refused);
    KDScriptedDevice::Reply measurements;
    measurements.measurements = {KDScriptedDevice::measurementRecord({{KDMeasurementColorIdKey, QStringLiteral("12")},
                                                                      {KDMeasurementDateSince1970Key, 1.5}},
                                                                     {50, 1, 2}),
                                 QVariantMap{{KDMeasurementColorSpaceColorInfo, QStringLiteral("not a colour")}}};
    scripted.setReply(QStringLiteral("GetMeasurements"), measurements);
    const KDDevicePtr device = scripted.device();

    Answers answers;
    for (const char *name : {"GetFiles", "BeginSync", "GetMeasurements", "EndSync"})
        device->sendCommand(KDCommand::initWithName(QString::fromLatin1(name)), answers.handler());
    EXPECT_TRUE(answers.responses.isEmpty());
    ASSERT_TRUE(answers.waitFor(4));
    QTest::qWait(50);
    ASSERT_EQ(answers.responses.size(), 4);
    EXPECT_EQ(answers.responses[0]->data(), QByteArray("inventory"));
    EXPECT_EQ(answers.responses[1]->error().code(), -1024);
    EXPECT_TRUE(answers.responses[1]->data().isNull());
    ASSERT_EQ(answers.responses[2]->measurements().size(), 2);
    const HBColorPtr color = answers.responses[2]->measurements()[0]->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
    ASSERT_TRUE(color);
    EXPECT_EQ(color->attributeForKey(KDMeasurementColorIdKey), QStringLiteral("12"));
    EXPECT_EQ(color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).value(0)->L(), 50);
    EXPECT_FALSE(answers.responses[2]->measurements()[1]->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo));
    EXPECT_TRUE(answers.responses[3]->error().isNull());
    EXPECT_EQ(scripted.receivedCommandNames(), (QStringList{"GetFiles", "BeginSync", "GetMeasurements", "EndSync"}));
    for (Qt::HANDLE thread : answers.threads)
        EXPECT_EQ(thread, QThread::currentThreadId());

    // Invalid commands are answered too, with an error.
    device->sendCommand(KDCommandPtr(), answers.handler());
    device->sendCommand(KDCommand::initWithName(QString()), answers.handler());
    ASSERT_TRUE(answers.waitFor(6));
    EXPECT_EQ(answers.responses[4]->error().code(), KDErrorBadCommand);
    EXPECT_EQ(answers.responses[5]->error().code(), KDErrorBadCommand);
}

TEST_F(KDScriptedDevices, RebootIsAnsweredWhenTheDeviceIsBack)
{
    KDScriptedDevice scripted(QStringLiteral("S-3"));
    scripted.setRebootDelay(150);
    Events events;
    scripted.plugIn();
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 1; }));

    Answers answers;
    QStringList logWhenAnswered;
    scripted.device()->sendCommand(KDCommand::initWithName(QStringLiteral("Reboot")), [&](const KDCommandResponsePtr &response) {
        answers.responses.append(response);
        logWhenAnswered = events.log;
    });
    KDScriptedDevice::Reply slow;
    slow.noAnswer = true;
    scripted.setReply(QStringLiteral("GetFiles"), slow);
    scripted.device()->sendCommand(KDCommand::initWithName(QStringLiteral("GetFiles")), answers.handler());
    ASSERT_TRUE(answers.waitFor(2));
    QTest::qWait(50);
    ASSERT_EQ(answers.responses.size(), 2);
    // The other command did not survive the restart; the reboot's answer came after the return.
    EXPECT_EQ(answers.responses[0]->command()->name(), QStringLiteral("GetFiles"));
    EXPECT_EQ(answers.responses[0]->error().code(), KDErrorDeviceDisconnected);
    EXPECT_TRUE(answers.responses[1]->error().isNull());
    EXPECT_EQ(logWhenAnswered, (QStringList{"arrived S-3", "updated S-3 down", "updated S-3 up"}));
    EXPECT_TRUE(scripted.device()->isAvailable());

    // Commands sent while the device is away are refused at once.
    scripted.setComesBackAfterReboot(false);
    scripted.device()->setRebootTimeLimit(200);
    scripted.device()->sendCommand(KDCommand::initWithName(QStringLiteral("Reboot")), answers.handler());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !scripted.device()->isAvailable(); }));
    EXPECT_TRUE(scripted.device()->isConnected());
    scripted.device()->sendCommand(KDCommand::initWithName(QStringLiteral("EndSync")), answers.handler());
    ASSERT_TRUE(answers.waitFor(4));
    EXPECT_EQ(answers.responses[2]->error().code(), KDErrorDeviceNotAvailable);
    EXPECT_EQ(answers.responses[3]->error().code(), KDErrorRebootTimedOut);
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 5; }));
    EXPECT_EQ(events.log.mid(3), (QStringList{"updated S-3 down", "removed S-3"}));
    EXPECT_FALSE(scripted.device()->isConnected());
}

TEST_F(KDScriptedDevices, ObserversSeeArrivalsUpdatesAndRemovalsOnce)
{
    KDScriptedDevice first(QStringLiteral("S-4"));
    first.plugIn(); // before any observer exists
    KDScriptedDevice stranger(QStringLiteral("X-1"), {}, QStringLiteral("Other"));
    stranger.plugIn();
    Events events;
    auto late = std::make_unique<Events>();
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 1; }));
    QTest::qWait(20);
    EXPECT_EQ(events.log, QStringList{"arrived S-4"});
    EXPECT_EQ(late->log, QStringList{"arrived S-4"});
    Events everything{QString()};
    ASSERT_TRUE(QTest::qWaitFor([&] { return everything.log.size() == 2; }));

    // Changed attributes arrive with the next answer and are announced as an update.
    first.setAttributes({{QStringLiteral("FreeDiskSpace"), QStringLiteral("42")}});
    Answers answers;
    first.device()->sendCommand(KDCommand::initWithName(QStringLiteral("GetFiles")), answers.handler());
    ASSERT_TRUE(answers.waitFor(1));
    EXPECT_EQ(first.device()->attributeForKey(QStringLiteral("FreeDiskSpace")), QStringLiteral("42"));
    EXPECT_EQ(events.log.value(1), QStringLiteral("updated S-4 up"));

    late.reset(); // a destroyed observer hears nothing more
    KDScriptedDevice::Reply gone;
    gone.disconnect = true;
    first.setReply(QStringLiteral("Upload"), gone);
    first.device()->sendCommand(KDCommand::initWithName(QStringLiteral("Upload")), answers.handler());
    ASSERT_TRUE(answers.waitFor(2));
    EXPECT_EQ(answers.responses[1]->error().code(), KDErrorDeviceDisconnected);
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 3; }));
    EXPECT_EQ(events.log.last(), QStringLiteral("removed S-4"));

    // Plugged in again: a new device object, equal to the old one.
    const KDDevicePtr old = first.device();
    first.plugIn();
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 4; }));
    EXPECT_NE(first.device(), old);
    EXPECT_TRUE(first.device()->isEqual(old));
    first.unplug();
    ASSERT_TRUE(QTest::qWaitFor([&] { return events.log.size() == 5; }));
    EXPECT_EQ(events.log, (QStringList{"arrived S-4", "updated S-4 up", "removed S-4", "arrived S-4", "removed S-4"}));
}

TEST_F(KDScriptedDevices, AnswersReachTheMainThreadFromAnyCaller)
{
    KDScriptedDevice scripted(QStringLiteral("S-5"));
    Answers answers;
    const KDDevicePtr device = scripted.device();
    QThread *worker = QThread::create([&] { device->sendCommand(KDCommand::initWithName(QStringLiteral("EndSync")), answers.handler()); });
    worker->start();
    ASSERT_TRUE(answers.waitFor(1));
    worker->wait();
    delete worker;
    EXPECT_EQ(answers.threads.value(0), QThread::currentThreadId());

    // A device object that goes away still answers what it was asked.
    KDScriptedDevice::Reply silent;
    silent.noAnswer = true;
    scripted.setReply(QStringLiteral("GetFiles"), silent);
    {
        auto doomed = std::make_unique<KDScriptedDevice>(QStringLiteral("S-6"));
        doomed->setReply(QStringLiteral("GetFiles"), silent);
        doomed->device()->sendCommand(KDCommand::initWithName(QStringLiteral("GetFiles")), answers.handler());
    }
    ASSERT_TRUE(answers.waitFor(2));
    EXPECT_EQ(answers.responses[1]->error().code(), KDErrorDeviceDisconnected);
}
