#include "CloudSimProcess.h"
#include "QtPrinters.h"
#include "TestSupport.h"
#include "VLApplicationInfo.h"
#include "VLFileDownloadManager.h"
#include "VLSyncSession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class InventoryDelegate : public QObject,
                          public VLSyncSessionDelegate,
                          public VLSyncSessionDelegateDidReceiveAllFiles,
                          public VLFileDownloadManagerDelegate
{
public:
    void syncSessionDidOpenSession(VLSyncSession *session) override { session->requestAllFiles(); }
    void syncSessionDidFailToOpenWithError(VLSyncSession *, const VLError &error) override { errors << error; }
    void syncSessionDidCloseSession(VLSyncSession *) override {}
    void syncSessionDidFinishRequest(VLSyncSession *, VLSyncSessionRequestType) override {}
    void networkConnectionError() override { errors << VLError("network", -1009, "no network"); }
    void syncSessionDidReceiveAllFiles(VLSyncSession *, const VLSyncFileList &received) override
    {
        files = received;
        listed = true;
    }
    void downloadManagerDidFinishDownload(VLFileDownloadManager *, VLFileDownload *download) override
    {
        finished << download;
    }
    void downloadManagerDownloadDidFailWithError(VLFileDownloadManager *, VLFileDownload *, const VLError &error) override
    {
        errors << error;
    }
    void downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *) override { ++completions; }

    bool listed = false;
    VLSyncFileList files;
    QList<VLFileDownload *> finished;
    QList<VLError> errors;
    int completions = 0;
};

} // namespace

// The catalog that tintera-catalog writes, served by the emulator: the client lists it and fetches
// every file, each arriving with the size its record announces.
TEST(DemoCatalog, EveryListedFileDownloadsWithItsAnnouncedSize)
{
    const QString catalogTool = tinteraBuiltProgram("tools/catalog/tintera-catalog");
    if (!QFileInfo(catalogTool).isExecutable())
        GTEST_SKIP() << "tintera-catalog is not built";
    QTemporaryDir folder;
    const QString catalog = folder.filePath("catalog");
    ASSERT_EQ(QProcess::execute(catalogTool, {"write", catalog}), 0);

    CloudSimProcess cloud(catalog, {"--prefix", "/VLSyncService"});
    ASSERT_TRUE(cloud.isRunning());
    vlSetSyncProductionURLOverride(cloud.baseURL());

    InventoryDelegate delegate;
    VLSyncSession session("TX350-000123", "CHIP-0F1E2D");
    session.setDelegate(&delegate);
    session.openSession();
    ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.listed || !delegate.errors.isEmpty(); }, 10000));
    vlSetSyncProductionURLOverride(QString());
    ASSERT_TRUE(delegate.errors.isEmpty());
    ASSERT_GE(delegate.files.size(), 5);

    QStringList types;
    VLFileDownloadManager manager;
    manager.setDelegate(&delegate);
    const QString downloads = folder.filePath("Downloads");
    for (const VLSyncFileInfoPtr &file : delegate.files) {
        EXPECT_TRUE(file->fileURL().toString().startsWith(cloud.baseURL() + "/files/"));
        EXPECT_FALSE(file->fileID().isEmpty());
        EXPECT_GT(file->version(), 0.0);
        EXPECT_TRUE(file->versionDate().isValid()) << file->description().toStdString();
        types << file->fileType();
        auto download = VLFileDownload::initWithURLDestinationFolder(file->fileURL(), downloads);
        download->setUserData(file);
        manager.addDownload(download);
    }
    EXPECT_TRUE(types.contains("Fandeck"));
    EXPECT_TRUE(types.contains("Firmware"));

    manager.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.completions > 0; }, 30000));
    EXPECT_TRUE(delegate.errors.isEmpty());
    ASSERT_EQ(delegate.finished.size(), delegate.files.size());
    for (const VLSyncFileInfoPtr &file : delegate.files) {
        const QString name = file->fileURL().fileName();
        const QString path = QDir(downloads).filePath(name);
        EXPECT_EQ(QFileInfo(path).size(), file->byteLength()) << name.toStdString();
        QFile got(path);
        QFile original(QDir(catalog).filePath("files/" + name));
        ASSERT_TRUE(got.open(QIODevice::ReadOnly) && original.open(QIODevice::ReadOnly));
        EXPECT_TRUE(got.readAll() == original.readAll()) << name.toStdString();
    }
}
