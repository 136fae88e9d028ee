#include "AppTestSupport.h"
#include "VLDebugWindowController.h"
#include "VLErrorWindowController.h"
#include "VLHelpWindowController.h"
#include "VLProgressStatusItem.h"
#include "KDError.h"
#include "VLExportTarget.h"
#include "VLFileTrust.h"
#include "VLSyncAdvice.h"
#include "VLSyncSummary.h"
#include "VLSyncWindow.h"
#include "VLUploadFileWindowController.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QApplication>
#include <QMessageBox>
#include <QTimer>


#include <cmath>

TEST(TrayProgress, TheTitleCountsStepsAndShowsTheDownloadsShare)
{
    EXPECT_EQ(VelmoraSyncAppDelegate::syncProgressTitle(19, QStringLiteral("Downloading Accent..."), 0.456),
              QStringLiteral(" Step 19 of 28: Downloading Accent... 45%"));
    // A length the service did not give: no share rather than a made-up one.
    EXPECT_EQ(VelmoraSyncAppDelegate::syncProgressTitle(19, QStringLiteral("Downloading"), std::nan("")),
              QStringLiteral(" Step 19 of 28: Downloading"));
    EXPECT_EQ(VelmoraSyncAppDelegate::syncProgressTitle(19, QStringLiteral("Downloading"), 7.0),
              QStringLiteral(" Step 19 of 28: Downloading 100%"));
}

TEST_F(AppWithDevice, DownloadUpdatesReachTheTitleOncePerPercent)
{
    holdRunsAtTheFirstStep(device);
    ASSERT_NO_FATAL_FAILURE(plugIn());
    // Not in a sync: the title is left alone.
    app.statusItem->setTitle(QStringLiteral("unchanged"));
    app.delegate->syncManagerStatusDidChange(manager);
    EXPECT_EQ(app.statusItem->title(), QStringLiteral("unchanged"));
    manager->startSync();
    EXPECT_EQ(app.statusItem->title(), QStringLiteral(" Step 1 of 28"));
    manager->setIsJustGatheringPreliminaryInfo(true);
    manager->setStatusMessage(QStringLiteral("Gathering"));
    EXPECT_EQ(app.statusItem->title(), QStringLiteral(" Step 1 of 28")) << "gathering leaves the title";
    manager->setIsJustGatheringPreliminaryInfo(false);
    manager->setStatusMessage(QStringLiteral("Downloading Accent..."));
    app.delegate->syncManagerDownloadingDidBegin(manager);
    // The preferences window is built when first opened: opened now, it shows the download as busy.
    EXPECT_EQ(app.delegate->prefsWindowController()->ui()->progressIndicator->maximum(), 0);
    const qsizetype before = app.statusItem->titles.size();
    for (double amount : {0.101, 0.102, 0.109, 0.25})
        app.delegate->syncManagerDownloadDidUpdateAmount(manager, amount);
    EXPECT_EQ(app.statusItem->titles.mid(before),
              (QStringList{" Step 1 of 28: Downloading Accent... 10%", " Step 1 of 28: Downloading Accent... 25%"}));
    EXPECT_DOUBLE_EQ(app.delegate->prefsWindowController()->progressValue(), 25.0);
    // Once the download is over the share goes, and the preferences' bar is empty again.
    app.delegate->syncManagerDownloadingDidFinish(manager);
    EXPECT_EQ(app.statusItem->title(), QStringLiteral(" Step 1 of 28: Downloading Accent..."));
    EXPECT_EQ(app.delegate->prefsWindowController()->progressValue(), 0);
    app.delegate->syncManagerDidFinishPreliminaryInfoGathering(manager);
    EXPECT_EQ(app.statusItem->title(), QString());
    app.delegate->cancelSync();
}

TEST_F(AppWithDevice, CancelSyncEndsAWaitingRunAndShowsOnlyWhileOneRuns)
{
    holdRunsAtTheFirstStep(device);
    ASSERT_NO_FATAL_FAILURE(plugIn());
    app.delegate->updateMenu();
    EXPECT_FALSE(app.item(VLStatusMenuAction::CancelSync)->isVisible());

    app.item(VLStatusMenuAction::SyncNow)->trigger();
    ASSERT_TRUE(manager->isInSync());
    app.delegate->updateMenu();
    EXPECT_TRUE(app.item(VLStatusMenuAction::CancelSync)->isVisible());
    EXPECT_TRUE(app.item(VLStatusMenuAction::CancelSync)->isEnabled());
    QTest::qWait(200); // the run waits for an answer that never comes

    // The preferences window has the same Cancel while the run goes on; the bar does not stay part full.
    VelmoraSyncPreferencesWindowController *prefs = app.delegate->prefsWindowController();
    app.delegate->syncManagerDownloadingDidBegin(manager);
    app.delegate->syncManagerDownloadDidUpdateAmount(manager, 0.66);
    ASSERT_FALSE(prefs->ui()->cancelSyncButton->isHidden());
    prefs->ui()->cancelSyncButton->click();
    EXPECT_TRUE(prefs->ui()->cancelSyncButton->isHidden());
    EXPECT_EQ(prefs->progressValue(), 0);
    EXPECT_FALSE(manager->isInSync());
    EXPECT_FALSE(manager->isCancellingSync());
    EXPECT_TRUE(manager->canStartSync());
    EXPECT_FALSE(app.delegate->progressStatusItem()->isAnimating());
    EXPECT_TRUE(app.statusItem->title().isEmpty());
    app.delegate->updateMenu();
    EXPECT_FALSE(app.item(VLStatusMenuAction::CancelSync)->isVisible());
    EXPECT_TRUE(app.item(VLStatusMenuAction::SyncNow)->isEnabled());

    // The end is told once, as a cancel, with nothing to show and no alert: an ordinary message.
    ASSERT_EQ(app.notifier->notes.size(), 1);
    EXPECT_EQ(app.notifier->notes.at(0).title, QStringLiteral("TINTERA Sync"));
    EXPECT_EQ(app.notifier->notes.at(0).text, QStringLiteral("The sync was cancelled."));
    EXPECT_FALSE(app.notifier->notes.at(0).warning);
    EXPECT_TRUE(app.notifier->actionKeys().isEmpty());
    EXPECT_TRUE(app.alerts->alerts.isEmpty());
    QTest::qWait(100);
    EXPECT_EQ(app.notifier->notes.size(), 1);
}

TEST_F(AppWithDevice, WithoutANotificationServiceTheTraysOwnMessageSaysItAndItsClickOpensTheDetails)
{
    app.notifier->available = false;
    // The first command is answered with the cancelling error: one collected error, a cancelled run.
    endRunsAtTheFirstStep(device);
    ASSERT_NO_FATAL_FAILURE(plugIn());
    manager->startSync();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager->isInSync(); }, 5000));
    ASSERT_EQ(app.statusItem->messages.size(), 1);
    EXPECT_EQ(app.statusItem->messages.at(0).title, QStringLiteral("TINTERA Sync"));
    EXPECT_EQ(app.statusItem->messages.at(0).text, QStringLiteral("The sync was cancelled."));
    EXPECT_TRUE(app.statusItem->messages.at(0).warning);
    ASSERT_TRUE(app.statusItem->messageClicked);
    const qsizetype windows = app.alerts->modalWindows.size();
    app.statusItem->messageClicked();
    ASSERT_EQ(app.alerts->modalWindows.size(), windows + 1);
    EXPECT_EQ(app.delegate->errorWindowController()->objectValueForRow(0), QStringLiteral("Error code -1024, stop"));
}

TEST(TraySummary, TheEndTellsWhatChanged)
{
    VLSyncSummary clean;
    EXPECT_EQ(clean.text(), QStringLiteral("The sync finished. Everything was up to date."));

    // Told from the engine's report: how the run ended comes before what it changed.
    VLSyncRunReport report;
    report.ending = VLSyncRunReport::Ending::Completed;
    report.downloaded = {{}, {}};
    report.installed = {{}};
    report.matchesExported.resize(1);
    EXPECT_EQ(VLSyncSummary::ofReport(report).text(),
              QStringLiteral("The sync finished. 2 files downloaded, 1 installed on the device, 1 match exported."));
    report.ending = VLSyncRunReport::Ending::Stalled;
    EXPECT_EQ(VLSyncSummary::ofReport(report).text(),
              QStringLiteral("The sync was stopped: it made no progress. 2 files downloaded, 1 installed on the device, 1 match exported."));
    report = VLSyncRunReport();
    report.ending = VLSyncRunReport::Ending::DeviceGone;
    report.errors = {VLError(QStringLiteral("Device"), 1, QStringLiteral("gone"))};
    EXPECT_EQ(VLSyncSummary::ofReport(report).text(), QStringLiteral("The sync was cancelled."));

    // What was installed is named, the first four of it; syncing again is advised only where it helps.
    report.ending = VLSyncRunReport::Ending::Completed;
    report.installed = {{QStringLiteral("Firmware"), {}, {}, QStringLiteral("TX350 firmware"), QStringLiteral("2.5")},
                        {QStringLiteral("Fandeck"), QStringLiteral("F1"), {}, QStringLiteral("Velmora Interiors"), QStringLiteral("1.1")},
                        {QStringLiteral("Fandeck"), QStringLiteral("F2"), {}, {}, {}}, {QStringLiteral("WelcomeScreen"), {}, {}, {}, {}},
                        {QStringLiteral("Fandeck"), QStringLiteral("F3"), {}, {}, {}}, {QStringLiteral("Fandeck"), QStringLiteral("F4"), {}, {}, {}}};
    const QString installed = QStringLiteral("The sync finished with 1 error. Installed firmware 2.5, Velmora Interiors 1.1, F2, welcome image and 2 more. ");
    const VLError untrusted(VLFileTrustErrorDomain, VLFileTrustErrorSignatureRefused, QStringLiteral("signature"));
    const VLError unwritable(VLExportTargetErrorDomain, VLExportTargetFolderUnusable, QStringLiteral("read-only"));
    const VLError otherSync(QStringLiteral("SyncManager"), 16, QStringLiteral("a sync of VL000001 is already running"));
    const VLError full(KDDeviceErrorDomain, KDDeviceErrorNotEnoughSpace, QStringLiteral("full"));
    const VLError fault(KDErrorDomain, KDErrorBadCommand, QStringLiteral("bad command"));
    const VLError passing(QStringLiteral("SyncManager"), 2, QStringLiteral("Downloaded file is incomplete"));
    const struct { QList<VLError> errors; const char *advice; } rows[] = {
        {{passing}, "Please sync again in order to fix these errors."},
        {{untrusted}, "A file was refused as untrusted: check the service address and the trusted keys."},
        {{unwritable}, "Make the folder named in the error writable, or choose another one."},
        {{otherSync}, "Wait until the other program's sync has finished."},
        {{full}, "Free space on the device: sync only the fandecks you use."},
        {{fault}, ""},
        {{untrusted, fault, untrusted, full}, "A file was refused as untrusted: check the service address and the trusted keys. "
                                              "Free space on the device: sync only the fandecks you use."},
        {{untrusted, passing}, "Please sync again in order to fix these errors."},
    };
    for (const auto &row : rows) {
        report.errors = row.errors;
        QString expected = installed + QLatin1String(row.advice);
        if (row.errors.size() > 1)
            expected.replace(QStringLiteral("1 error."), QStringLiteral("%1 errors.").arg(row.errors.size()));
        EXPECT_EQ(VLSyncSummary::ofReport(report).text(), expected.trimmed()) << row.advice;
        EXPECT_EQ(vlSyncAgainHelps(row.errors.first()), row.errors.first() == passing) << row.advice;
    }
}

TEST(TrayWindows, SuccessIsInformationAndEveryWindowIsTitledTINTERASync)
{
    // The platform's own error presentation, as the user meets it.
    VLMessageBoxAlertPresenter presenter;
    QString presentedTitle;
    QMessageBox::Icon presentedIcon = QMessageBox::NoIcon;
    const auto answerTheBox = [&] {
        QTimer::singleShot(0, [&] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                presentedTitle = box->windowTitle();
                presentedIcon = box->icon();
                box->accept();
            }
        });
    };
    answerTheBox();
    presenter.presentError(VLError(QStringLiteral("SyncManager"), 7, QStringLiteral("broken")));
    EXPECT_EQ(presentedTitle, QStringLiteral("TINTERA Sync"));
    EXPECT_EQ(presentedIcon, QMessageBox::Critical);
    answerTheBox();
    presenter.runModalAlert(QStringLiteral("Clean Device"), QStringLiteral("Device cleaning has completed."),
                            QStringLiteral("OK"), VLAlertPresenter::Style::Information);
    EXPECT_EQ(presentedTitle, QStringLiteral("TINTERA Sync"));
    EXPECT_EQ(presentedIcon, QMessageBox::Information);

    VLErrorWindowController errors;
    VLDebugWindowController debug;
    VLUploadFileWindowController upload;
    VLHelpWindowController help;
    VelmoraSyncPreferencesWindowController prefs;
    const QList<QWidget *> windows{errors.window(), debug.window(), upload.window(), help.window(), prefs.window()};
    for (QWidget *window : windows)
        EXPECT_EQ(window->windowTitle(), QStringLiteral("TINTERA Sync")) << qPrintable(window->objectName());
}
