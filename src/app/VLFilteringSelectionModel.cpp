#include "VLFilteringSelectionModel.h"

VLFilteringSelectionModel::VLFilteringSelectionModel(QAbstractItemModel *model, Filter accepts, QObject *parent)
    : QItemSelectionModel(model, parent)
    , m_accepts(std::move(accepts))
{
}

void VLFilteringSelectionModel::select(const QModelIndex &index, QItemSelectionModel::SelectionFlags command)
{
    select(QItemSelection(index, index), command);
}

void VLFilteringSelectionModel::select(const QItemSelection &selection, QItemSelectionModel::SelectionFlags command)
{
    if ((command & QItemSelectionModel::Select) && m_accepts) {
        const QModelIndex first = firstIndex(selection);
        if (first.isValid() && !m_accepts(first))
            return;
    }
    QItemSelectionModel::select(selection, command);
}

QModelIndex VLFilteringSelectionModel::firstIndex(const QItemSelection &selection)
{
    QModelIndex first;
    for (const QItemSelectionRange &range : selection) {
        const QModelIndex topLeft = range.topLeft();
        if (!first.isValid() || topLeft.row() < first.row() || (topLeft.row() == first.row() && topLeft.column() < first.column()))
            first = topLeft;
    }
    return first;
}
