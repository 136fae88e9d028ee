#pragma once

#include "KDDevice.h"
#include "VLSyncManager.h"

#include <QObject>
#include <QPointer>
#include <QVariantMap>

#include <memory>

class VLSyncWindow;
class VLAlertPresenter;
namespace Ui {
class UploadFileWindowController;
}

// A maintenance window that sends one chosen file to the device with its descriptive fields
// ("Upload"), and can reboot the device afterwards. Loaded from the interface definition
// "UploadFileWindowController". The device's answers are not examined: the completion alert shows
// whatever the device said, and nothing checks for a file or a device before sending.
class VLUploadFileWindowController : public QObject
{
    Q_OBJECT
public:
    explicit VLUploadFileWindowController(std::shared_ptr<VLAlertPresenter> alerts = {}, QObject *parent = nullptr);
    ~VLUploadFileWindowController() override;

    VLSyncManager *syncManager() const { return m_syncManager; }
    void setSyncManager(VLSyncManager *syncManager) { m_syncManager = syncManager; }

    void showWindow();
    void chooseFile();
    void upload();
    // "FileType" from the pop-up, then "FileID", "SKU", "Description", "VersionString".
    QVariantMap uploadArguments() const;
    void didUploadToDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void didRebootDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void showEnd();

    VLSyncWindow *window() const { return m_window.get(); }
    Ui::UploadFileWindowController *ui() const { return m_ui.get(); }

signals:
    void uploadEnded();

private:
    QPointer<VLSyncManager> m_syncManager;
    std::shared_ptr<VLAlertPresenter> m_alerts;
    std::unique_ptr<VLSyncWindow> m_window;
    std::unique_ptr<Ui::UploadFileWindowController> m_ui;
};
