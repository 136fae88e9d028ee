#include "LaunchedApp.h"
#include "TinteraDemoEnvironment.h"
#include "VLErrorWindowController.h"
#include "VLFileDownloadManager.h"
#include "VLSyncStallWatchdog.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>


namespace {

// Runs "Sync Now" once the first look at the device is over, and waits for the end of that sync.
bool syncNowToTheEnd(LaunchedApp &app, VLSyncManager *manager)
{
    if (!QTest::qWaitFor([&] { return manager->canStartSync(); }, 60000))
        return false;
    const qsizetype notes = app.notifier->notes.size();
    app.delegate->syncNow();
    return QTest::qWaitFor([&] { return !manager->isInSync() && app.notifier->notes.size() > notes; }, 120000);
}

} // namespace

// The tray application against the emulated device and service: a fandeck the service refuses
// holds the download step until the stall watchdog ends the run with an error, whose alert and
// notification lead to the error window; served again, the next sync brings it and says so; a
// user export ends with its confirmation.
TEST(TrayAgainstEmulators, ARefusedFandeckStallsIntoAnErrorAndTheNextSyncSaysWhatItBrought)
{
    TinteraDemoEnvironment environment;
    TinteraDemoEnvironment::Options options;
    options.rebootMilliseconds = 0;
    VLError error;
    ASSERT_TRUE(environment.start(options, &error)) << qPrintable(error.description());
    const QString refused = environment.catalogFileName("VLM-FD-ACCENT");
    ASSERT_FALSE(refused.isEmpty());
    ASSERT_TRUE(environment.cloudsimControl("fault?target=files/" + refused + "&http=500", nullptr, &error))
        << qPrintable(error.description());
    {
        LaunchedApp app({}, 2000);
        app.online = true;
        app.alerts->chooseDetails = true;
        ASSERT_TRUE(QTest::qWaitFor([&] { return app.delegate->syncManager() != nullptr; }, 20000));
        VLSyncManager *manager = app.delegate->syncManager();
        // After the first look, the tray says what a sync would bring.
        ASSERT_TRUE(QTest::qWaitFor([&] { return manager->canStartSync(); }, 60000));
        EXPECT_TRUE(app.statusItem->title().startsWith(" 13 updates: bootloader 1.3, firmware 2.4,")) << qPrintable(app.statusItem->title());

        ASSERT_TRUE(syncNowToTheEnd(app, manager));
        // Writing the firmware is announced as a warning, not only in the menu's title line.
        EXPECT_TRUE(std::any_of(app.notifier->notes.cbegin(), app.notifier->notes.cend(), [](const RecordingNotifier::Note &note) {
            return note.warning && note.text.startsWith("Installing TX350 Firmware (2.4) on device: keep the device connected");
        }));
        const QList<VLError> errors = manager->errors();
        ASSERT_FALSE(errors.isEmpty());
        EXPECT_EQ(errors.last().code(), VLSyncStallWatchdog::stallErrorCode);
        EXPECT_TRUE(errors.last().localizedDescription().contains("at step 19")) << qPrintable(errors.last().localizedDescription());
        // The refused download no longer waits in the queue.
        ASSERT_NE(manager->downloadManager(), nullptr);
        EXPECT_EQ(manager->downloadManager()->currentDownload(), nullptr);
        EXPECT_TRUE(app.notifier->notes.last().text.startsWith("The sync was stopped: it made no progress."))
            << qPrintable(app.notifier->notes.last().text);
        EXPECT_TRUE(app.notifier->notes.last().warning);
        EXPECT_FALSE(manager->lastSyncDate().isValid());
        // The download bar no longer reads as busy.
        VelmoraSyncPreferencesWindowController *prefs = app.delegate->prefsWindowController();
        EXPECT_EQ(prefs->ui()->progressIndicator->maximum(), 100);
        // The alert names the causes; its "Details..." opens the error window with every error, and
        // so does the notification's.
        ASSERT_EQ(app.alerts->alerts.size(), 1);
        EXPECT_EQ(app.alerts->alerts.at(0).title, "TINTERA Sync Error");
        EXPECT_TRUE(app.alerts->alerts.at(0).text.startsWith("There were errors during sync."));
        EXPECT_TRUE(app.alerts->alerts.at(0).details.contains("Error code -1001, No progress for 2 s at step 19"))
            << qPrintable(app.alerts->alerts.at(0).details);
        EXPECT_EQ(app.alerts->alerts.at(0).detailsButton, "Details...");
        VLErrorWindowController *errorWindow = app.delegate->errorWindowController();
        ASSERT_EQ(app.alerts->modalWindows.size(), 1);
        EXPECT_EQ(app.alerts->modalWindows.at(0), errorWindow->window());
        EXPECT_EQ(errorWindow->numberOfRowsInTableView(), errors.size());
        EXPECT_EQ(errorWindow->objectValueForRow(int(errors.size()) - 1), VLErrorWindowController::textForError(errors.last()));
        ASSERT_TRUE(app.notifier->actionKeys().contains("details"));
        app.notifier->handler("details");
        EXPECT_EQ(app.alerts->modalWindows.size(), 2);

        // Served again: the next sync brings the fandeck and tells what it did.
        ASSERT_TRUE(environment.cloudsimControl("clear", nullptr, &error));
        ASSERT_TRUE(syncNowToTheEnd(app, manager));
        for (const VLError &e : manager->errors())
            ADD_FAILURE() << qPrintable(e.description());
        const RecordingNotifier::Note done = app.notifier->notes.last();
        EXPECT_FALSE(done.warning);
        EXPECT_TRUE(done.text.startsWith("The sync finished. ")) << qPrintable(done.text);
        // The refused fandeck and the ones queued behind it.
        EXPECT_TRUE(done.text.contains(QRegularExpression("\\. Installed .+\\. [1-5] files? downloaded")))
            << qPrintable(done.text);
        EXPECT_TRUE(done.text.contains(QRegularExpression("\\d+ match(es)? exported"))) << qPrintable(done.text);
        EXPECT_EQ(app.delegate->lastSyncSummary().matchesExported, 3);
        EXPECT_EQ(app.notifier->actionKeys(), QStringList{"show-measurements"});
        app.notifier->handler("show-measurements");
        ASSERT_FALSE(app.opened.isEmpty());
        EXPECT_EQ(app.opened.last(), manager->pathForGlobalAutoSyncMatchesFolder());
        EXPECT_TRUE(QFileInfo::exists(app.opened.last() + "/LastMeasurements.cxf"));

        // A user export: its notes travel beside the document, and the confirmation shows the folder.
        QStringList shownFolders;
        prefs->setDesktopOpener([&](const QString &path, VLOpenedHandler opened) {
            shownFolders << path;
            opened(true);
        });
        QTemporaryDir out;
        prefs->exportPanelDidEnd(out.filePath("Mine.cxf"), QDialog::Accepted);
        ASSERT_TRUE(QTest::qWaitFor([&] { return prefs->exportConfirmation() != nullptr; }, 30000));
        QMessageBox *confirmation = prefs->exportConfirmation();
        EXPECT_EQ(confirmation->icon(), QMessageBox::Information);
        EXPECT_EQ(confirmation->windowTitle(), "TINTERA Sync");
        EXPECT_EQ(confirmation->informativeText(), QDir::toNativeSeparators(out.filePath("Mine/Mine.cxf")));
        EXPECT_FALSE(QDir(out.filePath("Mine/Audio")).entryList(QDir::Files).isEmpty());
        const QList<QAbstractButton *> buttons = confirmation->buttons();
        const auto showInFolder = std::find_if(buttons.cbegin(), buttons.cend(), [](auto *b) { return b->text() == "Show in Folder"; });
        ASSERT_NE(showInFolder, buttons.cend());
        ASSERT_NE(confirmation->escapeButton(), nullptr);
        EXPECT_EQ(confirmation->escapeButton()->text(), "OK") << "Escape closes the box without opening the folder";
        (*showInFolder)->click();
        EXPECT_EQ(shownFolders, QStringList{out.filePath("Mine")});

        // The same name again: the question names the file that would really be replaced, and
        // Cancel leaves it. A name typed with another format's extension is written as named.
        confirmation->close();
        const qint64 written = QFileInfo(out.filePath("Mine/Mine.cxf")).size();
        QFile(out.filePath("Mine/Mine.cxf")).resize(1);
        prefs->exportPanelDidEnd(out.filePath("Mine.cxf"), QDialog::Accepted);
        ASSERT_TRUE(QTest::qWaitFor([&] { return prefs->exportConfirmation() && prefs->exportConfirmation()->objectName() == "exportReplaceQuestion"; }, 30000));
        EXPECT_EQ(prefs->exportConfirmation()->informativeText(), QDir::toNativeSeparators(out.filePath("Mine/Mine.cxf")));
        prefs->exportConfirmation()->escapeButton()->click();
        EXPECT_EQ(QFileInfo(out.filePath("Mine/Mine.cxf")).size(), 1);
        EXPECT_GT(written, 1);
        prefs->setExportFormat(VLMatchExportFormat::CxF3);
        prefs->exportPanelDidEnd(out.filePath("sheet.csv"), QDialog::Accepted);
        ASSERT_TRUE(QTest::qWaitFor([&] { return prefs->exportConfirmation() && prefs->exportConfirmation()->objectName() == "exportConfirmation"; }, 30000));
        EXPECT_TRUE(QFileInfo(out.filePath("sheet.csv")).isFile());
        EXPECT_FALSE(QFileInfo::exists(out.filePath("sheet")));
    }
    environment.stop();
}
