#include "TestSupport.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct ToolRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

ToolRun runReplyTool(const QByteArray &body, const QStringList &options = {})
{
    QTemporaryDir folder;
    writeFile(folder.filePath("reply.xml"), body);
    QProcess process;
    process.start(tinteraBuiltProgram("tools/cloudsim/tintera-reply"), options + QStringList{folder.filePath("reply.xml")});
    process.waitForFinished(10000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

TEST(ReplyTool, PrintsTheDecodedTreeOrTheErrorTheClientWouldRaise)
{
    ToolRun run = runReplyTool("<?xml version=\"1.0\"?><R><StatusCode>0</StatusCode><SessionId>S-1</SessionId></R>");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.contains("<key>SessionId</key>"));
    EXPECT_TRUE(run.out.contains("<string>S-1</string>"));

    run = runReplyTool("<html><body>Service Unavailable</body></html>");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.out.isEmpty());
    EXPECT_TRUE(run.err.contains("Bad response from Cloud. Data is not XML"));

    run = runReplyTool("<?xml version=\"1.0\"?><R><StatusCode>3</StatusCode><StatusMessage>Unknown device</StatusMessage></R>",
                       {"--decode-only"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("Code=3 \"Unknown device\""));
    EXPECT_TRUE(run.out.contains("<key>StatusMessage</key>"));

    run = runReplyTool("<?xml version=\"1.0\"?><R/>", {"--status", "500"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("NSHTTPURLResponse, status code: 500"));
}
