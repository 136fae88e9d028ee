#include "AppTestSupport.h"
#include "VLErrorWindowController.h"
#include "VLHelpWindowController.h"
#include "VLSyncInfo.h"
#include "VLSyncWindow.h"
#include "VelmoraSyncPreferencesWindowController.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

// The windows whose look changed, each in the state that changed, drawn by a real X server and
// saved from its screen: "make screenshots" runs them (desktop/WindowScreenshots.sh, under Xvfb
// with TINTERA_SCREENSHOT_DIR set); without them each is skipped.
namespace {

QString screenshotFolder()
{
    return qEnvironmentVariable("TINTERA_SCREENSHOT_DIR");
}

bool onARealDisplay()
{
    return !screenshotFolder().isEmpty() && QGuiApplication::platformName() == QLatin1String("xcb");
}

// Shows the window, lets the X server draw it, and saves what the screen shows where it is.
void saveScreenshot(QWidget *window, const QString &name)
{
    window->show();
    window->raise();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    QTest::qWait(300);
    const QRect frame = window->frameGeometry();
    const QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height());
    ASSERT_FALSE(shot.isNull());
    const QString path = screenshotFolder() + QLatin1Char('/') + name;
    ASSERT_TRUE(shot.save(path)) << qPrintable(path);
}

VLSyncFileInfoPtr fandeck(const QString &id, const QString &description)
{
    return VLSyncFileInfoPtr::create(QVariantMap{{VLSyncFileInfoFileType, QStringLiteral("Fandeck")},
                                                 {VLSyncFileInfoFileID, id},
                                                 {VLSyncFileInfoDescription, description}});
}

} // namespace

class WindowScreenshots : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!onARealDisplay())
            GTEST_SKIP() << "needs an X server and TINTERA_SCREENSHOT_DIR (make screenshots)";
    }
};

// With "Sync selected fandecks only" off, every fandeck is synced: ticked and greyed. The download
// bar is empty after the download; the device image sits in the information block without a frame
// of empty space around it.
TEST_F(WindowScreenshots, PreferencesWithEveryFandeckSynced)
{
    AttachedManager attached;
    attached.manager->syncInfo()->setLocalFiles({fandeck("F1", "Heritage Classics"), fandeck("F2", "Accent Colours"),
                                                 fandeck("F3", "Urban Neutrals")});
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.startProgress();
    controller.setProgressValue(100);
    controller.stopProgress();
    saveScreenshot(controller.window(), QStringLiteral("preferences-all-fandecks-synced.png"));
    EXPECT_EQ(controller.progressValue(), 0);
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

// The device has gone: its last sync still shows.
TEST_F(WindowScreenshots, PreferencesWithTheDeviceAwayShowItsLastSync)
{
    AttachedManager attached;
    attached.manager->setLastSyncDate(QDateTime(QDate(2026, 11, 24), QTime(14, 5)));
    attached.device.unplug();
    attached.manager->updateDevice(KDDevicePtr());
    attached.manager->deviceBecameUnavailable();
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    saveScreenshot(controller.window(), QStringLiteral("preferences-device-away.png"));
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

TEST_F(WindowScreenshots, HelpWindowShowsTheHelpText)
{
    VLHelpWindowController help;
    saveScreenshot(help.window(), QStringLiteral("help-window.png"));
    help.window()->close();
}

// The save panel opens in the user's documents with a dated name.
TEST_F(WindowScreenshots, ExportSavePanelStartsInDocumentsWithADatedName)
{
    AttachedManager attached;
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    controller.exportMeasurements();
    ASSERT_NE(controller.exportPanel(), nullptr);
    QFileDialog *panel = controller.exportPanel();
    panel->resize(720, 460);
    saveScreenshot(panel, QStringLiteral("export-save-panel.png"));
    panel->reject();
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

TEST_F(WindowScreenshots, ExportEndsWithAConfirmationThatCanShowTheFolder)
{
    QTemporaryDir out;
    QDir().mkpath(out.filePath(QStringLiteral("TINTERA Measurements 2026-11-24")));
    const QString document = out.filePath(QStringLiteral("TINTERA Measurements 2026-11-24/TINTERA Measurements 2026-11-24.cxf"));
    QFile file(document);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    VelmoraSyncPreferencesWindowController controller;
    controller.showWindow();
    controller.showExportConfirmation(document, VLError());
    ASSERT_NE(controller.exportConfirmation(), nullptr);
    saveScreenshot(controller.exportConfirmation(), QStringLiteral("export-confirmation.png"));
    controller.exportConfirmation()->close();
    controller.window()->close();
}

TEST_F(WindowScreenshots, ErrorWindowListsEveryError)
{
    VLErrorWindowController controller;
    controller.setErrors({VLError(QStringLiteral("VLFileDownloadDomain"), 500, QStringLiteral("HTTP 500 for Accent Colours")),
                          VLError(QStringLiteral("SyncManager"), 4, QStringLiteral("Cannot write /tmp/x: disk full")),
                          VLError(QStringLiteral("TINTERA Sync Domain"), -1001,
                                  QStringLiteral("No progress for 120 s at step 19 (Downloading Accent Colours...); the sync was stopped."))});
    saveScreenshot(controller.window(), QStringLiteral("error-window.png"));
    controller.window()->close();
}
