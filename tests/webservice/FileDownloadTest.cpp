#include "CloudSimProcess.h"
#include "QtPrinters.h"
#include "TestSupport.h"
#include "VLFileDownload.h"
#include "VLFileDownloadManager.h"
#include "VLNetworkError.h"
#include "VLPropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char(generator.bounded(256));
    return bytes;
}

class RecordingDownloadDelegate : public QObject, public VLFileDownloadDelegate
{
public:
    void fileDownloadDidBegin(VLFileDownload *) override { events << "begin"; }
    void fileDownloadProgressDidUpdate(VLFileDownload *download) override
    {
        ++updates;
        lengths << std::make_pair(download->receivedLength(), download->contentLength());
        fractions << download->fractionCompleted();
    }
    void fileDownloadDidFinish(VLFileDownload *) override { events << "finish"; }
    void fileDownloadDidFailWithError(VLFileDownload *, const VLError &failure) override
    {
        events << "fail";
        error = failure;
    }
    bool ended() const { return events.contains("finish") || events.contains("fail"); }

    QStringList events;
    int updates = 0;
    QList<std::pair<qint64, qint64>> lengths;
    QList<double> fractions;
    VLError error;
};

// Records the queue's events with the name of the file concerned.
class RecordingManagerDelegate : public QObject, public VLFileDownloadManagerDelegate
{
public:
    void downloadManagerDidBeginAllDownloads(VLFileDownloadManager *) override { events << "beginAll"; }
    void downloadManagerDidBeginDownload(VLFileDownloadManager *, VLFileDownload *download) override
    {
        events << "begin " + download->URL().fileName();
    }
    void downloadManagerDownloadDidUpdate(VLFileDownloadManager *, VLFileDownload *) override { ++updates; }
    void downloadManagerDidFinishDownload(VLFileDownloadManager *, VLFileDownload *download) override
    {
        events << "finish " + download->URL().fileName();
    }
    void downloadManagerDownloadDidFailWithError(VLFileDownloadManager *, VLFileDownload *download,
                                                 const VLError &) override
    {
        events << "fail " + download->URL().fileName();
    }
    void downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *) override { events << "completeAll"; }

    QStringList events;
    int updates = 0;
};

class FileDownloadTest : public ::testing::Test
{
protected:
    void serve(const QList<TestCatalogFile> &files, const QStringList &arguments = {})
    {
        for (const TestCatalogFile &file : files)
            payloads.insert(file.name, file.payload);
        cloud = std::make_unique<CloudSimFixture>(files, arguments);
        ASSERT_TRUE(cloud->server->isRunning());
        destination = downloads.filePath("Downloads");
    }
    VLFileDownloadPtr download(const QString &name)
    {
        return VLFileDownload::initWithURLDestinationFolder(QUrl(cloud->server->fileURL(name)), destination);
    }
    QString package(const QString &name) const
    {
        return QDir(destination).filePath(VLFileDownload::nameWithoutExtension(name) + ".vldownload");
    }
    bool waitFor(const std::function<bool()> &condition, int milliseconds = 20000)
    {
        return QTest::qWaitFor(condition, milliseconds);
    }
    // Starts the download with the delegate and waits until it has finished or failed.
    bool finish(const VLFileDownloadPtr &file, RecordingDownloadDelegate &delegate)
    {
        file->setDelegate(&delegate);
        file->start();
        return waitFor([&] { return delegate.ended(); });
    }

    std::unique_ptr<CloudSimFixture> cloud;
    QMap<QString, QByteArray> payloads;
    QTemporaryDir downloads;
    QString destination;
};

} // namespace

TEST_F(FileDownloadTest, StreamsTheFileIntoPlaceAndRemovesItsWorkFolder)
{
    serve({{"deck.cxf", randomBytes(3 * 1024 * 1024 + 7, 1)}});
    RecordingDownloadDelegate delegate;
    const VLFileDownloadPtr file = download("deck.cxf");
    file->setDelegate(&delegate);
    file->start();
    file->start(); // already transferring: nothing more happens
    ASSERT_TRUE(waitFor([&] { return delegate.ended(); }));
    EXPECT_EQ(delegate.events, (QStringList{"begin", "finish"}));
    EXPECT_GE(delegate.updates, 2);
    EXPECT_EQ(file->receivedLength(), payloads["deck.cxf"].size());
    EXPECT_EQ(file->contentLength(), payloads["deck.cxf"].size());
    EXPECT_EQ(delegate.lengths.first(), std::make_pair(qint64(0), qint64(payloads["deck.cxf"].size())));
    EXPECT_TRUE(file->lastError().isNull());
    EXPECT_EQ(readFile(QDir(destination).filePath("deck.cxf")), payloads["deck.cxf"]);
    EXPECT_FALSE(QFileInfo::exists(package("deck.cxf")));
    EXPECT_EQ(cloud->server->bytesServed("deck.cxf"), payloads["deck.cxf"].size());
}

TEST_F(FileDownloadTest, ACutTransferResumesFromThePackageWithOnlyTheMissingBytes)
{
    const QByteArray payload = randomBytes(2 * 1024 * 1024, 2);
    serve({{"deck.cxf", payload}}, {"--fault", QStringLiteral("files/deck.cxf:cut=%1,times=1").arg(payload.size() / 2)});
    RecordingDownloadDelegate first;
    {
        const VLFileDownloadPtr file = download("deck.cxf");
        ASSERT_TRUE(finish(file, first));
        EXPECT_EQ(first.events, (QStringList{"begin", "fail"}));
        EXPECT_EQ(first.error.code(), VLURLErrorNetworkConnectionLost);
        EXPECT_EQ(file->lastError(), first.error);
        EXPECT_EQ(file->receivedLength(), payload.size() / 2);
    }
    // What a later run finds on disk: the partial file and the resume files.
    const QDir work(package("deck.cxf"));
    EXPECT_EQ(readFile(work.filePath("deck.cxf")), payload.left(payload.size() / 2));
    EXPECT_FALSE(readFile(work.filePath("resumeData")).isEmpty());
    EXPECT_EQ(VLPropertyList::readDictionary(work.filePath("resume.plist")),
              (QVariantMap{{"suggestedFilename", "deck.cxf"}}));

    // Under load the client may ask for the cut file more than once before giving up; what counts
    // is that the resumed transfer fetches only the missing half.
    const qint64 servedBeforeResume = cloud->server->bytesServed("deck.cxf");
    RecordingDownloadDelegate second;
    const VLFileDownloadPtr resumed = VLFileDownload::initWithResumePackageFilename(work.path());
    EXPECT_TRUE(resumed->URL().isEmpty());
    EXPECT_EQ(resumed->suggestedFilename(), "deck.cxf");
    EXPECT_EQ(QDir(resumed->destinationFolder()), QDir(destination));
    ASSERT_TRUE(finish(resumed, second));
    EXPECT_EQ(second.events, (QStringList{"begin", "finish"}));
    EXPECT_EQ(second.lengths.first(), std::make_pair(qint64(payload.size() / 2), qint64(payload.size())));
    EXPECT_EQ(readFile(QDir(destination).filePath("deck.cxf")), payload);
    EXPECT_FALSE(work.exists());
    EXPECT_EQ(cloud->server->bytesServed("deck.cxf") - servedBeforeResume, payload.size() / 2);
    EXPECT_EQ(cloud->server->requests().last()["range"].toString(),
              QStringLiteral("bytes=%1-").arg(payload.size() / 2));
}

TEST_F(FileDownloadTest, ResumingAChangedOrCompleteFile)
{
    const QByteArray payload = randomBytes(100000, 3);
    serve({{"a.bin", payload}}, {"--fault", "files/a.bin:cut=60000,times=1"});
    RecordingDownloadDelegate cut;
    const VLFileDownloadPtr file = download("a.bin");
    ASSERT_TRUE(finish(file, cut));

    // The partial file already holds every byte (the server answers 416): nothing is fetched.
    QFile partial(QDir(package("a.bin")).filePath("a.bin"));
    ASSERT_TRUE(partial.open(QIODevice::Append));
    partial.write(payload.mid(60000));
    partial.close();
    RecordingDownloadDelegate complete;
    const VLFileDownloadPtr resumed = VLFileDownload::initWithResumePackageFilename(package("a.bin"));
    ASSERT_TRUE(finish(resumed, complete));
    EXPECT_EQ(complete.events, (QStringList{"begin", "finish"}));
    EXPECT_EQ(readFile(QDir(destination).filePath("a.bin")), payload);
    EXPECT_EQ(cloud->server->bytesServed("a.bin"), 60000);

    // The file changed on the server since: its validator no longer matches, so it comes whole.
    QFile::remove(QDir(destination).filePath("a.bin"));
    RecordingDownloadDelegate again;
    const VLFileDownloadPtr retry = download("a.bin");
    cloud->server->setFault("files/a.bin", {{"cut", "50000"}, {"times", "1"}});
    ASSERT_TRUE(finish(retry, again));
    const QByteArray changed = randomBytes(120000, 4);
    writeFile(QDir(cloud->catalogFolder).filePath("files/a.bin"), changed);
    RecordingDownloadDelegate whole;
    const VLFileDownloadPtr restarted = VLFileDownload::initWithResumePackageFilename(package("a.bin"));
    ASSERT_TRUE(finish(restarted, whole));
    EXPECT_EQ(whole.events, (QStringList{"begin", "finish"}));
    EXPECT_EQ(readFile(QDir(destination).filePath("a.bin")), changed);
}

// A server that gives no validator cannot say whether the bytes on disk still belong to the file
// at its URL: a cut transfer leaves nothing to resume. (That the next sync then installs the file
// the URL serves now, whole, is the fault matrix's FandeckFile_replacedWithoutValidator row.)
TEST_F(FileDownloadTest, WithoutAValidatorACutDownloadKeepsNothing)
{
    serve({{"a.bin", randomBytes(200000, 21)}},
          {"--fault", "files:validator=none", "--fault", "files/a.bin:validator=none,cut=100000,times=1"});
    RecordingDownloadDelegate cut;
    ASSERT_TRUE(finish(download("a.bin"), cut));
    EXPECT_EQ(cut.error.code(), VLURLErrorNetworkConnectionLost);
    EXPECT_FALSE(QFileInfo::exists(package("a.bin"))) << "a partial file nothing can vouch for was kept";
}

// Last-Modified is a validator too: a server that gives only that is resumed with it.
TEST_F(FileDownloadTest, ALastModifiedDateAloneIsEnoughToResume)
{
    const QByteArray payload = randomBytes(200000, 23);
    serve({{"a.bin", payload}},
          {"--fault", "files:validator=lastmodified", "--fault", "files/a.bin:validator=lastmodified,cut=120000,times=1"});
    RecordingDownloadDelegate cut;
    const VLFileDownloadPtr file = download("a.bin");
    ASSERT_TRUE(finish(file, cut));
    ASSERT_TRUE(QFileInfo::exists(package("a.bin")));
    const qint64 servedBefore = cloud->server->bytesServed("a.bin");

    RecordingDownloadDelegate resumed;
    const VLFileDownloadPtr again = download("a.bin");
    ASSERT_TRUE(finish(again, resumed));
    EXPECT_EQ(resumed.events.last(), "finish");
    EXPECT_EQ(readFile(QDir(destination).filePath("a.bin")), payload);
    EXPECT_EQ(cloud->server->bytesServed("a.bin") - servedBefore, payload.size() - 120000);
}

// Without a TLS library the failure says so instead of passing for a network that is down.
TEST_F(FileDownloadTest, AnHttpsURLWithoutTLSSupportSaysSo)
{
    ASSERT_TRUE(QSslSocket::setActiveBackend("cert-only"));
    ASSERT_FALSE(QSslSocket::supportsSsl());
    RecordingDownloadDelegate delegate;
    const VLFileDownloadPtr file =
        VLFileDownload::initWithURLDestinationFolder(QUrl("https://127.0.0.1:9/files/a.bin"), downloads.path());
    ASSERT_TRUE(finish(file, delegate));
    EXPECT_EQ(delegate.error.code(), VLURLErrorSecureConnectionFailed) << qPrintable(delegate.error.description());
    EXPECT_TRUE(delegate.error.localizedDescription().contains("no TLS support"));
}

TEST_F(FileDownloadTest, RefusesNamesThatAreNotOnePlainFileName)
{
    serve({{"deck.cxf", QByteArray(5000, 'x')}}, {"--fault", "files/deck.cxf:filename=../../escaped.cxf"});
    RecordingDownloadDelegate delegate;
    const VLFileDownloadPtr file = download("deck.cxf");
    ASSERT_TRUE(finish(file, delegate));
    EXPECT_EQ(delegate.events, (QStringList{"begin", "fail"}));
    EXPECT_EQ(delegate.error.domain(), VLFileDownloadErrorDomain);
    EXPECT_EQ(delegate.error.code(), VLFileDownloadErrorUnsafeFilename);
    // Nothing was written anywhere: not in the destination, not beside it.
    EXPECT_TRUE(QDir(destination).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    EXPECT_TRUE(QDir(downloads.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).filter("escaped").isEmpty());
    EXPECT_FALSE(QFileInfo::exists(QDir(destination).filePath("../../escaped.cxf")));

    // A name the server proposes that is plain is used as it is.
    cloud->server->setFault("files/deck.cxf", {{"filename", "Deck 2023.cxf"}});
    RecordingDownloadDelegate named;
    const VLFileDownloadPtr second = download("deck.cxf");
    ASSERT_TRUE(finish(second, named));
    EXPECT_EQ(named.events.last(), "finish");
    EXPECT_TRUE(QFileInfo::exists(QDir(destination).filePath("Deck 2023.cxf")));

    // A package whose resume list names a path is refused the same way.
    QDir(destination).mkpath("evil.vldownload");
    VLPropertyList::writeXml(QDir(destination).filePath("evil.vldownload/resume.plist"),
                             QVariantMap{{"suggestedFilename", "../../escaped"}});
    RecordingDownloadDelegate bad;
    const VLFileDownloadPtr evil = VLFileDownload::initWithResumePackageFilename(QDir(destination).filePath("evil.vldownload"));
    ASSERT_TRUE(finish(evil, bad));
    EXPECT_EQ(bad.error.code(), VLFileDownloadErrorBadResumePackage);
}

// A service must not be able to fill the disk: the body is bounded by the length it announced and
// by the file's known size, and a longer one is an error that leaves nothing behind.
TEST_F(FileDownloadTest, BodiesAreBoundedByTheAnnouncedAndTheKnownLength)
{
    const qint64 size = 300000;
    serve({{"a.bin", randomBytes(size, 11)}});
    const auto run = [&](const QString &fault, qint64 expected, RecordingDownloadDelegate *delegate) {
        cloud->server->control("fault?target=files/a.bin&times=1&" + fault);
        const VLFileDownloadPtr file = download("a.bin");
        file->setExpectedLength(expected);
        file->setDelegate(delegate);
        file->start();
        EXPECT_TRUE(waitFor([&] { return delegate->ended(); })) << qPrintable(fault);
        QTest::qWait(50);
        EXPECT_EQ(delegate->events.filter(QRegularExpression("finish|fail")).size(), 1) << qPrintable(fault);
        for (double fraction : delegate->fractions)
            EXPECT_TRUE(fraction >= 0.0 && fraction <= 1.0) << qPrintable(fault) << " " << fraction;
        return file;
    };
    const auto nothingLeft = [&] {
        return QDir(destination).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty();
    };

    // Announced beyond the file's size: refused before a byte is written.
    RecordingDownloadDelegate announced;
    run("extra=7", size, &announced);
    EXPECT_EQ(announced.error.code(), VLFileDownloadErrorTooLong);
    EXPECT_TRUE(nothingLeft());

    // Not announced, and longer than the file: stopped as soon as it is longer.
    RecordingDownloadDelegate streamed;
    run("extra=100000&nolength", size, &streamed);
    EXPECT_EQ(streamed.error.code(), VLFileDownloadErrorTooLong);
    EXPECT_TRUE(nothingLeft());

    // A negative or missing announcement gives no negative or endless fraction.
    for (const QString fault : {"length=-5", "nolength"}) {
        RecordingDownloadDelegate odd;
        const VLFileDownloadPtr file = run(fault, size, &odd);
        EXPECT_EQ(odd.events.last(), "finish") << qPrintable(fault) << qPrintable(odd.error.description());
        EXPECT_GE(file->contentLength(), 0);
        ASSERT_FALSE(odd.fractions.isEmpty());
        EXPECT_EQ(odd.fractions.last(), 1.0) << qPrintable(fault);
        EXPECT_EQ(readFile(QDir(destination).filePath("a.bin")), payloads["a.bin"]);
        QFile::remove(QDir(destination).filePath("a.bin"));
    }
    RecordingDownloadDelegate unknownSize;
    run("nolength", -1, &unknownSize);
    EXPECT_EQ(unknownSize.events.last(), "finish");
    EXPECT_EQ(unknownSize.fractions.last(), 0.0) << "neither length known: no fraction to show";
}

TEST_F(FileDownloadTest, ManagerRunsDownloadsInOrderAndGoesOnAfterAFailure)
{
    serve({{"a.bin", randomBytes(200000, 6)}, {"b.bin", randomBytes(300000, 7)}, {"c.bin", randomBytes(1000, 8)}},
          {"--fault", "files/b.bin:cut=1000"});
    VLFileDownloadManager manager;
    RecordingManagerDelegate delegate;
    manager.setDelegate(&delegate);
    manager.cancel(); // not running: nothing at all
    for (const QString name : {"a.bin", "b.bin", "c.bin"})
        manager.addDownload(download(name));
    EXPECT_FALSE(manager.isRunning());
    EXPECT_EQ(manager.downloads().size(), 3);
    EXPECT_TRUE(delegate.events.isEmpty());

    manager.start();
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("completeAll"); }));
    QTest::qWait(200);
    EXPECT_EQ(delegate.events, (QStringList{"beginAll", "begin a.bin", "finish a.bin", "begin b.bin", "fail b.bin",
                                            "begin c.bin", "finish c.bin", "completeAll"}));
    EXPECT_GT(delegate.updates, 3);
    EXPECT_FALSE(manager.isRunning());
    EXPECT_TRUE(manager.downloads().isEmpty());
    EXPECT_TRUE(manager.currentDownload().isNull());
    EXPECT_EQ(readFile(QDir(destination).filePath("a.bin")), payloads["a.bin"]);
    EXPECT_EQ(readFile(QDir(destination).filePath("c.bin")), payloads["c.bin"]);
    EXPECT_FALSE(QFileInfo::exists(QDir(destination).filePath("b.bin")));
    EXPECT_TRUE(QFileInfo::exists(QDir(package("b.bin")).filePath("resumeData")));

    // Added while running and idle: starts at once.
    manager.start();
    manager.addDownload(download("c.bin"));
    ASSERT_TRUE(waitFor([&] { return delegate.events.count("completeAll") == 2; }));
}

TEST_F(FileDownloadTest, ManagerStaysOnADownloadTheServerRefuses)
{
    serve({{"a.bin", randomBytes(1000, 9)}, {"c.bin", randomBytes(1000, 10)}});
    VLFileDownloadManager manager;
    RecordingManagerDelegate delegate;
    manager.setDelegate(&delegate);
    const VLFileDownloadPtr missing = download("missing.bin");
    manager.addDownload(download("a.bin"));
    manager.addDownload(missing);
    manager.addDownload(download("c.bin"));
    manager.start();
    ASSERT_TRUE(waitFor([&] { return !missing->lastError().isNull(); }));
    QTest::qWait(300);
    EXPECT_EQ(delegate.events, (QStringList{"beginAll", "begin a.bin", "finish a.bin", "begin missing.bin"}));
    EXPECT_TRUE(manager.isRunning());
    EXPECT_EQ(manager.currentDownload(), missing);
    EXPECT_EQ(missing->lastError(), VLError(VLFileDownloadErrorDomain, 404, "not found"));
    EXPECT_EQ(manager.downloads().size(), 2);

    // Pausing keeps it first; cancelling empties the queue and reports completion once.
    manager.pause();
    EXPECT_FALSE(manager.isRunning());
    EXPECT_EQ(manager.downloads().first(), missing);
    manager.cancel(); // stopped: nothing
    EXPECT_EQ(delegate.events.count("completeAll"), 0);
    manager.start();
    manager.cancel();
    EXPECT_EQ(delegate.events.count("completeAll"), 1);
    EXPECT_TRUE(manager.downloads().isEmpty());
    EXPECT_FALSE(manager.isRunning());
    QTest::qWait(300);
    EXPECT_EQ(delegate.events.count("completeAll"), 1);
    EXPECT_FALSE(QFileInfo::exists(QDir(destination).filePath("c.bin")));
}

TEST_F(FileDownloadTest, PausingADownloadSendsNothingMoreAndReleasingTheManagerStopsIt)
{
    serve({{"slow.bin", randomBytes(500000, 11)}}, {"--fault", "files/slow.bin:delay=400,times=1"});
    RecordingManagerDelegate delegate;
    {
        VLFileDownloadManager manager;
        manager.setDelegate(&delegate);
        manager.addDownload(download("slow.bin"));
        manager.start();
        manager.pause();
        QTest::qWait(600);
        EXPECT_EQ(delegate.events, QStringList{"beginAll"});
        EXPECT_EQ(manager.downloads().size(), 1);

        manager.start(); // the same download again, from the beginning
        ASSERT_TRUE(waitFor([&] { return delegate.events.contains("completeAll"); }));
        EXPECT_EQ(readFile(QDir(destination).filePath("slow.bin")), payloads["slow.bin"]);

        QFile::remove(QDir(destination).filePath("slow.bin"));
        cloud->server->setFault("files/slow.bin", {{"delay", "300"}});
        manager.addDownload(download("slow.bin"));
        manager.start();
    }
    QTest::qWait(600);
    EXPECT_EQ(delegate.events.count("completeAll"), 1);
    EXPECT_FALSE(QFileInfo::exists(QDir(destination).filePath("slow.bin")));
}

TEST_F(FileDownloadTest, ThePausedManagerKeepsOneEntryPerFile)
{
    serve({{"a.bin", randomBytes(1000, 14)}, {"b.bin", randomBytes(1000, 15)}});
    RecordingManagerDelegate delegate;
    VLFileDownloadManager manager;
    manager.setDelegate(&delegate);
    manager.pause();
    manager.addDownload(download("a.bin"));
    manager.addDownload(download("b.bin"));
    // A cancelled sync left both waiting; the next one asks for them again.
    manager.pause();
    const VLFileDownloadPtr newer = download("a.bin");
    manager.addDownload(newer);
    manager.addDownload(download("b.bin"));
    ASSERT_EQ(manager.downloads().size(), 2);
    EXPECT_EQ(manager.downloads().first(), newer);
    manager.start();
    ASSERT_TRUE(waitFor([&] { return delegate.events.contains("completeAll"); }));
    EXPECT_EQ(cloud->server->fileRequests("a.bin"), 1);
    EXPECT_EQ(cloud->server->fileRequests("b.bin"), 1);
}
