#include "AppTestSupport.h"
#include "VLDebugWindowController.h"
#include "VLErrorWindowController.h"
#include "VLSyncInfo.h"
#include "VLSyncWindow.h"
#include "VLUploadFileWindowController.h"
#include "ui_UploadFileWindowController.h"

#include <QDialog>
#include <QFile>
#include <QSignalSpy>
#include <QTableView>
#include <QTimer>


namespace {

VLSyncFileInfoPtr entry(const QString &id, const QString &description, const QString &type = QStringLiteral("Fandeck"))
{
    QVariantMap info{{VLSyncFileInfoFileID, id}, {VLSyncFileInfoFileType, type}};
    if (!description.isNull())
        info.insert(VLSyncFileInfoDescription, description);
    return VLSyncFileInfoPtr::create(info);
}

// Clicks the middle of a row of a table view, as a user would.
void clickRow(QTableView *table, int row, int column = 0)
{
    const QRect cell = table->visualRect(table->model()->index(row, column));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
}

} // namespace

TEST(ErrorWindow, RowsReloadsAndClose)
{
    VLErrorWindowController controller;
    QSignalSpy reloads(controller.tableModel(), &QAbstractItemModel::modelReset);
    const QList<VLError> errors{VLError(QStringLiteral("SyncManager"), -1024, QStringLiteral("The device did not answer.")),
                                VLError(QStringLiteral("VLFileDownloadDomain"), 404, QStringLiteral("Not found"))};
    controller.setErrors(errors);
    controller.setErrors(errors); // the very same list: no second reload
    EXPECT_EQ(reloads.size(), 1);
    controller.setErrors(QList<VLError>(errors)); // still the same shared list
    EXPECT_EQ(reloads.size(), 1);
    QList<VLError> other = errors;
    other.append(VLError(QStringLiteral("X"), 1, QStringLiteral("y")));
    controller.setErrors(other);
    EXPECT_EQ(reloads.size(), 2);

    EXPECT_EQ(controller.numberOfRowsInTableView(), 3);
    EXPECT_EQ(controller.objectValueForRow(0), QStringLiteral("Error code -1024, The device did not answer."));
    EXPECT_EQ(controller.tableModel()->data(controller.tableModel()->index(1, 0), Qt::DisplayRole).toString(),
              QStringLiteral("Error code 404, Not found"));

    // The window is modal; close ends its session with code 1.
    QTimer::singleShot(0, &controller, [&] {
        EXPECT_TRUE(controller.window()->isVisible());
        EXPECT_TRUE(controller.window()->isModal());
        controller.close();
    });
    EXPECT_EQ(controller.showWindow(), 1);
    EXPECT_FALSE(controller.window()->isVisible());
}

TEST(DebugWindow, GroupsTheInventorySelectsEntriesOnlyAndFollowsChanges)
{
    VLDebugWindowController controller;
    EXPECT_EQ(controller.sourceTableRowTitles(), (QStringList{"WebService Files", "Device Files", "Local Files"}))
        << "without an inventory only the three group titles show";

    AttachedManager attached;
    VLSyncInfo &info = *attached.manager->syncInfo();
    info.setWebServiceFiles({entry("F1", "Alpha"), entry("F2", "Beta")});
    info.setDeviceFiles({entry("D1", "Device deck")});
    controller.setSyncManager(attached.manager);
    EXPECT_EQ(controller.sourceTableRowTitles(),
              (QStringList{"WebService Files", "Alpha", "Beta", "Device Files", "Device deck", "Local Files"}));
    EXPECT_EQ(controller.sourceTable()->model()->rowCount(), 6);
    controller.showWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(controller.window()));

    clickRow(controller.sourceTable(), 1);
    ASSERT_TRUE(controller.selectedInfo());
    EXPECT_EQ(controller.selectedInfo()->fileID(), QStringLiteral("F1"));
    // The entry's info has three keys: three rows, keys and values aligned.
    EXPECT_EQ(controller.numberOfRowsInTableView(VLDebugWindowController::Table::Data), 3);
    const VLSyncFileInfoPtr selected = controller.selectedInfo();
    for (int row = 0; row < 3; ++row) {
        const QString key =
            controller.objectValueForTableColumnRow(VLDebugWindowController::Table::Data, "key", row).toString();
        const QVariant value = controller.objectValueForTableColumnRow(VLDebugWindowController::Table::Data, "value", row);
        EXPECT_EQ(selected->info().value(key), value) << key.toStdString();
    }
    EXPECT_EQ(controller.dataTable()->model()->rowCount(), 3);

    // Clicking the "Device Files" group line leaves the selection where it was.
    clickRow(controller.sourceTable(), 3);
    ASSERT_TRUE(controller.selectedInfo());
    EXPECT_EQ(controller.selectedInfo()->fileID(), QStringLiteral("F1"));
    EXPECT_EQ(controller.sourceTable()->selectionModel()->selectedRows().value(0).row(), 1);
    clickRow(controller.sourceTable(), 4);
    ASSERT_TRUE(controller.selectedInfo());
    EXPECT_EQ(controller.selectedInfo()->fileID(), QStringLiteral("D1"));

    // A change of the inventory's fandecks rebuilds the rows.
    info.setLocalFiles({entry("F3", "Gamma")});
    EXPECT_EQ(controller.sourceTableRowTitles().last(), QStringLiteral("Gamma"));
    controller.window()->close();
}

TEST(UploadWindow, SendsTheFileWithItsFieldsThenRebootsWhenAsked)
{
    AttachedManager attached;
    auto alerts = std::make_shared<RecordingAlerts>();
    VLUploadFileWindowController controller(alerts);
    controller.setSyncManager(attached.manager);
    QFile payload(attached.data.filePath(QStringLiteral("wallpaper.bin")));
    ASSERT_TRUE(payload.open(QIODevice::WriteOnly));
    payload.write("picture bytes");
    payload.close();

    Ui::UploadFileWindowController *ui = controller.ui();
    ui->filenameField->setText(payload.fileName());
    ui->fileTypePopUpButton->setCurrentText(QStringLiteral("WelcomeScreen"));
    ui->fileIDField->setText(QStringLiteral("W1"));
    ui->descriptionField->setText(QStringLiteral("Welcome"));
    ui->versionField->setText(QStringLiteral("1.2"));
    const QVariantMap arguments = controller.uploadArguments();
    EXPECT_EQ(arguments, (QVariantMap{{"FileType", "WelcomeScreen"}, {"FileID", "W1"}, {"SKU", ""},
                                      {"Description", "Welcome"}, {"VersionString", "1.2"}}));

    // Reboot off: the alert follows the upload's answer, which is not examined.
    attached.device.setReply(QStringLiteral("Upload"),
                             KDScriptedDevice::Reply{.error = VLError(QStringLiteral("KDErrorDomain"), 9, QStringLiteral("full"))});
    QSignalSpy ended(&controller, &VLUploadFileWindowController::uploadEnded);
    ui->uploadButton->click();
    ASSERT_TRUE(ended.wait(5000));
    ASSERT_EQ(alerts->alerts.size(), 1);
    EXPECT_EQ(alerts->alerts.at(0).title, QStringLiteral("Upload file completed"));
    EXPECT_EQ(alerts->alerts.at(0).text, QStringLiteral("Upload file completed."));
    EXPECT_EQ(alerts->alerts.at(0).style, VLAlertPresenter::Style::Information);
    const KDScriptedDevice::Received upload = attached.device.receivedCommands().last();
    EXPECT_EQ(upload.name, QStringLiteral("Upload"));
    EXPECT_EQ(upload.data, QByteArray("picture bytes"));
    EXPECT_EQ(upload.arguments.value(QStringLiteral("FileID")).toString(), QStringLiteral("W1"));

    // Reboot on: the alert waits for the reboot's answer.
    ui->rebootCheckBox->setChecked(true);
    ui->uploadButton->click();
    ASSERT_TRUE(ended.wait(10000));
    EXPECT_EQ(attached.device.receivedCommandNames().mid(attached.device.receivedCommandNames().size() - 2),
              (QStringList{"Upload", "Reboot"}));
    EXPECT_EQ(alerts->alerts.size(), 2);
}
