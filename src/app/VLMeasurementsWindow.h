#pragma once

#include "VLCapture.h"

#include <QSet>
#include <QString>
#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;
class QTabWidget;
class QTableView;
class VLAudioNotePlayer;
class VLCaptureFilterModel;
class VLCaptureTableModel;
class VLSyncHistoryTableModel;

// The Measurements window: every capture of the measurement library as a swatch with its colour
// number, name, fandeck, date and tag; a filter field; sorting by any column (date, newest first,
// to begin with); the audio note played; the selection copied or dragged out as text and colour,
// or exported to a file in one of the export formats. A second tab lists the last syncs.
class VLMeasurementsWindow : public QWidget
{
    Q_OBJECT
public:
    explicit VLMeasurementsWindow(QString libraryPath, QWidget *parent = nullptr);
    ~VLMeasurementsWindow() override;

    // Reads the library again, keeping the selection, the filter and the sort; the window does so
    // each time it is shown, and while it is shown after every write to its library in this process.
    void reload();
    void showWindow();

    // The captures selected, in the table's order.
    QList<const VLCapture *> selectedCaptures() const;
    void copySelection();
    void playSelectedNote();
    void exportSelected();
    // Writes the selected captures to the path, in the format its extension names.
    bool exportSelectedTo(const QString &path, QString *problem);

    QLineEdit *filterField() const { return m_filter; }
    QTableView *table() const { return m_table; }
    VLCaptureTableModel *model() const { return m_model; }
    VLCaptureFilterModel *filterModel() const { return m_proxy; }
    VLAudioNotePlayer *player() const { return m_player; }
    QLabel *countLabel() const { return m_count; }
    QTabWidget *tabs() const { return m_tabs; }
    QTableView *historyTable() const { return m_historyTable; }
    VLSyncHistoryTableModel *historyModel() const { return m_historyModel; }

    // The syncs the History tab lists, at most.
    static constexpr int kHistoryRows = 200;

private:
    void updateControls();
    void libraryWritten(const QString &path);
    void reselect(const QSet<qint64> &ids, qint64 currentID);

    QString m_libraryPath;
    VLCaptureTableModel *m_model;
    VLCaptureFilterModel *m_proxy;
    QLineEdit *m_filter;
    QTableView *m_table;
    QLabel *m_count;
    QPushButton *m_play;
    QPushButton *m_copy;
    QPushButton *m_export;
    VLAudioNotePlayer *m_player;
    QTabWidget *m_tabs;
    VLSyncHistoryTableModel *m_historyModel;
    QTableView *m_historyTable;
    bool m_reloadQueued = false;
};
