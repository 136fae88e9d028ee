#include "VLSyncHistoryTableModel.h"

#include <QLocale>

namespace {

QString errorsText(const VLSyncHistoryEntry &entry)
{
    QStringList lines;
    for (const VLSyncHistoryEntry::Error &error : entry.errors)
        lines << VLSyncHistoryTableModel::tr("Error code %1, %2").arg(error.code).arg(error.description);
    return lines.join(QLatin1Char('\n'));
}

} // namespace

void VLSyncHistoryTableModel::setHistory(VLSyncHistory history)
{
    beginResetModel();
    m_history = std::move(history);
    endResetModel();
}

int VLSyncHistoryTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_history.size());
}

int VLSyncHistoryTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString VLSyncHistoryTableModel::endingText(const QString &ending)
{
    if (ending == QLatin1String("completed"))
        return tr("Completed");
    if (ending == QLatin1String("failed"))
        return tr("Failed: offline");
    if (ending == QLatin1String("cancelled"))
        return tr("Cancelled");
    if (ending == QLatin1String("stalled"))
        return tr("Cancelled: no progress");
    if (ending == QLatin1String("deviceGone"))
        return tr("Cancelled: device unplugged");
    if (ending == QLatin1String("refused"))
        return tr("Refused: device in use");
    return ending;
}

QVariant VLSyncHistoryTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_history.size())
        return {};
    const VLSyncHistoryEntry &entry = m_history.at(index.row());
    if (role == Qt::ToolTipRole && index.column() == ErrorsColumn)
        return errorsText(entry);
    if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case StartedColumn:
        return QLocale().toString(entry.startedAt.toLocalTime(), QLocale::ShortFormat);
    case DeviceColumn:
        return entry.deviceSerialNumber;
    case EndingColumn:
        return endingText(entry.ending);
    case InstalledColumn:
        return VLSyncHistoryEntry::filesText(entry.installed);
    case FandecksColumn:
        return VLSyncHistoryEntry::filesText(entry.fandecksEnabled);
    case ErrorsColumn:
        // The count, then the first error's text: the tooltip has them all.
        return entry.errors.isEmpty() ? tr("None")
                                      : QStringLiteral("%1: %2").arg(entry.errors.size()).arg(entry.errors.first().description);
    default:
        return {};
    }
}

QVariant VLSyncHistoryTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case StartedColumn: return tr("Started");
    case DeviceColumn: return tr("Device");
    case EndingColumn: return tr("Ended");
    case InstalledColumn: return tr("Installed");
    case FandecksColumn: return tr("Fandecks Enabled");
    case ErrorsColumn: return tr("Errors");
    default: return {};
    }
}
