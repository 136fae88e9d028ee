#include "CloudSimProcess.h"
#include "QtPrinters.h"
#include "VLNetworkError.h"
#include "VLReplyText.h"
#include "VLSyncReply.h"
#include "VLSyncRequest.h"

#include <QJsonObject>
#include <QTest>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

const QByteArray kOkReply = "<?xml version=\"1.0\"?><R><StatusCode>0</StatusCode><Value>v</Value></R>";

// Counts every callback, so a test can prove each request reports exactly once.
class RecordingRequestDelegate : public QObject, public VLSyncRequestDelegate
{
public:
    void syncRequestDidBegin(VLSyncRequest *) override { ++begun; }
    void syncRequestDidFinishWithResult(VLSyncRequest *, const QVariantMap &dictionary) override
    {
        ++finished;
        result = dictionary;
    }
    void syncRequestDidFailWithError(VLSyncRequest *, const VLError &failure) override
    {
        errors.append(failure);
        if (onFailure)
            onFailure();
    }
    int ended() const { return finished + int(errors.size()); }

    int begun = 0;
    int finished = 0;
    QVariantMap result;
    QList<VLError> errors;
    std::function<void()> onFailure;
};

} // namespace

TEST(SyncReply, StatusAndBodyDecideTheOutcome)
{
    // HTTP 500 with an XML body.
    VLSyncReplyOutcome outcome = vlEvaluateSyncReply(kOkReply, 500);
    EXPECT_EQ(outcome.error, VLError(VLSyncRequestErrorDomain, 500, "NSHTTPURLResponse, status code: 500"));

    // HTML with 200, empty and absent bodies.
    outcome = vlEvaluateSyncReply("<html><body>Oops</body></html>", 200);
    EXPECT_EQ(outcome.error, VLError(VLSyncRequestErrorDomain, 200, "Bad response from Cloud. Data is not XML"));
    EXPECT_FALSE(outcome.result.has_value());
    EXPECT_EQ(vlEvaluateSyncReply("", 200).error.code(), 200);
    EXPECT_EQ(vlEvaluateSyncReply(QByteArray(), 0).error.code(), 0);

    // Success with and without "StatusCode"; the service's own status and message otherwise.
    outcome = vlEvaluateSyncReply(kOkReply, 200);
    EXPECT_TRUE(outcome.error.isNull());
    EXPECT_EQ(outcome.result->value("Value"), "v");
    EXPECT_TRUE(vlEvaluateSyncReply("<?xml version=\"1.0\"?><R><A>1</A></R>", 200).error.isNull());
    outcome = vlEvaluateSyncReply("<?xml version=\"1.0\"?><R><StatusCode>3</StatusCode>"
                                  "<StatusMessage>Device not registered</StatusMessage></R>", 200);
    EXPECT_EQ(outcome.error, VLError(VLSyncRequestErrorDomain, 3, "Device not registered"));
    EXPECT_EQ(outcome.statusCode, 3);
    EXPECT_EQ(outcome.statusMessage, "Device not registered");
    EXPECT_EQ(vlEvaluateSyncReply("<?xml version=\"1.0\"?><R><StatusCode> 7x</StatusCode></R>", 200).error.code(), 7);
    EXPECT_TRUE(vlEvaluateSyncReply("<?xml version=\"1.0\"?><R><StatusCode>abc</StatusCode></R>", 200).error.isNull());

    // Only a body that begins with "<?xml" is XML: not after a byte-order mark or a blank.
    EXPECT_FALSE(vlEvaluateSyncReply("\xef\xbb\xbf" + kOkReply, 200).isXML);
    EXPECT_FALSE(vlEvaluateSyncReply(" " + kOkReply, 200).isXML);
    // Windows-1252 and Mac OS Roman bodies that are not UTF-8 are still recognised.
    EXPECT_TRUE(vlEvaluateSyncReply("<?xml version=\"1.0\" encoding=\"windows-1252\"?><R><A>caf\xe9 \x80</A></R>", 200)
                    .error.isNull());
    EXPECT_TRUE(vlEvaluateSyncReply("<?xml version=\"1.0\"?><R><A>\x81\x8d</A></R>", 200).isXML);
}

TEST(SyncReply, BodyTextFallsBackThroughTheThreeEncodings)
{
    EXPECT_FALSE(vlReplyBodyText(QByteArray()).has_value());
    EXPECT_EQ(vlReplyBodyText("caf\xc3\xa9"), QString::fromUtf8("caf\xc3\xa9"));
    EXPECT_EQ(vlReplyBodyText("caf\xe9 \x80"), QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac"));  // Windows-1252
    EXPECT_EQ(vlReplyBodyText("\x81\x8d\xdb"), QString::fromUtf8("\xc3\x85\xc3\xa7\xe2\x82\xac")); // Mac OS Roman
    EXPECT_EQ(vlReplyBodyText(QByteArray("ab\0cd", 5)), "ab");
    EXPECT_EQ(vlReplyASCIIText(QByteArray("ok\0rest", 7)), "ok");
    EXPECT_FALSE(vlReplyASCIIText("caf\xe9").has_value());
}

TEST(SyncRequest, URLCarriesEveryQueryValueExactly)
{
    const QUrl url = VLSyncRequest::URLWithQueries("http://h:1/base/OpenDeviceSession",
                                                   {{"deviceID", "A+B &=/?#%"}, {"language", QString::fromUtf8("fr-\xc3\xa9")}});
    EXPECT_EQ(url.path(), "/base/OpenDeviceSession");
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("deviceID", QUrl::FullyDecoded), "A+B &=/?#%");
    EXPECT_EQ(query.queryItemValue("language", QUrl::FullyDecoded), QString::fromUtf8("fr-\xc3\xa9"));
    EXPECT_FALSE(url.toString(QUrl::FullyEncoded).contains('+'));
    EXPECT_FALSE(VLSyncRequest::URLWithQueries("http://h/x", {}).hasQuery());
}

TEST(SyncRequest, RunsOnceAndReportsOnceOnTheMainThread)
{
    CloudSimFixture cloud({});
    ASSERT_TRUE(cloud.server->isRunning());
    RecordingRequestDelegate delegate;

    auto request = VLSyncRequest::create();
    EXPECT_FALSE(request->start()); // no path
    request->setDelegate(&delegate);
    request->setPath(cloud.server->baseURL() + "/OpenDeviceSession");
    request->setQueries({{"deviceID", "SN 1+2"}, {"securityKey", "K"}});
    ASSERT_TRUE(request->start());
    EXPECT_EQ(delegate.begun, 1);
    EXPECT_FALSE(request->start()); // already has its transfer
    ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.ended() > 0; }, 10000));
    QTest::qWait(100);
    EXPECT_EQ(delegate.finished, 1);
    EXPECT_TRUE(delegate.errors.isEmpty());
    EXPECT_FALSE(delegate.result.value("SessionId").toString().isEmpty());
    EXPECT_EQ(request->statusCode(), 0);
    EXPECT_EQ(request->statusMessage(), "OK");
    EXPECT_TRUE(request->requestStringResult().startsWith("<?xml"));
    EXPECT_FALSE(request->start()); // the finished transfer is kept

    const QJsonArray requests = cloud.server->requests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0]["parameters"]["deviceID"].toString(), "SN 1+2");
}

// Cancelling reports at once and again when the transfer stops: SyncSessionTest, through the session.
TEST(SyncRequest, ReleasedByItsOwnerMidTransferReportsNothing)
{
    CloudSimFixture cloud({}, {"--fault", "OpenDeviceSession:delay=3000"});
    ASSERT_TRUE(cloud.server->isRunning());
    RecordingRequestDelegate delegate;
    auto request = VLSyncRequest::create();
    request->setDelegate(&delegate);
    request->setPath(cloud.server->baseURL() + "/OpenDeviceSession");
    ASSERT_TRUE(request->start());
    request->setDelegate(nullptr);
    request.reset();
    QTest::qWait(200);
    EXPECT_EQ(delegate.ended(), 0);
}

TEST(SyncRequest, ABodyCutShortIsATransportFailure)
{
    CloudSimFixture cloud({}, {"--fault", "OpenDeviceSession:cut=20"});
    ASSERT_TRUE(cloud.server->isRunning());
    RecordingRequestDelegate delegate;
    auto request = VLSyncRequest::create();
    request->setDelegate(&delegate);
    request->setPath(cloud.server->baseURL() + "/OpenDeviceSession");
    request->setQueries({{"deviceID", "SN"}, {"securityKey", "K"}});
    // A delegate that drops the request from inside its callback must not bring it down.
    delegate.onFailure = [&] { request.reset(); };
    ASSERT_TRUE(request->start());
    ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.ended() == 1; }, 10000));
    EXPECT_EQ(delegate.errors.value(0).code(), VLURLErrorNetworkConnectionLost);
    EXPECT_TRUE(request.isNull());
}
