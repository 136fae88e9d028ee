#include "VLUploadFileWindowController.h"

#include "VLAlertPresenter.h"
#include "VLDeviceVocabulary.h"
#include "VLSyncFileInfo.h"
#include "VLSyncManager.h"
#include "VLSyncWindow.h"
#include "ui_UploadFileWindowController.h"

#include <QFileDialog>
#include <QUrl>

VLUploadFileWindowController::VLUploadFileWindowController(std::shared_ptr<VLAlertPresenter> alerts, QObject *parent)
    : QObject(parent)
    , m_alerts(alerts ? std::move(alerts) : std::make_shared<VLMessageBoxAlertPresenter>())
    , m_window(std::make_unique<VLSyncWindow>())
    , m_ui(std::make_unique<Ui::UploadFileWindowController>())
{
    m_ui->setupUi(m_window.get());
    // The device-file vocabulary.
    m_ui->fileTypePopUpButton->addItems({
        VLSyncSessionFileTypeFandeck,
        VLSyncSessionFileTypeFirmware,
        VLSyncSessionFileTypeDeviceSettings,
        VLSyncSessionFileTypeDeviceRights,
        VLSyncSessionFileTypeApplicationRights,
        VLSyncSessionFileTypeBootloader,
        VLSyncSessionFileTypeBrandingStartup,
        VLSyncSessionFileTypeBrandingMeasurement,
        VLSyncSessionFileTypeStartSound,
        VLSyncSessionFileTypeEndSound,
        VLSyncSessionFileTypeMulticolorSound,
        VLSyncSessionFileTypeInversionMatrix,
    });
    connect(m_ui->chooseFileButton, &QPushButton::clicked, this, &VLUploadFileWindowController::chooseFile);
    connect(m_ui->uploadButton, &QPushButton::clicked, this, &VLUploadFileWindowController::upload);
}

VLUploadFileWindowController::~VLUploadFileWindowController() = default;

void VLUploadFileWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void VLUploadFileWindowController::chooseFile()
{
    QFileDialog panel(m_window.get());
    panel.setFileMode(QFileDialog::ExistingFile);
    if (panel.exec() == QDialog::Accepted && !panel.selectedFiles().isEmpty())
        m_ui->filenameField->setText(panel.selectedFiles().first());
}

QVariantMap VLUploadFileWindowController::uploadArguments() const
{
    QVariantMap arguments;
    arguments.insert(VLSyncFileInfoFileType, m_ui->fileTypePopUpButton->currentText());
    arguments.insert(VLSyncFileInfoFileID, m_ui->fileIDField->text());
    arguments.insert(VLSyncFileInfoSKU, m_ui->skuField->text());
    arguments.insert(VLSyncFileInfoDescription, m_ui->descriptionField->text());
    arguments.insert(VLSyncFileInfoVersionString, m_ui->versionField->text());
    return arguments;
}

void VLUploadFileWindowController::upload()
{
    const QUrl fileURL = QUrl::fromLocalFile(m_ui->filenameField->text());
    const KDCommandPtr command = VLDeviceVocabulary::uploadCommand(uploadArguments(), fileURL);
    const KDDevicePtr device = m_syncManager ? m_syncManager->device() : KDDevicePtr();
    if (!device)
        return; // nobody to send to: the command goes nowhere and no answer comes
    const QPointer<VLUploadFileWindowController> weakSelf(this);
    device->sendCommand(command, [weakSelf](const KDCommandResponsePtr &response) {
        if (weakSelf)
            weakSelf->didUploadToDeviceResponse(weakSelf->m_syncManager ? weakSelf->m_syncManager->device() : KDDevicePtr(),
                                                response);
    });
}

void VLUploadFileWindowController::didUploadToDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &)
{
    if (m_ui->rebootCheckBox->isChecked()) {
        if (!device)
            return; // nobody to reboot: no answer comes, so no completion either
        const QPointer<VLUploadFileWindowController> weakSelf(this);
        device->sendCommand(VLDeviceVocabulary::command(VLDeviceVocabulary::Command::Reboot),
                            [weakSelf, device](const KDCommandResponsePtr &response) {
                                if (weakSelf)
                                    weakSelf->didRebootDeviceResponse(device, response);
                            });
        return;
    }
    showEnd();
}

void VLUploadFileWindowController::didRebootDeviceResponse(const KDDevicePtr &, const KDCommandResponsePtr &)
{
    showEnd();
}

void VLUploadFileWindowController::showEnd()
{
    emit uploadEnded();
    m_alerts->runModalAlert(tr("Upload file completed"), tr("Upload file completed."), tr("OK"),
                            VLAlertPresenter::Style::Information);
}
