#include "AppTestSupport.h"
#include "LaunchedApp.h"
#include "VLSingleInstance.h"
#include "VLTrayStatusItem.h"
#include "VLErrorWindowController.h"
#include "VLHelpWindowController.h"
#include "VLSyncInfo.h"
#include "VLSyncWindow.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMenu>
#include <QStyleFactory>
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

VLSyncFileInfoPtr fandeck(const QString &id, const QString &description, const QString &deviceFileID = {})
{
    QVariantMap info{{VLSyncFileInfoFileType, QStringLiteral("Fandeck")},
                     {VLSyncFileInfoFileID, id},
                     {VLSyncFileInfoDescription, description}};
    if (!deviceFileID.isEmpty())
        info.insert(QStringLiteral("DeviceFileID"), deviceFileID);
    return VLSyncFileInfoPtr::create(info);
}

// TINTERA_SCREENSHOT_PALETTE=dark: the windows as a dark desktop theme draws them.
void applyPalette()
{
    if (qEnvironmentVariable("TINTERA_SCREENSHOT_PALETTE") != QLatin1String("dark"))
        return;
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(45, 45, 48));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(30, 30, 32));
    dark.setColor(QPalette::AlternateBase, QColor(52, 52, 56));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::Button, QColor(58, 58, 62));
    dark.setColor(QPalette::ButtonText, QColor(230, 230, 230));
    // The bevel colours too: Fusion etches disabled text with the Light colour.
    dark.setColor(QPalette::Light, QColor(72, 72, 76));
    dark.setColor(QPalette::Midlight, QColor(64, 64, 68));
    dark.setColor(QPalette::Mid, QColor(40, 40, 42));
    dark.setColor(QPalette::Dark, QColor(32, 32, 34));
    dark.setColor(QPalette::Shadow, QColor(10, 10, 10));
    dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::ToolTipBase, QColor(58, 58, 62));
    dark.setColor(QPalette::ToolTipText, QColor(230, 230, 230));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, QColor(128, 128, 128));
    QApplication::setPalette(dark);
}

} // namespace

class WindowScreenshots : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!onARealDisplay())
            GTEST_SKIP() << "needs an X server and TINTERA_SCREENSHOT_DIR (make screenshots)";
        applyPalette();
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

// The tray's menu while firmware is written: the title line says so in full.
TEST_F(WindowScreenshots, TrayMenuDuringAFirmwareInstall)
{
    LaunchedApp app;
    VLTrayStatusItem tray(QStringLiteral("TINTERA Sync"));
    QMenu *menu = app.statusItem->menu();
    ASSERT_NE(menu, nullptr);
    tray.setMenu(menu);
    tray.setTitle(VelmoraSyncAppDelegate::syncProgressTitle(
        19, QStringLiteral("Installing TX350 Firmware (2.5) on device: keep the device connected..."), -1));
    menu->popup(QPoint(20, 20));
    saveScreenshot(menu, QStringLiteral("tray-menu-firmware.png"));
    menu->hide();
    tray.setMenu(nullptr);
}

// Nothing ticked: turning "selected only" on asks first and names what the next sync removes.
TEST_F(WindowScreenshots, SelectedOnlyAsksBeforeItRemovesFandecks)
{
    AttachedManager attached;
    attached.manager->syncInfo()->setLocalFiles({fandeck("F1", "Heritage Classics"), fandeck("F2", "Velmora Interiors")});
    attached.manager->syncInfo()->setDeviceFiles(
        {fandeck("F1", "Heritage Classics", "11"), fandeck("F2", "Velmora Interiors", "12")});
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(controller.window()));
    controller.ui()->syncSelectedOnlyCheckboxButton->click();
    ASSERT_NE(controller.selectedOnlyConfirmation(), nullptr);
    saveScreenshot(controller.selectedOnlyConfirmation(), QStringLiteral("selected-only-confirmation.png"));
    controller.selectedOnlyConfirmation()->close();
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

// An export to a document that is there already asks before it replaces it.
TEST_F(WindowScreenshots, ExportAsksBeforeItReplacesADocument)
{
    AttachedManager attached;
    QTemporaryDir out;
    QFile existing(out.filePath(QStringLiteral("Kitchen.cxf")));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
    existing.close();
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    controller.exportPanelDidEnd(out.filePath(QStringLiteral("Kitchen.cxf")), QDialog::Accepted);
    ASSERT_TRUE(QTest::qWaitFor([&] {
        return controller.exportConfirmation()
            && controller.exportConfirmation()->objectName() == QLatin1String("exportReplaceQuestion");
    }, 20000));
    saveScreenshot(controller.exportConfirmation(), QStringLiteral("export-replace-question.png"));
    controller.exportConfirmation()->close();
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

// A second launch hands over to the running instance, which brings its window forward.
TEST_F(WindowScreenshots, ASecondLaunchBringsTheWindowForward)
{
    LaunchedApp app;
    const QString name = QStringLiteral("VelmoraSync-screenshot-%1").arg(QCoreApplication::applicationPid());
    VLSingleInstance running(name);
    ASSERT_EQ(running.claim({}), VLSingleInstance::Role::Primary);
    QObject::connect(&running, &VLSingleInstance::activationRequested, app.delegate.get(),
                     &VelmoraSyncAppDelegate::runPreferencesPanel);
    VLSingleInstance second(name);
    ASSERT_EQ(second.claim({}), VLSingleInstance::Role::Secondary);
    QWidget *window = app.delegate->prefsWindowController()->window();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->isVisible(); }, 5000));
    saveScreenshot(window, QStringLiteral("second-launch.png"));
    window->close();
}
