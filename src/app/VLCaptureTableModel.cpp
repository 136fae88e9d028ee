#include "VLCaptureTableModel.h"

#include <QColor>
#include <QFont>
#include <QLocale>
#include <QMimeData>

#include <algorithm>

void VLCaptureTableModel::setCaptures(VLCaptureList captures)
{
    beginResetModel();
    m_captures = std::move(captures);
    endResetModel();
}

int VLCaptureTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_captures.size());
}

int VLCaptureTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant VLCaptureTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_captures.size())
        return {};
    const VLCapture &capture = m_captures.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case NumberColumn: return capture.colorNumber;
        case NameColumn: return capture.colorName;
        case FandeckColumn: return capture.fandeck;
        case DateColumn: return QLocale().toString(capture.capturedAt.toLocalTime(), QLocale::ShortFormat);
        case TagColumn: return capture.tag;
        default: return {};
        }
    case SortRole:
        switch (index.column()) {
        case DateColumn: return capture.capturedAt.toMSecsSinceEpoch();
        case NameColumn: return capture.colorName.toLower();
        case SwatchColumn: return capture.L;
        default: return data(index, Qt::DisplayRole).toString().toLower();
        }
    case SwatchColorRole:
        return QColor(capture.red, capture.green, capture.blue);
    case Qt::AccessibleTextRole:
        if (index.column() == SwatchColumn)
            return tr("Colour %1").arg(capture.hexColor());
        return data(index, Qt::DisplayRole);
    case Qt::ToolTipRole:
        return capture.onDevice ? QStringLiteral("%1\n%2").arg(capture.displayName(), capture.clipboardText().section(QLatin1Char('\t'), 1))
                                : tr("No longer on the device");
    case Qt::FontRole:
        if (!capture.onDevice) {
            QFont font;
            font.setItalic(true);
            return font;
        }
        return {};
    case CaptureIndexRole:
        return index.row();
    default:
        return {};
    }
}

QVariant VLCaptureTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case SwatchColumn: return tr("Colour");
    case NumberColumn: return tr("Number");
    case NameColumn: return tr("Name");
    case FandeckColumn: return tr("Fandeck");
    case DateColumn: return tr("Captured");
    case TagColumn: return tr("Tag");
    default: return {};
    }
}

Qt::ItemFlags VLCaptureTableModel::flags(const QModelIndex &index) const
{
    return QAbstractTableModel::flags(index) | (index.isValid() ? Qt::ItemIsDragEnabled : Qt::NoItemFlags);
}

QStringList VLCaptureTableModel::mimeTypes() const
{
    return {QStringLiteral("text/plain"), QStringLiteral("application/x-color")};
}

QMimeData *VLCaptureTableModel::mimeData(const QModelIndexList &indexes) const
{
    QList<int> rows;
    for (const QModelIndex &index : indexes) {
        if (index.isValid() && !rows.contains(index.row()))
            rows.append(index.row());
    }
    if (rows.isEmpty())
        return nullptr;
    std::sort(rows.begin(), rows.end());
    QList<const VLCapture *> captures;
    for (const int row : std::as_const(rows))
        captures.append(&m_captures.at(row));
    auto *mime = new QMimeData;
    mime->setText(vlCapturesClipboardText(captures));
    // One colour only: a program that takes a dropped colour takes one.
    const VLCapture &first = *captures.first();
    mime->setColorData(QColor(first.red, first.green, first.blue));
    return mime;
}

void VLCaptureFilterModel::setSearch(const QString &text)
{
    m_filter.search = text.trimmed();
    invalidateRowsFilter();
}

bool VLCaptureFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &) const
{
    if (m_filter.isEmpty())
        return true;
    const auto *captures = static_cast<const VLCaptureTableModel *>(sourceModel());
    return m_filter.matches(captures->captureAt(sourceRow));
}

QString vlCapturesClipboardText(const QList<const VLCapture *> &captures)
{
    QStringList lines;
    for (const VLCapture *capture : captures)
        lines << capture->clipboardText();
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
