#pragma once

#include "VLCapture.h"

#include "VLCaptureFilter.h"

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>

// The captures of the measurement library as the Measurements window's table shows them: a swatch,
// the colour's number and name, its fandeck, the capture date and the tag. Rows drag out as text
// and as a colour (application/x-color).
class VLCaptureTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { SwatchColumn, NumberColumn, NameColumn, FandeckColumn, DateColumn, TagColumn, ColumnCount };
    static constexpr int CaptureIndexRole = Qt::UserRole + 1; // the row in captures()
    static constexpr int SortRole = Qt::UserRole + 2;
    static constexpr int SwatchColorRole = Qt::UserRole + 3;

    using QAbstractTableModel::QAbstractTableModel;

    void setCaptures(VLCaptureList captures);
    const VLCaptureList &captures() const { return m_captures; }
    const VLCapture &captureAt(int row) const { return m_captures.at(row); }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;

private:
    VLCaptureList m_captures;
};

// The filter field's search over the table, and sorting by date or by name.
class VLCaptureFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;
    void setSearch(const QString &text);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    VLCaptureFilter m_filter;
};

// The text a copy or a drag of captures carries: one line per capture, name, hex and CIELAB.
QString vlCapturesClipboardText(const QList<const VLCapture *> &captures);
