#pragma once

#include "KDDevice.h"
#include "VLDesktopOpener.h"
#include "VLExportController.h"
#include "VLFandeckTableModel.h"
#include "VLPreferencesInfo.h"
#include "VLSyncManager.h"

#include <QDialog>
#include <QFileDialog>
#include <QMessageBox>
#include <QProgressBar>
#include <QObject>
#include <QPlainTextEdit>
#include <QPointer>

#include <memory>

class KDDeviceObserver;
class QCheckBox;
class QDate;
class QFileDialog;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableView;
class VLHelpWindowController;
class VLSyncWindow;
namespace Ui {
class VelmoraSyncPreferencesWindowController;
}

// The application's main window: the connected device, the sync status or the last sync, the two
// sync settings, the fandeck table, Sync Now, Export, Help and download progress. Loaded from the
// interface definition "VelmoraSyncPreferencesWindowController".
class VelmoraSyncPreferencesWindowController : public QObject,
                                               private VLFandeckChoices,
                                               public VLExportControllerDelegate
{
    Q_OBJECT
public:
    explicit VelmoraSyncPreferencesWindowController(QObject *parent = nullptr);
    ~VelmoraSyncPreferencesWindowController() override;

    void showWindow();
    void windowDidLoad();

    // Binds the window to a manager (or to none): its device observer, its status notification
    // and its observable keys.
    void setSyncManager(VLSyncManager *syncManager);
    VLSyncManager *syncManager() const { return m_syncManager; }
    KDDeviceObserver *deviceObserver() const { return m_deviceObserver.data(); }

    // Refreshes every field from the device (none: "--") and the manager.
    void updateInfoSectionWithDevice(const KDDevicePtr &device);
    void fandecksChanged();
    void syncStatusChanged();
    void _deviceDidBecomeAvailable(const KDDevicePtr &device);
    void _deviceStatusDidChange(const KDDevicePtr &device);
    void _deviceDidBecomeUnavailable(const KDDevicePtr &device);

    // Controls.
    void autoSyncButtonPressed();
    void syncSelectedOnlyButtonPressed();
    void syncNowPressed();
    // Cancels the running sync, as the status menu's Cancel Sync does.
    void cancelSyncPressed();

    // Export of the device's measurements to a file of the user's choosing, in the format of the
    // file type chosen (CxF3 unless another): a save panel as a sheet, then a modal progress sheet
    // while the export controller runs.
    void exportMeasurements();
    void exportPanelDidEnd(const QString &path, int returnCode);
    // Shows the progress sheet and runs the export; an existing document is replaced only when
    // the user said so to the question that names it.
    void startExport(const QString &filename, bool replaceExisting);
    void exportControllerFinishedWithError(VLExportController *controller, const VLError &error) override;
    // Where the save panel opens: the user's documents folder, else the home folder.
    static QString exportStartFolder();
    // The name the save panel suggests: "TINTERA Measurements 2026-11-24.cxf".
    static QString exportSuggestedFileName(const QDate &date);
    // The path with the chosen format's extension added unless it has one of the format's own:
    // for CxF3 "name" and "name.txt" become "name.cxf" and "name.txt.cxf".
    static QString exportPathWithAllowedType(const QString &path,
                                             VLMatchExportFormat format = VLMatchExportFormat::CxF3);
    // The format of the next export: the file type chosen in the save panel.
    VLMatchExportFormat exportFormat() const { return m_exportFormat; }
    void setExportFormat(VLMatchExportFormat format) { m_exportFormat = format; }
    VLExportController *exportController() const { return m_exportController.get(); }
    QFileDialog *exportPanel() const { return m_exportPanel; }
    QDialog *exportWindow() const { return m_exportWindow; }
    // What the export ended with: where the document went and "Show in Folder", or the error.
    QMessageBox *exportConfirmation() const { return m_exportConfirmation; }
    // The question before "sync selected fandecks only" goes on, while it is open.
    QMessageBox *selectedOnlyConfirmation() const { return m_selectedOnlyConfirmation; }
    void showExportedFileInFolder(const QString &document);
    void showExportConfirmation(const QString &document, const VLError &error);
    // The export found its document there already: "Replace" runs it again, replacing it.
    void askToReplaceExport(const QString &filename, const QString &existing);

    // Download progress.
    void startProgress();
    void stopProgress();
    void setProgressValue(double value);
    double progressValue() const;

    // Shows the texts of the information section.
    void showInfoTexts(const VLPreferencesInfoTexts &texts);

    // Opens the help document; where no viewer takes it, the help window shows the text instead.
    void showHelp();
    void showHelpWindow();
    VLHelpWindowController *helpWindowController() const { return m_helpWindow.get(); }
    // How files and folders are opened on the desktop (help, the exported file's folder).
    void setDesktopOpener(VLDesktopOpener opener) { m_opener = std::move(opener); }
    void debugAction();
    // No menu item is enabled through this window.
    bool validateUserInterfaceItem() const { return false; }

    // Where the help document is; empty when it is missing.
    static QString helpDocumentPath();

    VLSyncWindow *window() const { return m_window.get(); }
    // Nothing of this controller is on screen or under way: its window, help, export panel, export
    // and the question after it are all closed or done, so it can go and be built anew when next needed.
    bool isAtRest() const;
    Ui::VelmoraSyncPreferencesWindowController *ui() const { return m_ui.get(); }
    VLFandeckTableModel *fandeckModel() const { return m_fandeckModel; }
    QDialog *debugWindow() const { return m_debugWindow; }
    QPlainTextEdit *debugTextView() const { return m_debugTextView; }

signals:
    // The help window was shown because no viewer opened the help document (or it is missing).
    void standardHelpShown();
    // The user asked for the Measurements window; the application delegate owns it.
    void measurementsRequested();

private:
    void setUpFandeckTable();
    void bindControls();
    // Enabled states that follow the manager's observable keys.
    void observedValueDidChange(const QString &key);
    void resetProgress();

    // VLFandeckChoices, answered by the sync manager.
    bool userWantsSyncForFandeckWithID(const QString &fandeckID) override;
    void setUserWantsSyncForFandeckWithID(bool wanted, const QString &fandeckID) override;
    bool syncSelectedFandecksOnly() const override;
    bool isInSync() const override;

    std::unique_ptr<VLSyncWindow> m_window;
    std::unique_ptr<Ui::VelmoraSyncPreferencesWindowController> m_ui;
    VLFandeckTableModel *m_fandeckModel;
    QPointer<QDialog> m_debugWindow;
    QPointer<QPlainTextEdit> m_debugTextView;
    int m_pressedColumn = -1;
    QPointer<VLSyncManager> m_syncManager;
    QSharedPointer<KDDeviceObserver> m_deviceObserver;
    QMetaObject::Connection m_statusObserver;
    QMetaObject::Connection m_valueObserver;
    QMetaObject::Connection m_fandecksObserver;
    std::unique_ptr<VLExportController> m_exportController;
    QPointer<QFileDialog> m_exportPanel;
    QPointer<QDialog> m_exportWindow;
    QPointer<QProgressBar> m_exportProgressBar;
    QPointer<QMessageBox> m_exportConfirmation;
    QPointer<QMessageBox> m_selectedOnlyConfirmation;
    std::unique_ptr<VLHelpWindowController> m_helpWindow;
    VLDesktopOpener m_opener;
    VLMatchExportFormat m_exportFormat = VLMatchExportFormat::CxF3;
};
