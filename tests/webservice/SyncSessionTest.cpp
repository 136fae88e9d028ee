#include "CloudSimProcess.h"
#include "TestSupport.h"
#include "VLApplicationInfo.h"
#include "VLNetworkError.h"
#include "VLSyncReply.h"
#include "VLSyncSession.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

namespace {

// The session's delegate as the sync manager is: every callback, the optional ones included.
// Each callback is recorded as one line, so the order of events is visible in one list.
class RecordingSessionDelegate : public QObject,
                                 public VLSyncSessionDelegate,
                                 public VLSyncSessionDelegateDidBeginRequest,
                                 public VLSyncSessionDelegateDidReceiveAllFiles,
                                 public VLSyncSessionDelegateAllFilesRequestsDidFail
{
public:
    void syncSessionDidOpenSession(VLSyncSession *) override { record("open"); }
    void syncSessionDidFailToOpenWithError(VLSyncSession *, const VLError &error) override
    {
        errors.append(error);
        record("openFailed");
    }
    void syncSessionDidCloseSession(VLSyncSession *session) override
    {
        keyAtClose = session->key();
        record("close");
    }
    void syncSessionDidFinishRequest(VLSyncSession *, VLSyncSessionRequestType type) override
    {
        record(QStringLiteral("finish%1").arg(type));
    }
    void networkConnectionError() override { record("network"); }
    void syncSessionDidBeginRequest(VLSyncSession *, VLSyncSessionRequestType type) override
    {
        record(QStringLiteral("begin%1").arg(type));
    }
    void syncSessionDidReceiveAllFiles(VLSyncSession *, const VLSyncFileList &received) override
    {
        files = received;
        record("files");
    }
    void syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *, const VLError &error) override
    {
        errors.append(error);
        record("filesFailed");
    }

    void record(const QString &event)
    {
        events << event;
        if (onEvent)
            onEvent(event);
    }
    // Events other than begin notices.
    QStringList outcomes() const { return events.filter(QRegularExpression("^(?!begin)")); }

    QStringList events;
    QList<VLError> errors;
    VLSyncFileList files;
    QString keyAtClose = "unset";
    std::function<void(const QString &)> onEvent;
};

// Only the required callbacks: files requests end in syncSessionDidFinishRequest.
class MinimalSessionDelegate : public QObject, public VLSyncSessionDelegate
{
public:
    void syncSessionDidOpenSession(VLSyncSession *) override { events << "open"; }
    void syncSessionDidFailToOpenWithError(VLSyncSession *, const VLError &) override { events << "openFailed"; }
    void syncSessionDidCloseSession(VLSyncSession *) override { events << "close"; }
    void syncSessionDidFinishRequest(VLSyncSession *, VLSyncSessionRequestType type) override
    {
        events << QStringLiteral("finish%1").arg(type);
    }
    void networkConnectionError() override { events << "network"; }
    QStringList events;
};

class SyncSessionTest : public ::testing::Test
{
protected:
    void TearDown() override { vlSetSyncProductionURLOverride(QString()); }

    // The emulator for a two-file catalog, at a base URL with a path, and the session's URL on it.
    void serve(const QStringList &arguments = {})
    {
        cloud = std::make_unique<CloudSimFixture>(
            QList<TestCatalogFile>{{"deck.cxf", QByteArray(1000, 'd'), "Fandeck", "F-1", "1.2"},
                                   {"firmware.bin", QByteArray(10, 'f'), "Firmware", "FW-1", "2.10"}},
            QStringList{"--prefix", "/VLSync/Service"} + arguments);
        ASSERT_TRUE(cloud->server->isRunning());
        vlSetSyncProductionURLOverride(cloud->server->baseURL());
    }
    bool waitFor(const std::function<bool()> &condition, int milliseconds = 10000)
    {
        return QTest::qWaitFor(condition, milliseconds);
    }

    std::unique_ptr<CloudSimFixture> cloud;
    RecordingSessionDelegate delegate;
};

} // namespace

TEST_F(SyncSessionTest, OpensListsFilesAndClosesInOrder)
{
    serve();
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    EXPECT_FALSE(session.isSessionOpen());
    EXPECT_EQ(session.webServiceURLString(), cloud->server->baseURL());

    // As the sync manager does: each request once the previous one has answered.
    delegate.onEvent = [&](const QString &event) {
        if (event == "open")
            session.requestAllFiles();
        else if (event == "files")
            session.closeSession();
    };
    ASSERT_TRUE(session.openSession());
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("close"); }));
    EXPECT_EQ(delegate.events, (QStringList{"begin1", "open", "begin3", "files", "begin2", "close"}));
    EXPECT_TRUE(session.key().isNull());
    EXPECT_TRUE(delegate.keyAtClose.isNull());
    EXPECT_FALSE(session.isSessionOpen());
    EXPECT_TRUE(session.lastError().isNull());

    ASSERT_EQ(delegate.files.size(), 2);
    EXPECT_EQ(delegate.files[1]->version(), 210.0); // "2.10"

    // What the service was sent, key by key.
    const QJsonArray requests = cloud->server->requests();
    ASSERT_EQ(requests.size(), 3);
    const QJsonObject open = requests[0]["parameters"].toObject();
    EXPECT_EQ(open, (QJsonObject{{"deviceID", "SN-1"}, {"securityKey", "CHIP-1"}, {"securityType", "1"},
                                 {"language", "en"}}));
    const QString sessionId = requests[1]["parameters"]["SessionId"].toString();
    EXPECT_FALSE(sessionId.isEmpty());
    EXPECT_EQ(requests[1]["parameters"]["FileType"].toString(), "Any");
    EXPECT_EQ(requests[2]["parameters"].toObject(), (QJsonObject{{"SessionId", sessionId}}));
}

// Texts inside CDATA sections are texts: the session id and the file records come through.
TEST_F(SyncSessionTest, RepliesWrittenAsCDATAReadTheSame)
{
    serve({"--fault", "OpenDeviceSession:body=cdata", "--fault", "GetAvailableFiles:body=cdata"});
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    delegate.onEvent = [&](const QString &event) {
        if (event == "open")
            session.requestAllFiles();
    };
    ASSERT_TRUE(session.openSession());
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("files") || delegate.events.contains("openFailed"); }));
    EXPECT_EQ(delegate.outcomes(), (QStringList{"open", "files"}));
    EXPECT_TRUE(session.key().startsWith("S")) << qPrintable(session.key());
    ASSERT_EQ(delegate.files.size(), 2);
    EXPECT_EQ(delegate.files[0]->fileID(), "F-1");
    EXPECT_EQ(delegate.files[1]->version(), 210.0);
}

TEST_F(SyncSessionTest, QueuedRequestsRunOneAtATimeWithTheQueryOfTheirQueueingTime)
{
    serve();
    VLSyncSession session("SN 1+2&3", QString()); // no security key: only deviceID is sent
    session.setDelegate(&delegate);
    session.openSession();
    session.requestAllFiles(); // no key yet: sent without parameters
    session.closeSession();
    EXPECT_EQ(session.requestQueue().size(), 2);
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("close"); }));
    EXPECT_EQ(delegate.events, (QStringList{"begin1", "openFailed", "begin3", "filesFailed", "begin2", "close"}));
    EXPECT_EQ(cloud->server->endpointsRequested(),
              (QStringList{"OpenDeviceSession", "GetAvailableFiles", "CloseDeviceSession"}));
    const QJsonArray requests = cloud->server->requests();
    EXPECT_EQ(requests[0]["parameters"].toObject(), (QJsonObject{{"deviceID", "SN 1+2&3"}}));
    EXPECT_TRUE(requests[1]["parameters"].toObject().isEmpty());
    // The service's refusals, with its status codes and messages.
    ASSERT_EQ(delegate.errors.size(), 2);
    EXPECT_EQ(delegate.errors[0].code(), 2);
    EXPECT_EQ(delegate.errors[0].domain(), VLSyncRequestErrorDomain);
    EXPECT_EQ(delegate.errors[1].code(), 4);
    EXPECT_EQ(session.lastError().code(), 4); // a failed close keeps its error and still closes
}

TEST_F(SyncSessionTest, OpenReplyWithoutSessionIdFailsToOpen)
{
    serve({"--fault", "OpenDeviceSession:statuscode=0,message=OK"});
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    session.openSession();
    ASSERT_TRUE(waitFor([&] { return !delegate.events.filter("open").isEmpty(); }));
    EXPECT_EQ(delegate.outcomes(), QStringList{"openFailed"});
    EXPECT_EQ(delegate.errors.value(0),
              VLError(cloud->server->baseURL(), -1, "Cannot open session. Unknown error."));
    EXPECT_FALSE(session.isSessionOpen());
}

TEST_F(SyncSessionTest, EmptyAndRefusedFileListsAndDelegatesWithoutTheOptionalCallbacks)
{
    serve();
    cloud->server->setFault("GetAvailableFiles", {{"statuscode", "0"}, {"message", "No files"}});
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    delegate.onEvent = [&](const QString &event) {
        if (event == "open")
            session.requestAllFiles();
    };
    session.openSession();
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("files"); }));
    EXPECT_TRUE(delegate.files.isEmpty());
    // A refused one is an error and leaves the session open. (How the service's refusals read is
    // SyncReply's test; that each ends the sync with its message, the fault matrix's.)
    cloud->server->setFault("GetAvailableFiles", {{"statuscode", "3"}, {"message", "Device is not registered"}});
    session.requestAllFiles();
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("filesFailed"); }));
    EXPECT_EQ(session.lastError(), VLError(VLSyncRequestErrorDomain, 3, "Device is not registered"));
    EXPECT_TRUE(session.isSessionOpen());

    // Without the files callback the success is reported as a finished request; failures of
    // files requests reach such a delegate not at all.
    MinimalSessionDelegate minimal;
    session.setDelegate(&minimal);
    cloud->server->control("clear");
    session.requestAllFiles();
    ASSERT_TRUE(waitFor([&] { return !minimal.events.isEmpty(); }));
    EXPECT_EQ(minimal.events, QStringList{"finish3"});
    cloud->server->setFault("GetAvailableFiles", {{"http", "503"}});
    session.requestAllFiles();
    session.closeSession();
    ASSERT_TRUE(waitFor([&] { return minimal.events.size() == 2; }));
    EXPECT_EQ(minimal.events, (QStringList{"finish3", "close"}));
    EXPECT_EQ(cloud->server->endpointsRequested().count("GetAvailableFiles"), 4);
}

// (A refused connection is an ordinary failure after which the queue goes on: the command line's
// test of an unreachable service.)
TEST_F(SyncSessionTest, NoNetworkDropsTheWholeQueue)
{
    vlSetSyncProductionURLOverride("http://tintera-sync.invalid/VLSyncService");
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    session.openSession();
    session.requestAllFiles();
    session.closeSession();
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("network"); }, 30000));
    QTest::qWait(200);
    EXPECT_EQ(delegate.events, (QStringList{"begin1", "network"}));
    EXPECT_EQ(session.lastError().domain(), VLURLErrorDomain);
    EXPECT_EQ(session.lastError().code(), VLURLErrorNotConnectedToInternet);
    EXPECT_TRUE(session.requestQueue().isEmpty());
    EXPECT_TRUE(session.currentRequest().isNull());
}

TEST_F(SyncSessionTest, CancelReportsTheOpenFailureNowAndWhenTheTransferStops)
{
    serve({"--fault", "OpenDeviceSession:delay=1500"});
    VLSyncSession session("SN-1", "CHIP-1");
    session.setDelegate(&delegate);
    session.openSession();
    session.requestAllFiles();
    ASSERT_TRUE(waitFor([&] { return cloud->server->endpointsRequested().contains("OpenDeviceSession"); }));

    session.cancel();
    EXPECT_EQ(delegate.outcomes(), QStringList{"openFailed"});
    EXPECT_EQ(delegate.errors.value(0), VLError(VLSyncRequestErrorDomain, 0, "Bad response from Cloud. Data is not XML"));
    EXPECT_TRUE(session.requestQueue().isEmpty());
    EXPECT_TRUE(session.currentRequest().isNull());

    ASSERT_TRUE(waitFor([&] { return delegate.outcomes().size() == 2; }, 3000));
    EXPECT_EQ(delegate.outcomes(), (QStringList{"openFailed", "openFailed"}));
    EXPECT_EQ(delegate.errors.value(1).domain(), VLURLErrorDomain);
    EXPECT_EQ(delegate.errors.value(1).code(), VLURLErrorCancelled);
    QTest::qWait(200);
    EXPECT_EQ(delegate.outcomes().size(), 2); // the files request was never sent
    EXPECT_EQ(cloud->server->endpointsRequested(), QStringList{"OpenDeviceSession"});
}

TEST_F(SyncSessionTest, ADelegateMayDropTheSessionInsideACallback)
{
    serve();
    auto *session = new VLSyncSession("SN-1", "CHIP-1");
    session->setDelegate(&delegate);
    delegate.onEvent = [&](const QString &event) {
        if (!event.startsWith("begin"))
            delete std::exchange(session, nullptr);
    };
    session->openSession();
    session->requestAllFiles();
    ASSERT_TRUE(waitFor([&] { return delegate.outcomes().size() == 1; }));
    QTest::qWait(300);
    EXPECT_EQ(delegate.outcomes().size(), 1);
}

TEST_F(SyncSessionTest, BlockingRequestRunsOnAWorkerAndKeepsOnlyTheError)
{
    serve({"--fault", "CloseDeviceSession:http=500"});
    VLSyncSession session("SN-1", "CHIP-1");
    const QString base = cloud->server->baseURL();
    VLError onMainThread;
    EXPECT_TRUE(session.dictionaryFromWebServiceRequestWithPathQueries(base + "/OpenDeviceSession", {}, &onMainThread)
                    .isEmpty());
    EXPECT_FALSE(onMainThread.isNull());
    EXPECT_TRUE(cloud->server->endpointsRequested().isEmpty()); // refused before sending

    QVariantMap opened{{"unset", true}};
    VLError openError;
    VLError closeError;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        opened = session.dictionaryFromWebServiceRequestWithPathQueries(
            base + "/OpenDeviceSession", {{"deviceID", "SN-1"}, {"securityKey", "CHIP-1"}}, &openError);
        session.dictionaryFromWebServiceRequestWithPathQueries(base + "/CloseDeviceSession", {}, &closeError);
    }));
    worker->start();
    ASSERT_TRUE(waitFor([&] { return worker->isFinished(); }));
    EXPECT_TRUE(opened.isEmpty()); // the body is never kept on this path
    EXPECT_TRUE(openError.isNull());
    EXPECT_EQ(closeError, VLError(base, 500, "NSHTTPURLResponse, status code: 500"));
    EXPECT_EQ(cloud->server->endpointsRequested(), (QStringList{"OpenDeviceSession", "CloseDeviceSession"}));
}

TEST(ApplicationInfo, ServiceURLComesFromInfoPlistUnlessOverridden)
{
    EXPECT_EQ(vlApplicationInfoValue("CFBundleName"), "TINTERA Sync");
    const QString shipped = vlApplicationInfoValue(VLSyncProductionURLKey).toString();
    ASSERT_TRUE(shipped.startsWith("https://"));

    const ScopedEnvironment unset("TINTERA_SERVICE_URL");
    EXPECT_EQ(vlSyncProductionURL(), shipped);
    qputenv("TINTERA_SERVICE_URL", "http://127.0.0.1:9/svc/");
    EXPECT_EQ(vlSyncProductionURL(), "http://127.0.0.1:9/svc");
    vlSetSyncProductionURLOverride("http://example.test/x");
    EXPECT_EQ(vlSyncProductionURL(), "http://example.test/x");
    vlSetSyncProductionURLOverride(QString());
    EXPECT_EQ(vlSyncProductionURL(), "http://127.0.0.1:9/svc");
}
