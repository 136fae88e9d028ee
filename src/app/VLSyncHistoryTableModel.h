#pragma once

#include "VLSyncHistory.h"

#include <QAbstractTableModel>

// The sync history as the Measurements window's History tab shows it, newest first: when each sync
// started, the device, how it ended, what it installed and enabled (with versions) and its errors.
class VLSyncHistoryTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { StartedColumn, DeviceColumn, EndingColumn, InstalledColumn, FandecksColumn, ErrorsColumn, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    void setHistory(VLSyncHistory history);
    const VLSyncHistory &history() const { return m_history; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // "Completed", "Cancelled: device unplugged", ...: how a sync ended, for people.
    static QString endingText(const QString &ending);

private:
    VLSyncHistory m_history;
};
