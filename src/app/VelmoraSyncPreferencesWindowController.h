#pragma once

#include "VLFandeckTableModel.h"
#include "VLPreferencesInfo.h"

#include <QDialog>
#include <QObject>
#include <QPlainTextEdit>
#include <QPointer>

#include <memory>

class QCheckBox;
class QFileDialog;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableView;
class VLSyncWindow;
namespace Ui {
class VelmoraSyncPreferencesWindowController;
}

// The application's main window: the connected device, the sync status or the last sync, the two
// sync settings, the fandeck table, Sync Now, Export, Help and download progress. Loaded from the
// interface definition "VelmoraSyncPreferencesWindowController".
class VelmoraSyncPreferencesWindowController : public QObject
{
    Q_OBJECT
public:
    explicit VelmoraSyncPreferencesWindowController(QObject *parent = nullptr);
    ~VelmoraSyncPreferencesWindowController() override;

    void showWindow();
    void windowDidLoad();

    // Download progress.
    void startProgress();
    void stopProgress();
    void setProgressValue(double value);
    double progressValue() const;

    // Shows the texts of the information section.
    void showInfoTexts(const VLPreferencesInfoTexts &texts);

    void showHelp();
    void debugAction();
    // No menu item is enabled through this window.
    bool validateUserInterfaceItem() const { return false; }

    // Where the help document is; empty when it is missing.
    static QString helpDocumentPath();

    VLSyncWindow *window() const { return m_window.get(); }
    Ui::VelmoraSyncPreferencesWindowController *ui() const { return m_ui.get(); }
    VLFandeckTableModel *fandeckModel() const { return m_fandeckModel; }
    QDialog *debugWindow() const { return m_debugWindow; }
    QPlainTextEdit *debugTextView() const { return m_debugTextView; }

signals:
    // The standard help was shown because the help document is missing.
    void standardHelpShown();

private:
    void setUpFandeckTable();

    std::unique_ptr<VLSyncWindow> m_window;
    std::unique_ptr<Ui::VelmoraSyncPreferencesWindowController> m_ui;
    VLFandeckTableModel *m_fandeckModel;
    QPointer<QDialog> m_debugWindow;
    QPointer<QPlainTextEdit> m_debugTextView;
    int m_pressedColumn = -1;
};
