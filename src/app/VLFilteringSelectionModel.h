#pragma once

#include <QItemSelectionModel>

#include <functional>

// A selection model that can refuse a proposed selection, leaving the current one in place
// (Qt has no per-proposal hook of its own). The filter sees the proposal's first index: the
// topmost, leftmost index it would select.
class VLFilteringSelectionModel : public QItemSelectionModel
{
    Q_OBJECT
public:
    using Filter = std::function<bool(const QModelIndex &firstProposedIndex)>;

    VLFilteringSelectionModel(QAbstractItemModel *model, Filter accepts, QObject *parent = nullptr);

    void select(const QModelIndex &index, QItemSelectionModel::SelectionFlags command) override;
    void select(const QItemSelection &selection, QItemSelectionModel::SelectionFlags command) override;

    static QModelIndex firstIndex(const QItemSelection &selection);

private:
    Filter m_accepts;
};
