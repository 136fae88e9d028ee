#include "AppTestSupport.h"
#include "TSLogger.h"
#include "VLFandeckTableModel.h"
#include "VLPreferencesInfo.h"
#include "VLSyncWindow.h"
#include "VLHelpWindowController.h"
#include "VelmoraSyncPreferencesWindowController.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>
#include <QTextBrowser>
#include <QSignalSpy>


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

// Choices with selected-only on, outside a sync: every box can be clicked.
struct SelectedOnlyChoices : VLFandeckChoices
{
    bool userWantsSyncForFandeckWithID(const QString &) override { return false; }
    void setUserWantsSyncForFandeckWithID(bool, const QString &) override {}
    bool syncSelectedFandecksOnly() const override { return true; }
    bool isInSync() const override { return false; }
};

} // namespace

// The window's own texts (below) cover the device fields; the rounding and the first look's
// status are only reached here.
TEST(PreferencesInfo, StorageIsWholeMebibytesRoundedToTheNearestAndTheFirstLookHasItsStatus)
{
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("1700000")), QStringLiteral("2 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("1500000")), QStringLiteral("1 Mb Available"));
    EXPECT_EQ(vlPreferencesStorageText(QStringLiteral("lots")), QStringLiteral("0 Mb Available"));
    VLPreferencesSyncState state;
    state.isInSync = true;
    state.isJustGatheringPreliminaryInfo = true;
    EXPECT_EQ(vlPreferencesStatusText(state), QStringLiteral("Status: Gathering fandeck information..."));
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

    // The bar is empty after a download and without a device, never left indeterminate.
    controller.startProgress();
    EXPECT_EQ(ui->progressIndicator->maximum(), 0) << "indeterminate while downloads begin";
    controller.setProgressValue(42.4);
    EXPECT_DOUBLE_EQ(controller.progressValue(), 42.0);
    controller.stopProgress();
    EXPECT_EQ(controller.progressValue(), 0);
    EXPECT_EQ(ui->progressIndicator->maximum(), 100);
    controller.setProgressValue(60);
    controller.updateInfoSectionWithDevice(KDDevicePtr());
    EXPECT_EQ(controller.progressValue(), 0);

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
    SelectedOnlyChoices choices;
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

// The test program does not sit beside the help document: the help window shows its text at once.
TEST(PreferencesWindow, HelpShowsItsTextWhenThereIsNoDocument)
{
    VelmoraSyncPreferencesWindowController controller;
    QSignalSpy fallback(&controller, &VelmoraSyncPreferencesWindowController::standardHelpShown);
    ASSERT_TRUE(VelmoraSyncPreferencesWindowController::helpDocumentPath().isEmpty());
    controller.showHelp();
    EXPECT_EQ(fallback.size(), 1);
    ASSERT_NE(controller.helpWindowController(), nullptr);
    QDialog *help = controller.helpWindowController()->window();
    EXPECT_TRUE(help->isVisible());
    EXPECT_EQ(help->windowTitle(), QStringLiteral("TINTERA Sync"));
    const QString text = controller.helpWindowController()->textView()->toPlainText();
    EXPECT_TRUE(text.contains(QStringLiteral("TINTERA Sync Utility"))) << qPrintable(text.left(200));
    EXPECT_TRUE(text.contains(QStringLiteral("Sync Now")));
    help->close();
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

    const auto nameColour = [&](int row) { return model->data(model->index(row, 1), Qt::ForegroundRole).value<QColor>(); };
    const QColor text = QGuiApplication::palette().color(QPalette::Active, QPalette::Text);
    const QColor grey = QGuiApplication::palette().color(QPalette::Disabled, QPalette::Text);
    ASSERT_NE(text, grey);

    // Selected-only is off: every fandeck is synced, so every box is ticked and disabled, every
    // name grey. Turning it on enables them.
    EXPECT_FALSE(controller.ui()->syncSelectedOnlyCheckboxButton->isChecked());
    EXPECT_FALSE(boxEnabled(0));
    EXPECT_EQ(model->data(model->index(1, 0), Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(nameColour(1), grey);
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
    EXPECT_EQ(nameColour(0), text);
    EXPECT_EQ(model->data(model->index(1, 0), Qt::CheckStateRole).toInt(), Qt::Unchecked) << "the user's choices now";

    // Ticking a box is the manager's "user wants sync" for that fandeck; a name is not edited.
    EXPECT_TRUE(model->setData(model->index(1, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(attached.manager->userWantsSyncForFandeckWithID(QStringLiteral("F2")));
    EXPECT_FALSE(attached.manager->userWantsSyncForFandeckWithID(QStringLiteral("F1")));
    EXPECT_TRUE(model->setData(model->index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(attached.manager->userWantsSyncForFandeckWithID(QStringLiteral("F2")));
    EXPECT_FALSE(model->setData(model->index(0, 1), QStringLiteral("renamed"), Qt::EditRole));

    // During a sync the boxes are disabled and the names grey again.
    attached.manager->setStatus(VLSyncManagerStatusGettingDeviceMeasurements);
    EXPECT_FALSE(boxEnabled(1));
    EXPECT_EQ(nameColour(1), grey);
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
    // The chosen type's extension (CxF3's unless another is chosen) is added unless the name has one of that type's own.
    const struct { const char *path; VLMatchExportFormat format; const char *expected; } names[] = {
        {"/tmp/a", VLMatchExportFormat::CxF3, "/tmp/a.cxf"},     {"/tmp/a.CXF", VLMatchExportFormat::CxF3, "/tmp/a.CXF"},
        {"/tmp/a.txt", VLMatchExportFormat::CxF3, "/tmp/a.txt.cxf"}, {"/tmp/a", VLMatchExportFormat::GPL, "/tmp/a.gpl"},
        {"/tmp/a.txt", VLMatchExportFormat::CGATS, "/tmp/a.txt"}, {"/tmp/a.csv", VLMatchExportFormat::ASE, "/tmp/a.csv.ase"}};
    for (const auto &name : names)
        EXPECT_EQ(VelmoraSyncPreferencesWindowController::exportPathWithAllowedType(name.path, name.format),
                  QString::fromLatin1(name.expected)) << name.path;

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
