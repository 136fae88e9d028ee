#include "VLDeviceSettings.h"

#include <gtest/gtest.h>

TEST(DeviceSettings, ValuesAreTheLastNodeOfEachPathAndAbsentOnesStayNull)
{
    const VLDeviceSettings settings = VLDeviceSettings::fromXml(
        "<Settings><MatchPerformanceTolerance>2.0</MatchPerformanceTolerance>"
        "<Group><MatchPerformanceTolerance> 3.5 </MatchPerformanceTolerance></Group>"
        "<PriorityFandeck><Deck><ID>VLM-FD-INT</ID></Deck><Offset></Offset></PriorityFandeck>"
        "<DEWeightFactor><L>1</L><C>1.5</C></DEWeightFactor></Settings>");
    ASSERT_TRUE(settings.parsed);
    EXPECT_EQ(settings.matchPerformanceTolerance, QStringLiteral("3.5"));
    EXPECT_EQ(settings.priorityFandeckID, QStringLiteral("VLM-FD-INT"));
    EXPECT_TRUE(settings.priorityFandeckOffset.isEmpty());
    EXPECT_FALSE(settings.priorityFandeckOffset.isNull()); // present but empty
    EXPECT_EQ(settings.weightC, QStringLiteral("1.5"));
    EXPECT_TRUE(settings.weightH.isNull());

    const QVariantMap arguments = settings.deltaECommand()->arguments();
    EXPECT_EQ(arguments.value(QStringLiteral("MatchPerformanceTolerance")).toString(), QStringLiteral("3.5"));
    EXPECT_FALSE(arguments.contains(QStringLiteral("DEWeightFactorH")));
}

TEST(DeviceSettings, FilesThatAreNotSettingsAreRefusedQuietly)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(VLDeviceSettings::fromXml("").parsed);
    EXPECT_FALSE(VLDeviceSettings::fromXml("<Settings><unclosed></Settings>").parsed);
    EXPECT_FALSE(VLDeviceSettings::fromXml(QByteArray("\x89PNG\r\n\x1a\n\0\0", 10)).parsed);
    // Bytes its declared encoding cannot carry: libxml2 reports those on a channel of its own.
    EXPECT_FALSE(VLDeviceSettings::fromXml("<?xml version=\"1.0\" encoding=\"Shift_JIS\"?>\n"
                                           "<Settings><MatchPerformanceTolerance>\x81\xff\x82"
                                           "</MatchPerformanceTolerance></Settings>")
                     .parsed);
    // No entity is fetched or expanded from outside.
    const VLDeviceSettings external = VLDeviceSettings::fromXml(
        "<!DOCTYPE Settings [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
        "<Settings><MatchPerformanceTolerance>&x;</MatchPerformanceTolerance></Settings>");
    EXPECT_FALSE(external.matchPerformanceTolerance.contains(QStringLiteral("root")));
    // Entities expand within a bound of a few times the file, not to all they stand for.
    const QByteArray nested = "<!DOCTYPE Settings [<!ENTITY m0 \"" + QByteArray("3 ").repeated(500) +
                              "\"><!ENTITY m1 \"" + QByteArray("&m0;").repeated(10) +
                              "\">]><Settings><MatchPerformanceTolerance>" + QByteArray("&m1;").repeated(1000) +
                              "</MatchPerformanceTolerance></Settings>";
    EXPECT_LT(VLDeviceSettings::fromXml(nested).matchPerformanceTolerance.size(), 2 * 1024 * 1024);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string());
}
