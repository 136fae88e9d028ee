#pragma once

#include "VLSyncFileInfo.h"
#include "VLSyncManager.h"

#include <QAbstractTableModel>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>

#include <memory>

class QTableView;
class VLSyncWindow;
class VLDebugWindowController;
namespace Ui {
class DebugWindowController;
}

// One of the debug window's two tables, answering from the controller.
class VLDebugTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum class Table { Source, Data };
    VLDebugTableModel(VLDebugWindowController *controller, Table table);

    void reload();
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    VLDebugWindowController *m_controller;
    Table m_table;
};

// A maintenance browser of the sync inventory: the service's, the device's and the computer's
// files in three groups on the left, the selected entry's keys and values on the right. Loaded
// from the interface definition "DebugWindowController".
class VLDebugWindowController : public QObject
{
    Q_OBJECT
public:
    using Table = VLDebugTableModel::Table;

    explicit VLDebugWindowController(QObject *parent = nullptr);
    ~VLDebugWindowController() override;

    // The manager whose inventory is shown; the rows are rebuilt on every call and whenever the
    // inventory's fandecks change.
    void setSyncManager(VLSyncManager *syncManager);
    VLSyncManager *syncManager() const { return m_syncManager; }

    void showWindow();
    void windowDidLoad();
    void filesChanged();
    void recreateBasics();

    // Data source of both tables.
    int numberOfRowsInTableView(Table table) const;
    QVariant objectValueForTableColumnRow(Table table, const QString &columnIdentifier, int row) const;
    bool isGroupRow(Table table, int row) const;
    // The selection a table takes when offered `proposed`: the source table refuses a proposal
    // that starts on a group line.
    bool acceptsProposedSelection(Table table, int firstProposedRow) const;
    void tableViewSelectionDidChange(Table table, int selectedRow);

    static QString columnIdentifier(Table table, int column);

    VLSyncWindow *window() const { return m_window.get(); }
    QTableView *sourceTable() const;
    QTableView *dataTable() const;
    const VLSyncFileList &webServiceFiles() const { return m_webServiceFiles; }
    const VLSyncFileList &deviceFiles() const { return m_deviceFiles; }
    const VLSyncFileList &localFiles() const { return m_localFiles; }
    const QList<VLSyncFileInfoPtr> &fileInfoRows() const { return m_fileInfoRows; }
    const QStringList &sourceTableRowTitles() const { return m_sourceTableRowTitles; }
    VLSyncFileInfoPtr selectedInfo() const { return m_selectedInfo; }
    const QStringList &selectedKeys() const { return m_selectedKeys; }
    const QVariantList &selectedValues() const { return m_selectedValues; }

private:
    void addGroup(const QString &title, const VLSyncFileList &files);
    void reloadTables();

    std::unique_ptr<VLSyncWindow> m_window;
    std::unique_ptr<Ui::DebugWindowController> m_ui;
    VLDebugTableModel *m_sourceModel;
    VLDebugTableModel *m_dataModel;

    VLSyncFileList m_webServiceFiles;
    VLSyncFileList m_deviceFiles;
    VLSyncFileList m_localFiles;
    // A null entry marks a group line.
    QList<VLSyncFileInfoPtr> m_fileInfoRows;
    QStringList m_sourceTableRowTitles;
    VLSyncFileInfoPtr m_selectedInfo;
    QStringList m_selectedKeys;
    QVariantList m_selectedValues;
    QPointer<VLSyncManager> m_syncManager;
    QMetaObject::Connection m_fandecksObserver;
};
