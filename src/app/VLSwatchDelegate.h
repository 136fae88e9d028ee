#pragma once

#include <QStyledItemDelegate>

// Paints a cell as a colour swatch (the model's colour under swatchRole) inside the cell's usual
// selection and focus frame.
class VLSwatchDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    VLSwatchDelegate(int swatchRole, QObject *parent = nullptr);
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    int m_swatchRole;
};
