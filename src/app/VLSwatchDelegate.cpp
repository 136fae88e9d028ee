#include "VLSwatchDelegate.h"

#include <QApplication>
#include <QPainter>

VLSwatchDelegate::VLSwatchDelegate(int swatchRole, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_swatchRole(swatchRole)
{
}

void VLSwatchDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem frame = option;
    initStyleOption(&frame, index);
    frame.text.clear();
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &frame, painter, widget);

    const QColor color = index.data(m_swatchRole).value<QColor>();
    if (!color.isValid())
        return;
    const int inset = qMax(2, option.rect.height() / 8);
    const QRectF swatch = QRectF(option.rect.adjusted(inset, inset, -inset, -inset));
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    // A hairline darker than the colour keeps white and pale swatches apart from the background.
    painter->setPen(QPen(color.darker(140), 1));
    painter->setBrush(color);
    painter->drawRoundedRect(swatch, 3, 3);
    painter->restore();
}

QSize VLSwatchDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QSize text = QStyledItemDelegate::sizeHint(option, index);
    return {qMax(text.width(), 4 * option.fontMetrics.height()), text.height()};
}
