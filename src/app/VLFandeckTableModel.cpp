#include "VLFandeckTableModel.h"

#include "VLFandeckListing.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

VLFandeckTableModel::VLFandeckTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void VLFandeckTableModel::setChoices(VLFandeckChoices *choices)
{
    m_choices = choices;
    reload();
}

void VLFandeckTableModel::setFandecks(const VLSyncFileList &fandecks)
{
    beginResetModel();
    m_fandecks = sortedByDescription(fandecks);
    endResetModel();
}

void VLFandeckTableModel::reload()
{
    beginResetModel();
    endResetModel();
}

QString VLFandeckTableModel::columnIdentifier(int column)
{
    return column == CheckColumn ? QStringLiteral("check") : QStringLiteral("name");
}

VLSyncFileList VLFandeckTableModel::sortedByDescription(const VLSyncFileList &fandecks)
{
    return vlFandecksSortedByDescription(fandecks);
}

QString VLFandeckTableModel::nameForFandeck(const VLSyncFileInfoPtr &fandeck)
{
    return vlFandeckDisplayName(fandeck);
}

bool VLFandeckTableModel::choicesAreEditable() const
{
    return m_choices && m_choices->syncSelectedFandecksOnly() && !m_choices->isInSync();
}

int VLFandeckTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_fandecks.size());
}

int VLFandeckTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant VLFandeckTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_fandecks.size())
        return {};
    const VLSyncFileInfoPtr &fandeck = m_fandecks.at(index.row());
    if (index.column() == CheckColumn) {
        if (role != Qt::CheckStateRole)
            return {};
        // Without the selection every fandeck is synced, and the (disabled) boxes say so.
        const bool wanted = m_choices
            && (!m_choices->syncSelectedFandecksOnly() || m_choices->userWantsSyncForFandeckWithID(fandeck->fileID()));
        return wanted ? Qt::Checked : Qt::Unchecked;
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return nameForFandeck(fandeck);
    case Qt::ForegroundRole:
        // The desktop's own text colours: fixed black and grey vanish on a dark theme.
        return QGuiApplication::palette().color(choicesAreEditable() ? QPalette::Active : QPalette::Disabled,
                                                QPalette::Text);
    case Qt::TextAlignmentRole:
        return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
    default:
        return {};
    }
}

bool VLFandeckTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.row() >= m_fandecks.size() || index.column() != CheckColumn
        || role != Qt::CheckStateRole || !m_choices)
        return false;
    const bool wanted = value.toInt() == Qt::Checked;
    m_choices->setUserWantsSyncForFandeckWithID(wanted, m_fandecks.at(index.row())->fileID());
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

Qt::ItemFlags VLFandeckTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (index.column() == CheckColumn) {
        // A disabled box still shows its tick.
        Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsUserCheckable;
        if (choicesAreEditable())
            flags |= Qt::ItemIsEnabled;
        return flags;
    }
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
}
