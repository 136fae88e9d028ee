#include "Fabric.h"
#include "TSLogger.h"
#include "TestSupport.h"

#include <QDir>

#include <csignal>

#include <gtest/gtest.h>

TEST(Logger, OneSharedInstanceWhateverIsAsked)
{
    TSLogger *logger = TSLogger::defaultLogger();
    EXPECT_EQ(TSLogger::consoleLogger(), logger);
    EXPECT_EQ(TSLogger::loggerWithFacility(QStringLiteral("anything")), logger);
    EXPECT_TRUE(logger->facility().isNull());
}

TEST(Logger, MacroPrefixesCallerAndKeepsPerCentSignsOfArguments)
{
    const int line = __LINE__ + 1;
    VL_LOG("Received '%@', will start sync", QStringLiteral("x-tintera-sync://sync?a=100%25&b=%d"));
    const QStringList lines = Crashlytics::sharedInstance()->recentLogLines();
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_EQ(lines.last(),
              QStringLiteral("Logger_MacroPrefixesCallerAndKeepsPerCentSignsOfArguments_Test::TestBody: L%1: "
                             "Received 'x-tintera-sync://sync?a=100%25&b=%d', will start sync")
                  .arg(line));
    // A message that itself contains conversions is not formatted a second time.
    TSLogger::defaultLogger()->logMessage(QStringLiteral("50% done %s %@"));
    EXPECT_EQ(Crashlytics::sharedInstance()->recentLogLines().last(), "50% done %s %@");
}

TEST(Logger, BufferKeepsTheNewestThousandLines)
{
    TSLogger *logger = TSLogger::defaultLogger();
    logger->setLogTextMutableArr({});
    EXPECT_EQ(logger->logText(), QString());

    for (int i = 1; i <= 1005; ++i)
        logger->logAddText(QStringLiteral("line %1").arg(i));
    const QStringList &lines = logger->logTextMutableArr();
    ASSERT_EQ(lines.size(), 1000);
    EXPECT_TRUE(lines.first().endsWith(QStringLiteral(" line 6")));
    EXPECT_TRUE(lines.last().endsWith(QStringLiteral(" line 1005")));

    logger->setLogTextMutableArr({});
    logger->logAddText(QStringLiteral("a"));
    logger->logAddText(QStringLiteral("b"));
    const QStringList two = logger->logTextMutableArr();
    ASSERT_EQ(two.size(), 2);
    // Each line is "<short date> <long time> <text>"; logText joins them, each after a line feed.
    EXPECT_TRUE(two.at(0).endsWith(QStringLiteral(" a")));
    EXPECT_GT(two.at(0).size(), 8);
    EXPECT_EQ(logger->logText(), QLatin1Char('\n') + two.at(0) + QLatin1Char('\n') + two.at(1));
    logger->setLogTextMutableArr({});
}

TEST(Logger, RingHoldsTheNewestLinesAndTruncatesLongOnes)
{
    for (int i = 0; i < Crashlytics::kRingLines + 10; ++i)
        CLSLog("%@", QStringLiteral("ring %1").arg(i));
    CLSLog("%@", QString(2000, QLatin1Char('x')));
    const QStringList lines = Crashlytics::sharedInstance()->recentLogLines();
    ASSERT_EQ(lines.size(), Crashlytics::kRingLines);
    EXPECT_EQ(lines.first(), QStringLiteral("ring 11"));
    EXPECT_EQ(lines.last().size(), Crashlytics::kLineBytes - 1);
}

TEST(LoggerDeathTest, FatalSignalWritesTheRecentLinesToACrashReport)
{
    ScopedDataFolder folder;
    EXPECT_DEATH(
        {
            Fabric::with({Crashlytics::sharedInstance()});
            VL_LOG("last words %d%%", 42);
            std::raise(SIGABRT);
        },
        "");
    const QStringList reports = QDir(folder.filePath("CrashReports")).entryList({"crash-*.log"}, QDir::Files);
    ASSERT_EQ(reports.size(), 1);
    const QByteArray text = readFile(folder.filePath("CrashReports/" + reports.first()));
    EXPECT_TRUE(text.startsWith("Fatal signal 6\n")) << text.left(80).constData();
    EXPECT_TRUE(text.contains("last words 42%\n")) << text.constData();
}
