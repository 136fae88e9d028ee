#include "AppTestSupport.h"
#include "TSLogger.h"
#include "VLFandeckTableModel.h"
#include "VLPreferencesInfo.h"
#include "VLHelpWindowController.h"
#include "VLSyncWindow.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPalette>
#include <QTextBrowser>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

VLSyncFileInfoPtr fandeck(const QString &id, const QString &description)
{
    QVariantMap info{{VLSyncFileInfoFileType, QStringLiteral("Fandeck")}};
    if (!id.isNull())
        info.insert(VLSyncFileInfoFileID, id);
    if (!description.isNull())
        info.insert(VLSyncFileInfoDescription, description);
    return VLSyncFileInfoPtr::create(info);
}

struct FakeChoices : VLFandeckChoices
{
    QStringList wanted;
    bool selectedOnly = false;
    bool inSync = false;
    bool userWantsSyncForFandeckWithID(const QString &id) override { return wanted.contains(id); }
    void setUserWantsSyncForFandeckWithID(bool want, const QString &id) override
    {
        wanted.removeAll(id);
        if (want)
            wanted.append(id);
    }
    bool syncSelectedFandecksOnly() const override { return selectedOnly; }
    bool isInSync() const override { return inSync; }
};

// Catches the help document the window asks the desktop to open.
class OpenedURLs : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl &url) { urls.append(url); }
};

} // namespace

TEST(PreferencesInfo, StorageIsWholeMebibytesRoundedToTheNearest)
{
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("5242880")), QStringLiteral("5 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("1700000")), QStringLiteral("2 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("1500000")), QStringLiteral("1 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("0")), QStringLiteral("0 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("lots")), QStringLiteral("0 Mb Available"));
}

TEST(PreferencesInfo, FieldsAndStatusFollowTheDeviceAndTheSync)
{
    VLPreferencesDevice device{true, QStringLiteral("SN123"), QStringLiteral("CHIP"), QStringLiteral("2.1.0"),
                               QStringLiteral("5242880")};
    VLPreferencesSyncState state;
    state.managerDeviceLive = true;
    state.lastSyncDateString = QStringLiteral("Never");
    state.autoSyncOnDeviceConnection = true;

    VLPreferencesInfoTexts texts = vlPreferencesInfoTexts(device, state);
    EXPECT_EQ(texts.serialNumber, QStringLiteral("SN123"));
    EXPECT_EQ(texts.chipId, QStringLiteral("CHIP"));
    EXPECT_EQ(texts.firmware, QStringLiteral("2.1.0"));
    EXPECT_EQ(texts.storage, QStringLiteral("5 Mb Available"));
    EXPECT_EQ(texts.status, QStringLiteral("Last Sync: Never"));
    EXPECT_TRUE(texts.autoSyncChecked);
    EXPECT_FALSE(texts.syncSelectedOnlyChecked);

    state.isInSync = true;
    state.statusMessage = QStringLiteral("Downloading fandecks...");
    EXPECT_EQ(vlPreferencesStatusText(state), QStringLiteral("Status: Downloading fandecks..."));
    state.isJustGatheringPreliminaryInfo = true;
    EXPECT_EQ(vlPreferencesStatusText(state), QStringLiteral("Status: Gathering fandeck information..."));

    // No live device: every device field is "--"; the status depends on the manager's own device.
    device.live = false;
    state = {};
    texts = vlPreferencesInfoTexts(device, state);
    EXPECT_EQ(texts.serialNumber, QStringLiteral("--"));
    EXPECT_EQ(texts.chipId, QStringLiteral("--"));
    EXPECT_EQ(texts.firmware, QStringLiteral("--"));
    EXPECT_EQ(texts.storage, QStringLiteral("--"));
    EXPECT_EQ(texts.status, QStringLiteral("Status: No device connected"));

    EXPECT_EQ(vlPreferencesVersionText("TINTERA Sync", "1.0.0", "100"), QStringLiteral("TINTERA Sync v1.0.0 (100)"));
}

TEST(FandeckTable, SortedByDescriptionWithNamesFallingBackToTheIdentifier)
{
    VLFandeckTableModel model;
    model.setFandecks({fandeck("F3", "Gamma"), fandeck("F1", "Alpha"), fandeck("F9", QString()),
                       fandeck(QString(), QString()), fandeck("F2", "Beta")});
    ASSERT_EQ(model.rowCount(), 5);
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names.append(model.data(model.index(row, VLFandeckTableModel::NameColumn), Qt::DisplayRole).toString());
    // Fandecks without a description come first, in their original order.
    EXPECT_EQ(names, (QStringList{"F9", "", "Alpha", "Beta", "Gamma"}));
    EXPECT_EQ(VLFandeckTableModel::columnIdentifier(0), QStringLiteral("check"));
    EXPECT_EQ(VLFandeckTableModel::columnIdentifier(1), QStringLiteral("name"));
}

TEST(FandeckTable, BoxesAndNamesAreLiveOnlyForSelectedOnlyOutsideASync)
{
    FakeChoices choices;
    choices.wanted = {QStringLiteral("F1")};
    VLFandeckTableModel model;
    model.setChoices(&choices);
    model.setFandecks({fandeck("F1", "Alpha"), fandeck("F2", "Beta")});
    const auto check = [&](int row) { return model.index(row, VLFandeckTableModel::CheckColumn); };
    const auto name = [&](int row) { return model.index(row, VLFandeckTableModel::NameColumn); };
    // Under a dark theme the names take the theme's own text colours.
    const QPalette light = QGuiApplication::palette();
    QPalette dark = light;
    dark.setColor(QPalette::Active, QPalette::Text, QColor(235, 235, 235));
    dark.setColor(QPalette::Disabled, QPalette::Text, QColor(130, 130, 130));
    QGuiApplication::setPalette(dark);
    const QColor grey(130, 130, 130);
    const QColor text(235, 235, 235);

    // Selected-only off: every fandeck is synced, so every box is ticked, and disabled; every name grey.
    for (int row = 0; row < 2; ++row) {
        EXPECT_EQ(model.data(check(row), Qt::CheckStateRole).toInt(), Qt::Checked);
        EXPECT_FALSE(model.flags(check(row)) & Qt::ItemIsEnabled);
        EXPECT_EQ(model.data(name(row), Qt::ForegroundRole).value<QColor>(), grey);
        EXPECT_TRUE(model.flags(name(row)) & Qt::ItemIsEnabled);
        EXPECT_TRUE(model.data(name(row), Qt::TextAlignmentRole).value<Qt::Alignment>() & Qt::AlignVCenter);
    }
    // On, no sync: boxes enabled, names in the text colour.
    choices.selectedOnly = true;
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.reload();
    EXPECT_EQ(resets.size(), 1);
    EXPECT_TRUE(model.flags(check(1)) & Qt::ItemIsEnabled);
    EXPECT_EQ(model.data(name(1), Qt::ForegroundRole).value<QColor>(), text);
    // The ticks are the user's choices now.
    EXPECT_EQ(model.data(check(0), Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(model.data(check(1), Qt::CheckStateRole).toInt(), Qt::Unchecked);
    // During a sync: disabled and grey again.
    choices.inSync = true;
    EXPECT_FALSE(model.flags(check(1)) & Qt::ItemIsEnabled);
    EXPECT_EQ(model.data(name(1), Qt::ForegroundRole).value<QColor>(), grey);
    QGuiApplication::setPalette(light);

    // Ticking goes to the choices with the row's identifier.
    choices.inSync = false;
    EXPECT_TRUE(model.setData(check(1), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(choices.wanted, (QStringList{"F1", "F2"}));
    EXPECT_TRUE(model.setData(check(0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(choices.wanted, (QStringList{"F2"}));
    EXPECT_FALSE(model.setData(name(0), QStringLiteral("renamed"), Qt::EditRole));
}

TEST(PreferencesWindow, LoadedStateProgressAndDebugView)
{
    VelmoraSyncPreferencesWindowController controller;
    Ui::VelmoraSyncPreferencesWindowController *ui = controller.ui();
    EXPECT_TRUE(ui->chipIDLabel->isHidden());
    EXPECT_TRUE(ui->chipdIDField->isHidden());
    EXPECT_TRUE(ui->debugButton->isHidden());
    EXPECT_FALSE(ui->imageView->pixmap().isNull());
    EXPECT_FALSE(controller.validateUserInterfaceItem());

    controller.startProgress();
    EXPECT_EQ(ui->progressIndicator->maximum(), 0) << "indeterminate while downloads begin";
    controller.setProgressValue(42.4);
    EXPECT_DOUBLE_EQ(controller.progressValue(), 42.0);
    controller.stopProgress();
    EXPECT_EQ(ui->progressIndicator->maximum(), 100);

    TSLogger::defaultLogger()->logAddText(QStringLiteral("a line for the debug view"));
    controller.showWindow();
    controller.debugAction();
    ASSERT_TRUE(controller.debugWindow());
    EXPECT_TRUE(controller.debugWindow()->isVisible());
    EXPECT_EQ(controller.debugWindow()->parentWidget(), controller.window());
    EXPECT_EQ(controller.debugTextView()->toPlainText(), TSLogger::defaultLogger()->logText());
    EXPECT_TRUE(controller.debugTextView()->toPlainText().contains(QStringLiteral("a line for the debug view")));
    controller.window()->close();
}

TEST(PreferencesWindow, ClickingABoxNeverMovesTheSelection)
{
    VelmoraSyncPreferencesWindowController controller;
    FakeChoices choices;
    choices.selectedOnly = true;
    controller.fandeckModel()->setChoices(&choices);
    controller.fandeckModel()->setFandecks({fandeck("F1", "Alpha"), fandeck("F2", "Beta")});
    controller.showWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(controller.window()));
    QTableView *table = controller.ui()->fandeckTableView;
    const auto click = [&](int row, int column) {
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(row, column)).center());
    };
    click(0, VLFandeckTableModel::NameColumn);
    ASSERT_EQ(table->selectionModel()->selectedRows().value(0).row(), 0);
    click(1, VLFandeckTableModel::CheckColumn);
    EXPECT_EQ(table->selectionModel()->selectedRows().value(0).row(), 0) << "the box click moved the selection";
    click(1, VLFandeckTableModel::NameColumn);
    EXPECT_EQ(table->selectionModel()->selectedRows().value(0).row(), 1);
    controller.fandeckModel()->setChoices(nullptr);
    controller.window()->close();
}

TEST(PreferencesWindow, HelpOpensTheDocumentOrShowsItsTextWhenNoViewerTakesIt)
{
    VelmoraSyncPreferencesWindowController controller;
    QStringList asked;
    bool viewerTakesIt = true;
    controller.setDesktopOpener([&](const QString &path, VLOpenedHandler done) {
        asked << path;
        done(viewerTakesIt);
    });
    QSignalSpy fallback(&controller, &VelmoraSyncPreferencesWindowController::standardHelpShown);
    const QString path = VelmoraSyncPreferencesWindowController::helpDocumentPath();

    controller.showHelp();
    if (path.isEmpty()) {
        // The test program does not sit beside the document: the help window shows at once.
        EXPECT_TRUE(asked.isEmpty());
        EXPECT_EQ(fallback.size(), 1);
    } else {
        EXPECT_EQ(asked, QStringList{path});
        EXPECT_EQ(fallback.size(), 0);
        EXPECT_EQ(controller.helpWindowController(), nullptr);
        // No viewer took it (the desktop's helper failed, or none is registered): our own window.
        viewerTakesIt = false;
        controller.showHelp();
        EXPECT_EQ(fallback.size(), 1);
    }
    ASSERT_NE(controller.helpWindowController(), nullptr);
    QDialog *help = controller.helpWindowController()->window();
    EXPECT_TRUE(help->isVisible());
    EXPECT_EQ(help->windowTitle(), QStringLiteral("TINTERA Sync"));
    const QString text = controller.helpWindowController()->textView()->toPlainText();
    EXPECT_TRUE(text.contains(QStringLiteral("TINTERA Sync Utility"))) << qPrintable(text.left(200));
    EXPECT_TRUE(text.contains(QStringLiteral("Sync Now")));
    help->close();
}

TEST(PreferencesWindow, TheProgressBarIsEmptyAfterADownloadAndWithoutADevice)
{
    VelmoraSyncPreferencesWindowController controller;
    controller.startProgress();
    controller.setProgressValue(100);
    EXPECT_EQ(controller.progressValue(), 100);
    controller.stopProgress();
    EXPECT_EQ(controller.progressValue(), 0);
    EXPECT_EQ(controller.ui()->progressIndicator->maximum(), 100) << "not left indeterminate";
    controller.setProgressValue(60);
    controller.updateInfoSectionWithDevice(KDDevicePtr());
    EXPECT_EQ(controller.progressValue(), 0);
}

namespace {

QString fieldText(const VelmoraSyncPreferencesWindowController &controller, QLabel *Ui::VelmoraSyncPreferencesWindowController::*field)
{
    return (controller.ui()->*field)->text();
}

} // namespace

TEST(PreferencesWindowWithManager, DeviceFieldsAndStatus)
{
    AttachedManager attached;
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    using U = Ui::VelmoraSyncPreferencesWindowController;
    EXPECT_EQ(fieldText(controller, &U::serialNumberTextField), attached.device.device()->serialNumber());
    EXPECT_EQ(fieldText(controller, &U::firmwareTextField), QStringLiteral("2.1.0"));
    EXPECT_EQ(fieldText(controller, &U::chipdIDField), QStringLiteral("CHIP-1"));
    EXPECT_EQ(fieldText(controller, &U::storageTextField), QStringLiteral("5 Mb Available"));
    EXPECT_EQ(fieldText(controller, &U::statusTextField), QStringLiteral("Last Sync: Never"));
    EXPECT_FALSE(controller.ui()->imageView->pixmap().isNull());
    EXPECT_TRUE(controller.ui()->syncNowButton->isEnabled());

    // A sync's status message, through the manager's status notification.
    attached.manager->setStatus(VLSyncManagerStatusGettingDeviceMeasurements);
    attached.manager->setStatusMessage(QStringLiteral("Reading measurements..."));
    EXPECT_EQ(fieldText(controller, &U::statusTextField), QStringLiteral("Status: Reading measurements..."));
    EXPECT_FALSE(controller.ui()->syncNowButton->isEnabled());
    EXPECT_FALSE(controller.ui()->autoSyncCheckBoxButton->isEnabled());
    attached.manager->setStatus(VLSyncManagerStatusIdle);
    EXPECT_EQ(fieldText(controller, &U::statusTextField), QStringLiteral("Last Sync: Never"));

    // The device goes away: every device field reads "--".
    attached.manager->updateDevice(KDDevicePtr());
    attached.manager->deviceBecameUnavailable();
    controller.updateInfoSectionWithDevice(KDDevicePtr());
    EXPECT_EQ(fieldText(controller, &U::serialNumberTextField), QStringLiteral("--"));
    EXPECT_EQ(fieldText(controller, &U::firmwareTextField), QStringLiteral("--"));
    EXPECT_EQ(fieldText(controller, &U::storageTextField), QStringLiteral("--"));
    EXPECT_EQ(fieldText(controller, &U::statusTextField), QStringLiteral("Status: No device connected"));
    controller.setSyncManager(nullptr);
}

TEST(PreferencesWindowWithManager, SettingsAndFandeckChoicesGoToTheManager)
{
    AttachedManager attached;
    attached.manager->syncInfo()->setLocalFiles({fandeck("F2", "Beta"), fandeck("F1", "Alpha")});
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(controller.window()));
    VLFandeckTableModel *model = controller.fandeckModel();
    ASSERT_EQ(model->rowCount(), 2);
    EXPECT_EQ(model->data(model->index(0, 1), Qt::DisplayRole).toString(), QStringLiteral("Alpha"));
    const auto boxEnabled = [&](int row) { return bool(model->flags(model->index(row, 0)) & Qt::ItemIsEnabled); };

    // Selected-only is off: the boxes are disabled. Turning it on enables them.
    EXPECT_FALSE(controller.ui()->syncSelectedOnlyCheckboxButton->isChecked());
    EXPECT_FALSE(boxEnabled(0));
    // With nothing ticked the window asks first; only the confirmation turns it on.
    controller.ui()->syncSelectedOnlyCheckboxButton->click();
    QMessageBox *asked = controller.selectedOnlyConfirmation();
    ASSERT_NE(asked, nullptr);
    EXPECT_TRUE(asked->informativeText().contains(QStringLiteral("No fandeck is selected"))) << qPrintable(asked->informativeText());
    EXPECT_FALSE(attached.manager->syncSelectedFandecksOnly());
    EXPECT_FALSE(controller.ui()->syncSelectedOnlyCheckboxButton->isChecked());
    for (QAbstractButton *button : asked->buttons()) {
        if (asked->buttonRole(button) == QMessageBox::DestructiveRole)
            button->click();
    }
    EXPECT_TRUE(attached.manager->syncSelectedFandecksOnly());
    EXPECT_TRUE(controller.ui()->syncSelectedOnlyCheckboxButton->isChecked());
    EXPECT_TRUE(boxEnabled(0));
    EXPECT_EQ(model->data(model->index(0, 1), Qt::ForegroundRole).value<QColor>(),
              QGuiApplication::palette().color(QPalette::Active, QPalette::Text));

    // Ticking a box is the manager's "user wants sync" for that fandeck.
    EXPECT_TRUE(model->setData(model->index(1, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(attached.manager->userWantsSyncForFandeckWithID(QStringLiteral("F2")));
    EXPECT_FALSE(attached.manager->userWantsSyncForFandeckWithID(QStringLiteral("F1")));

    // During a sync the boxes are disabled again.
    attached.manager->setStatus(VLSyncManagerStatusGettingDeviceMeasurements);
    EXPECT_FALSE(boxEnabled(1));
    attached.manager->setStatus(VLSyncManagerStatusIdle);
    EXPECT_TRUE(boxEnabled(1));

    controller.ui()->autoSyncCheckBoxButton->click();
    EXPECT_TRUE(attached.manager->autoSyncOnDeviceConnection());
    controller.ui()->autoSyncCheckBoxButton->click();
    EXPECT_FALSE(attached.manager->autoSyncOnDeviceConnection());

    // New fandecks in the inventory show up.
    attached.manager->syncInfo()->setDeviceFiles({fandeck("F0", "Aardvark")});
    ASSERT_EQ(model->rowCount(), 3);
    EXPECT_EQ(model->data(model->index(0, 1), Qt::DisplayRole).toString(), QStringLiteral("Aardvark"));
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

TEST(PreferencesExport, TheSavePanelOffersOneTypePerFormatAndACancelStartsNothing)
{
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a"), QStringLiteral("/tmp/a.cxf"));
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a.CXF"), QStringLiteral("/tmp/a.CXF"));
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a.txt"),
              QStringLiteral("/tmp/a.txt.cxf"));
    // The chosen type's extension is added unless the name has one of that type's own.
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a", VLMatchExportFormat::GPL),
              QStringLiteral("/tmp/a.gpl"));
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a.txt", VLMatchExportFormat::CGATS),
              QStringLiteral("/tmp/a.txt"));
    EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType("/tmp/a.csv", VLMatchExportFormat::ASE),
              QStringLiteral("/tmp/a.csv.ase"));

    AttachedManager attached;
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    controller.ui()->exportButton->click();
    ASSERT_TRUE(controller.exportPanel());
    EXPECT_TRUE(controller.exportPanel()->isVisible());
    EXPECT_EQ(controller.exportPanel()->acceptMode(), QFileDialog::AcceptSave);
    const QStringList filters = controller.exportPanel()->nameFilters();
    ASSERT_EQ(filters.size(), 5);
    for (const char *extension : {"*.cxf", "*.cie", "*.csv", "*.gpl", "*.ase"})
        EXPECT_EQ(filters.filter(QLatin1String(extension)).size(), 1) << extension;
    EXPECT_EQ(controller.exportPanel()->defaultSuffix(), QStringLiteral("cxf"));
    // It opens in the user's documents, with a name that says what and when.
    EXPECT_EQ(QDir(controller.exportPanel()->directory()).absolutePath(),
              QDir(VelmoraSyncPreferencesWindowController::exportStartFolder()).absolutePath());
    const QString suggested = VelmoraSyncPreferencesWindowController::exportSuggestedFileName(QDate::currentDate());
    EXPECT_EQ(suggested, QStringLiteral("TINTERA Measurements %1.cxf").arg(QDate::currentDate().toString(Qt::ISODate)));
    EXPECT_TRUE(controller.exportPanel()->selectedFiles().value(0).endsWith(QLatin1Char('/') + suggested))
        << qPrintable(controller.exportPanel()->selectedFiles().value(0));
    // Choosing a type makes its extension the one a bare name gets.
    controller.exportPanel()->selectNameFilter(filters.filter(QStringLiteral("*.gpl")).first());
    emit controller.exportPanel()->filterSelected(filters.filter(QStringLiteral("*.gpl")).first());
    EXPECT_EQ(controller.exportPanel()->defaultSuffix(), QStringLiteral("gpl"));
    // The suggested name follows the chosen type.
    EXPECT_TRUE(controller.exportPanel()->selectedFiles().value(0).endsWith(
        QStringLiteral("/TINTERA Measurements %1.gpl").arg(QDate::currentDate().toString(Qt::ISODate))))
        << qPrintable(controller.exportPanel()->selectedFiles().value(0));

    controller.exportPanel()->reject();
    EXPECT_FALSE(controller.exportController());
    EXPECT_FALSE(controller.exportWindow());
    EXPECT_TRUE(attached.device.receivedCommandNames().filter(QStringLiteral("GetMeasurements")).isEmpty());
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

TEST(PreferencesExport, TheProgressSheetStaysUntilTheExportEnds)
{
    AttachedManager attached;
    VelmoraSyncPreferencesWindowController controller;
    controller.setSyncManager(attached.manager);
    controller.showWindow();
    const QString path = attached.data.filePath(QStringLiteral("Exported.cxf"));
    controller.exportPanelDidEnd(path, QDialog::Accepted);
    ASSERT_TRUE(controller.exportWindow());
    EXPECT_TRUE(controller.exportWindow()->isVisible());
    EXPECT_TRUE(controller.exportController());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !controller.exportWindow() && !controller.exportController(); }, 10000));
    EXPECT_FALSE(attached.device.receivedCommandNames().filter(QStringLiteral("GetMeasurements")).isEmpty());
    // The device had nothing to export: the end says so instead of pointing at no file.
    ASSERT_NE(controller.exportConfirmation(), nullptr);
    EXPECT_EQ(controller.exportConfirmation()->icon(), QMessageBox::Warning);
    EXPECT_EQ(controller.exportConfirmation()->text(), QStringLiteral("The measurements could not be exported."));
    EXPECT_EQ(controller.exportConfirmation()->buttons().size(), 1);
    controller.exportConfirmation()->close();
    controller.window()->close();
    controller.setSyncManager(nullptr);
}

#include "PreferencesWindowTest.moc"
