#include "TestSupport.h"
#include "VLDataFolder.h"
#include "VLNotificationCenter.h"
#include "VLPathComponent.h"
#include "VLUserDefaults.h"

#include <gtest/gtest.h>

TEST(PathComponent, OnlyOnePlainEntryPasses)
{
    for (const char *good : {"payload.cxf", "FD-1001", "Ünïcode name.wav", "..hidden", "a..b"})
        EXPECT_TRUE(vlIsPlainPathComponent(QString::fromUtf8(good))) << good;
    for (const char *bad : {"", ".", "..", "a/b", "/etc", "..\\x", "a\nb", "../../etc/passwd"})
        EXPECT_FALSE(vlIsPlainPathComponent(QString::fromUtf8(bad))) << bad;
    EXPECT_FALSE(vlIsPlainPathComponent(QString(256, QLatin1Char('a'))));
    EXPECT_FALSE(vlIsPlainPathComponent(QStringLiteral("nul") + QChar(0) + QStringLiteral("x")));
}

TEST(NotificationCenter, DeliversSynchronouslyByNameAndSender)
{
    QObject context, a, b;
    int fromAny = 0, fromA = 0;
    auto *center = VLNotificationCenter::defaultCenter();
    center->addObserver("Changed", nullptr, &context, [&](const VLNotification &) { ++fromAny; });
    const auto onlyA = center->addObserver("Changed", &a, &context, [&](const VLNotification &n) {
        EXPECT_EQ(n.object, &a);
        ++fromA;
    });
    center->postNotification("Changed", &a);
    center->postNotification("Changed", &b);
    center->postNotification("Other", &a);
    EXPECT_EQ(fromAny, 2);
    EXPECT_EQ(fromA, 1);
    center->removeObserver(onlyA);
    center->postNotification("Changed", &a);
    EXPECT_EQ(fromA, 1);
}

TEST(UserDefaults, LaunchArgumentsOutrankStoredValuesWhichOutrankFallbacks)
{
    VLUserDefaults *defaults = VLUserDefaults::standardUserDefaults();
    defaults->registerDefaults({{"VLShowClean", true}, {"Fallback", QStringLiteral("f")}});
    defaults->setBoolForKey(false, "VLShowClean");
    EXPECT_FALSE(defaults->boolForKey("VLShowClean"));
    EXPECT_EQ(defaults->objectForKey("Fallback").toString(), "f");

    defaults->setArguments({"VelmoraSync", "-VLShowClean", "YES", "--demo", "-Other", "text"});
    EXPECT_TRUE(defaults->boolForKey("VLShowClean"));
    EXPECT_EQ(defaults->objectForKey("Other").toString(), "text");
    defaults->setArguments({});
    defaults->removeObjectForKey("VLShowClean");
}

TEST(DataFolder, EnvironmentReplacesTheWholeFolder)
{
    {
        ScopedDataFolder folder;
        EXPECT_EQ(vlApplicationDataFolder(), folder.path());
    }
    qunsetenv("TINTERA_DATA_DIR");
    EXPECT_TRUE(vlApplicationDataFolder().endsWith(QStringLiteral("/Kalvex/TINTERA")));
}
