// The device emulator's link and reboot time, set at start and changed while it serves, and its
// log of the commands it served.
#include "DevsimFixture.h"
#include "DevsimTraffic.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

const QString kSerial = QStringLiteral("VL000001");

KDCommandPtr command(const QString &name)
{
    return KDCommand::initWithNameArguments(name, {});
}

QString trafficLog(const DevsimProcess &devsim)
{
    return devsim.stateFolder() + QStringLiteral("/devices/") + kSerial + QStringLiteral("/traffic.log");
}

TEST(DevsimLink, ALinkChangedWhileServingIsTakenAndEveryCommandIsLogged)
{
    DevsimProcess devsim;
    // A device that would take ten minutes to reboot, unless its link says otherwise.
    ASSERT_EQ(devsim.addDevice(kSerial, {QStringLiteral("--reboot-ms"), QStringLiteral("600000")}), 0);
    devsim.start({QStringLiteral("--link"), QStringLiteral("usb-high-speed")});
    ObservedDevices observed;
    const KDDevicePtr device = observed.waitForDevice(kSerial);
    ASSERT_TRUE(device);

    const CommandResult files = sendAndWait(device, command(QStringLiteral("GetFiles")));
    ASSERT_EQ(files.answers, 1);
    EXPECT_TRUE(files.response->error().isNull());

    EXPECT_NE(devsim.run(QStringLiteral("link"), {QStringLiteral("--profile"), QStringLiteral("token-ring")}), 0);
    ASSERT_EQ(devsim.run(QStringLiteral("link"), {QStringLiteral("--serial"), kSerial, QStringLiteral("--profile"),
                                                  QStringLiteral("usb-full-speed"), QStringLiteral("--reboot-ms"),
                                                  QStringLiteral("50")}),
              0);
    const CommandResult reboot = sendAndWait(device, command(QStringLiteral("Reboot")), 20000);
    ASSERT_EQ(reboot.answers, 1);
    EXPECT_TRUE(reboot.response->error().isNull()) << reboot.response->error().description().toStdString();

    const QList<DevsimTrafficEntry> entries = DevsimTraffic::read(trafficLog(devsim));
    QStringList names;
    for (const DevsimTrafficEntry &entry : entries)
        names << entry.command;
    EXPECT_EQ(names, (QStringList{QStringLiteral("hello"), QStringLiteral("GetFiles"), QStringLiteral("Reboot"),
                                  QStringLiteral("hello")}));
    ASSERT_EQ(entries.size(), 4);
    EXPECT_GT(entries[0].bytesOut, 100);    // the introduction
    EXPECT_GT(entries[1].bytesIn, 20);      // the command's frame
    EXPECT_GT(entries[1].bytesOut, 100);    // the inventory
    EXPECT_EQ(entries[2].micros, 50 * 1000); // the link's reboot time, not the device's own
}

} // namespace
