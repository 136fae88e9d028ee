#include "VLDebugWindowController.h"

#include "VLDescription.h"
#include "VLFilteringSelectionModel.h"
#include "VLNotificationCenter.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"
#include "VLSyncWindow.h"
#include "ui_DebugWindowController.h"

#include <QCoreApplication>
#include <QFont>
#include <QHeaderView>
#include <QPalette>

VLDebugTableModel::VLDebugTableModel(VLDebugWindowController *controller, Table table)
    : QAbstractTableModel(controller)
    , m_controller(controller)
    , m_table(table)
{
}

void VLDebugTableModel::reload()
{
    beginResetModel();
    endResetModel();
}

int VLDebugTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_controller->numberOfRowsInTableView(m_table);
}

int VLDebugTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : (m_table == Table::Source ? 1 : 2);
}

QVariant VLDebugTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const bool group = m_controller->isGroupRow(m_table, index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        const QVariant value = m_controller->objectValueForTableColumnRow(
            m_table, VLDebugWindowController::columnIdentifier(m_table, index.column()), index.row());
        return value.typeId() == QMetaType::QString ? value : QVariant(vlDescribe(value));
    }
    case Qt::FontRole:
        if (group) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    case Qt::BackgroundRole:
        return group ? QVariant(QPalette().color(QPalette::AlternateBase)) : QVariant();
    default:
        return {};
    }
}

QVariant VLDebugTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    if (m_table == Table::Source)
        return QCoreApplication::translate("VLDebugWindowController", "Files");
    return section == 0 ? QCoreApplication::translate("VLDebugWindowController", "Key")
                        : QCoreApplication::translate("VLDebugWindowController", "Value");
}

VLDebugWindowController::VLDebugWindowController(QObject *parent)
    : QObject(parent)
    , m_window(std::make_unique<VLSyncWindow>())
    , m_ui(std::make_unique<Ui::DebugWindowController>())
    , m_sourceModel(new VLDebugTableModel(this, Table::Source))
    , m_dataModel(new VLDebugTableModel(this, Table::Data))
{
    m_ui->setupUi(m_window.get());
    m_ui->sourceTable->setModel(m_sourceModel);
    m_ui->dataTable->setModel(m_dataModel);
    auto *sourceSelection = new VLFilteringSelectionModel(
        m_sourceModel, [this](const QModelIndex &first) { return acceptsProposedSelection(Table::Source, first.row()); },
        m_sourceModel);
    m_ui->sourceTable->setSelectionModel(sourceSelection);
    connect(sourceSelection, &QItemSelectionModel::selectionChanged, this, [this, sourceSelection] {
        const QModelIndexList rows = sourceSelection->selectedRows();
        tableViewSelectionDidChange(Table::Source, rows.isEmpty() ? -1 : rows.first().row());
    });
    m_ui->dataTable->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    windowDidLoad();
}

VLDebugWindowController::~VLDebugWindowController() = default;

void VLDebugWindowController::setSyncManager(VLSyncManager *syncManager)
{
    if (m_syncManager != syncManager)
        m_syncManager = syncManager;
    filesChanged();
}

void VLDebugWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void VLDebugWindowController::windowDidLoad()
{
    m_fandecksObserver = VLNotificationCenter::defaultCenter()->addObserver(
        VLSyncInfoFandecksDidChangeNotification, nullptr, this, [this](const VLNotification &) { filesChanged(); });
    recreateBasics();
    reloadTables();
}

void VLDebugWindowController::filesChanged()
{
    recreateBasics();
    reloadTables();
}

void VLDebugWindowController::recreateBasics()
{
    const VLSyncInfo *info = m_syncManager ? m_syncManager->syncInfo() : nullptr;
    m_webServiceFiles = info ? info->webServiceFiles() : VLSyncFileList();
    m_deviceFiles = info ? info->deviceFiles() : VLSyncFileList();
    m_localFiles = info ? info->localFiles() : VLSyncFileList();
    m_fileInfoRows.clear();
    m_sourceTableRowTitles.clear();
    addGroup(QCoreApplication::translate("VLDebugWindowController", "WebService Files"), m_webServiceFiles);
    addGroup(QCoreApplication::translate("VLDebugWindowController", "Device Files"), m_deviceFiles);
    addGroup(QCoreApplication::translate("VLDebugWindowController", "Local Files"), m_localFiles);
}

void VLDebugWindowController::addGroup(const QString &title, const VLSyncFileList &files)
{
    m_fileInfoRows.append(VLSyncFileInfoPtr());
    m_sourceTableRowTitles.append(title);
    for (const VLSyncFileInfoPtr &file : files) {
        m_fileInfoRows.append(file);
        m_sourceTableRowTitles.append(file ? file->fileDescription() : QString());
    }
}

void VLDebugWindowController::reloadTables()
{
    // A reset drops the view's selection; the selected entry's keys stay until the next choice.
    const QSignalBlocker blocker(m_ui->sourceTable->selectionModel());
    m_sourceModel->reload();
    m_dataModel->reload();
}

int VLDebugWindowController::numberOfRowsInTableView(Table table) const
{
    return int(table == Table::Source ? m_sourceTableRowTitles.size() : m_selectedKeys.size());
}

QVariant VLDebugWindowController::objectValueForTableColumnRow(Table table, const QString &columnIdentifier, int row) const
{
    if (row < 0)
        return {};
    if (table == Table::Source)
        return m_sourceTableRowTitles.value(row);
    if (columnIdentifier == QLatin1String("key"))
        return m_selectedKeys.value(row);
    return m_selectedValues.value(row);
}

bool VLDebugWindowController::isGroupRow(Table table, int row) const
{
    return table == Table::Source && row >= 0 && row < m_fileInfoRows.size() && m_fileInfoRows.at(row).isNull();
}

bool VLDebugWindowController::acceptsProposedSelection(Table table, int firstProposedRow) const
{
    return !isGroupRow(table, firstProposedRow);
}

void VLDebugWindowController::tableViewSelectionDidChange(Table table, int selectedRow)
{
    if (table != Table::Source)
        return;
    m_selectedInfo.clear();
    m_selectedKeys.clear();
    m_selectedValues.clear();
    if (selectedRow >= 0 && selectedRow < m_fileInfoRows.size() && m_fileInfoRows.at(selectedRow)) {
        m_selectedInfo = m_fileInfoRows.at(selectedRow);
        const QVariantMap &info = m_selectedInfo->info();
        m_selectedKeys = info.keys();
        m_selectedValues = info.values();
    }
    m_dataModel->reload();
}

QString VLDebugWindowController::columnIdentifier(Table table, int column)
{
    if (table == Table::Source)
        return QStringLiteral("title");
    return column == 0 ? QStringLiteral("key") : QStringLiteral("value");
}

QTableView *VLDebugWindowController::sourceTable() const
{
    return m_ui->sourceTable;
}

QTableView *VLDebugWindowController::dataTable() const
{
    return m_ui->dataTable;
}
