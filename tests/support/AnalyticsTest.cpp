#include "Fabric.h"
#include "TMAnalytics.h"
#include "TestSupport.h"
#include "VLUserDefaults.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {
QList<QJsonObject> recordedEvents()
{
    QFile file(Answers::sharedInstance()->eventsFilePath());
    QList<QJsonObject> events;
    if (!file.open(QIODevice::ReadOnly))
        return events;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (!line.isEmpty())
            events.append(QJsonDocument::fromJson(line).object());
    }
    return events;
}
} // namespace

TEST(Analytics, StartsOnceRegistersFallbacksAndRecordsEventsLocally)
{
    ScopedDataFolder folder;
    TMAnalytics *analytics = TMAnalytics::analytics();
    EXPECT_EQ(TMAnalytics::analytics(), analytics);
    EXPECT_TRUE(Answers::sharedInstance()->isStarted());
    EXPECT_TRUE(VLUserDefaults::standardUserDefaults()->boolForKey("NSApplicationCrashOnExceptions"));
    EXPECT_FALSE(VLUserDefaults::standardUserDefaults()->boolForKey("NSFullScreenMenuItemEverywhere"));

    analytics->logEventParameters(QString(), {{"device", "X"}}); // no name: nothing is sent
    analytics->logEventParameters("sync_end_err", {{"device", "-unknown-"}, {"error", "-1024"}});
    analytics->logEventParameters("sync_begin", {});
    analytics->logSearchEvent("red 100%");

    const QList<QJsonObject> events = recordedEvents();
    ASSERT_EQ(events.size(), 3);
    EXPECT_EQ(events[0]["name"].toString(), "sync_end_err");
    EXPECT_EQ(events[0]["attributes"].toObject()["error"].toString(), "-1024");
    EXPECT_EQ(events[1]["name"].toString(), "sync_begin");
    EXPECT_TRUE(events[1]["attributes"].toObject().isEmpty());
    EXPECT_EQ(events[2]["type"].toString(), "search");
    EXPECT_EQ(events[2]["query"].toString(), "red 100%");
}
