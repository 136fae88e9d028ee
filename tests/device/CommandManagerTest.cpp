#include "KDScriptedDevice.h"
#include "KDCommandArgumentForKey.h"
#include "KDDeviceCommandSendTinteraSync.h"
#include "VLDeviceCommandManager.h"

#include <QTemporaryFile>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// Records every callback; the optional ones only when built with them.
class RecordingDelegate : public VLDeviceCommandManagerDelegate
{
public:
    void commandManagerWillSendCommand(VLDeviceCommandManager *, const KDCommandPtr &command) override
    {
        events << "will:" + command->name();
    }
    QStringList events;
};

class FullDelegate : public RecordingDelegate, public VLDeviceCommandManagerOptionalDelegate
{
public:
    void commandManagerDidReceiveResponse(VLDeviceCommandManager *, const KDCommandResponsePtr &response) override
    {
        events << "response:" + response->command()->name() + (response->error().isNull() ? "" : ":error");
    }
    void commandManagerDidCompleteAllCommands(VLDeviceCommandManager *) override { events << "complete"; }
};

KDCommandPtr command(const char *name)
{
    return KDCommand::initWithName(QString::fromLatin1(name));
}

struct QueueFixture : ::testing::Test
{
    QueueFixture()
    {
        device.plugIn();
        queue = new VLDeviceCommandManager(device.device());
        queue->setDelegate(&delegate);
    }
    ~QueueFixture() override { delete queue; }
    bool waitForEvents(qsizetype count) { return QTest::qWaitFor([&] { return delegate.events.size() >= count; }, 5000); }

    KDScriptedDevice device{QStringLiteral("SN-QUEUE")};
    FullDelegate delegate;
    VLDeviceCommandManager *queue = nullptr;
};

} // namespace

TEST_F(QueueFixture, SendsOneAtATimeInOrderAndCompletesOnce)
{
    queue->pause();
    queue->addCommand(command("A"));
    queue->addCommand(command("B"));
    EXPECT_TRUE(device.receivedCommandNames().isEmpty()) << "a paused queue only stores";
    queue->start();
    EXPECT_EQ(queue->currentCommand()->name(), "A");
    queue->addCommand(command("C")); // appended while A is in flight
    ASSERT_TRUE(waitForEvents(7));
    QTest::qWait(50); // nothing more may follow
    EXPECT_EQ(delegate.events, QStringList({"will:A", "response:A", "will:B", "response:B", "will:C", "response:C",
                                             "complete"}));
    EXPECT_EQ(device.receivedCommandNames(), QStringList({"A", "B", "C"}));
    EXPECT_FALSE(queue->isRunning());
    EXPECT_TRUE(queue->commands().isEmpty());
}

TEST_F(QueueFixture, StartOnAnEmptyQueueWaitsSilentlyForTheFirstCommand)
{
    queue->start();
    QTest::qWait(50);
    EXPECT_TRUE(delegate.events.isEmpty());
    queue->addCommand(command("Late"));
    ASSERT_TRUE(waitForEvents(3));
    EXPECT_EQ(delegate.events, QStringList({"will:Late", "response:Late", "complete"}));
}

TEST_F(QueueFixture, ErrorAnswersArePassedOnAndTheQueueGoesOn)
{
    device.setReply("Bad", KDScriptedDevice::Reply{VLError("Device", -5, "nope")});
    queue->pause();
    queue->addCommand(command("Bad"));
    queue->addCommand(command("Good"));
    queue->start();
    ASSERT_TRUE(waitForEvents(5));
    EXPECT_EQ(delegate.events, QStringList({"will:Bad", "response:Bad:error", "will:Good", "response:Good", "complete"}));
}

TEST_F(QueueFixture, CancelEmptiesARunningQueueAndStillHearsTheLateAnswer)
{
    KDScriptedDevice::Reply slow;
    slow.delay = 100;
    device.setReply("Slow", slow);
    queue->cancel(); // not running: nothing at all
    EXPECT_TRUE(delegate.events.isEmpty());

    queue->pause();
    queue->addCommand(command("Slow"));
    queue->addCommand(command("Never"));
    queue->cancel(); // paused queue: list kept, no callback
    EXPECT_EQ(queue->commands().size(), 2);
    EXPECT_TRUE(delegate.events.isEmpty());

    queue->start();
    queue->cancel();
    EXPECT_TRUE(queue->commands().isEmpty());
    EXPECT_EQ(delegate.events, QStringList({"will:Slow", "complete"}));
    // The answer to the cancelled command still arrives and reports completion once more.
    ASSERT_TRUE(waitForEvents(4));
    EXPECT_EQ(delegate.events.mid(2), QStringList({"response:Slow", "complete"}));
    EXPECT_EQ(device.receivedCommandNames(), QStringList({"Slow"}));
}

TEST_F(QueueFixture, PauseDuringACommandSendsItAgainAfterStart)
{
    KDScriptedDevice::Reply slow;
    slow.delay = 100;
    device.setReply("Twice", slow);
    queue->addCommand(command("Twice"));
    queue->start();
    queue->pause();
    EXPECT_FALSE(queue->currentCommand());
    ASSERT_TRUE(waitForEvents(2)); // the first answer arrives while paused: nothing is removed
    queue->start();
    ASSERT_TRUE(waitForEvents(5));
    EXPECT_EQ(device.receivedCommandNames(), QStringList({"Twice", "Twice"}));
    EXPECT_EQ(delegate.events.last(), "complete");
}

TEST_F(QueueFixture, ADelegateWithoutOptionalCallbacksStillHearsEveryWillSend)
{
    RecordingDelegate plain;
    queue->setDelegate(&plain);
    queue->pause();
    queue->addCommand(command("A"));
    queue->addCommand(command("B"));
    queue->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return device.receivedCommandNames().size() == 2 && !queue->isRunning(); }, 5000));
    EXPECT_EQ(plain.events, QStringList({"will:A", "will:B"}));
    EXPECT_TRUE(delegate.events.isEmpty());
    queue->setDelegate(&delegate); // the fixture's outlives the queue
}

namespace {
struct Target
{
    void answered(const KDDevicePtr &device, const KDCommandResponsePtr &response)
    {
        seenDevice = device;
        seenResponse = response;
        ++calls;
    }
    KDDevicePtr seenDevice;
    KDCommandResponsePtr seenResponse;
    int calls = 0;
};
} // namespace

TEST(CommandExtensions, ArgumentsPayloadAndOneShotSend)
{
    KDScriptedDevice device(QStringLiteral("SN-ONESHOT"));
    device.plugIn();
    const KDCommandPtr upload = command("Upload");
    KDCommandArgumentForKey::setArgumentForKey(upload, "FD-1", "FileID");
    EXPECT_EQ(KDCommandArgumentForKey::argumentForKey(upload, "FileID"), "FD-1");
    EXPECT_TRUE(KDCommandArgumentForKey::argumentForKey(upload, "Missing").isNull());

    QTemporaryFile payload;
    ASSERT_TRUE(payload.open());
    payload.write("payload bytes");
    payload.flush();
    KDCommandArgumentForKey::setDataFromFilename(upload, payload.fileName());

    Target target;
    KDDeviceCommandSendTinteraSync::sendCommandDelegateResponseSelector(device.device(), upload, &target,
                                                                        &Target::answered);
    ASSERT_TRUE(QTest::qWaitFor([&] { return target.calls > 0; }, 5000));
    EXPECT_EQ(target.calls, 1);
    EXPECT_EQ(target.seenDevice, device.device());
    EXPECT_EQ(target.seenResponse->command(), upload);
    ASSERT_EQ(device.receivedCommands().size(), 1);
    EXPECT_EQ(device.receivedCommands().first().data, "payload bytes");
    EXPECT_EQ(device.receivedCommands().first().arguments.value("FileID").toString(), "FD-1");
}
