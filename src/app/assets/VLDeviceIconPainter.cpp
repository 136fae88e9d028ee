#include "VLDeviceIconPainter.h"

#include <QColor>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRectF>

#include <algorithm>
#include <array>

namespace VLDeviceIconPainter {

namespace {

// Saturated enough to read at tray size on grey, black and white panels.
const std::array<QColor, kAnimationFrameCount> kWheelColours = {
    QColor(0xe5, 0x39, 0x35), // red
    QColor(0xfd, 0xd0, 0x35), // yellow
    QColor(0x43, 0xa0, 0x47), // green
    QColor(0x1e, 0x88, 0xe5), // blue
    QColor(0x9c, 0x27, 0xb0), // magenta
};

// Pixels per unit: the drawing is laid out on a square of side 1.
struct Frame
{
    QRectF bounds;
    double side;
    QPointF at(double x, double y) const { return {bounds.left() + x * side, bounds.top() + y * side}; }
    QRectF rect(double x, double y, double w, double h) const
    {
        return {bounds.left() + x * side, bounds.top() + y * side, w * side, h * side};
    }
    double len(double units) const { return units * side; }
};

void paintBody(QPainter &painter, const Frame &f, bool small)
{
    // Small icons get a wider body so the wheel keeps a few pixels of radius.
    const QRectF body = small ? f.rect(0.17, 0.03, 0.66, 0.94) : f.rect(0.21, 0.04, 0.58, 0.92);
    const double outline = std::max(1.0, f.len(0.045));
    const QRectF inner = body.adjusted(outline / 2, outline / 2, -outline / 2, -outline / 2);
    const double radius = f.len(small ? 0.14 : 0.12);

    QLinearGradient fill(body.topLeft(), body.bottomLeft());
    fill.setColorAt(0.0, QColor(0x4a, 0x51, 0x5c));
    fill.setColorAt(1.0, QColor(0x1f, 0x23, 0x29));
    painter.setPen(QPen(QColor(0xe8, 0xec, 0xf1), outline));
    painter.setBrush(fill);
    painter.drawRoundedRect(inner, radius, radius);
}

void paintScreen(QPainter &painter, const Frame &f, bool small)
{
    const QRectF screen = small ? f.rect(0.29, 0.13, 0.42, 0.30) : f.rect(0.31, 0.13, 0.38, 0.29);
    const double radius = f.len(0.03);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xe6, 0xf0, 0xfa));
    painter.drawRoundedRect(screen, radius, radius);

    // A title bar, and below it a few lines of text where there is room for them.
    QRectF bar = screen;
    bar.setHeight(screen.height() * (small ? 0.42 : 0.28));
    painter.setBrush(QColor(0x3d, 0x8b, 0xe8));
    painter.drawRoundedRect(bar, radius, radius);
    if (small)
        return;
    painter.setBrush(QColor(0x8a, 0x96, 0xa6));
    const double lineHeight = screen.height() * 0.10;
    for (int i = 0; i < 3; ++i) {
        const double width = screen.width() * (i == 2 ? 0.45 : 0.72);
        const double top = bar.bottom() + screen.height() * (0.12 + 0.19 * i);
        painter.drawRect(QRectF(screen.left() + screen.width() * 0.12, top, width, lineHeight));
    }
}

void paintWheel(QPainter &painter, const Frame &f, bool small, int wheelStep)
{
    const QPointF centre = f.at(0.5, small ? 0.70 : 0.69);
    const double radius = f.len(small ? 0.21 : 0.17);
    const QRectF disc(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    const int step = ((wheelStep % kAnimationFrameCount) + kAnimationFrameCount) % kAnimationFrameCount;

    painter.setPen(Qt::NoPen);
    constexpr int sixteenthsPerSegment = 360 * 16 / kAnimationFrameCount;
    for (int i = 0; i < kAnimationFrameCount; ++i) {
        painter.setBrush(kWheelColours[static_cast<size_t>(i)]);
        // Start at twelve o'clock and go clockwise; each step moves every colour one place on.
        const int start = 90 * 16 - (i + step) * sixteenthsPerSegment;
        painter.drawPie(disc, start, -sixteenthsPerSegment);
    }
    // The aperture in the middle of the wheel.
    const double hole = radius * 0.38;
    painter.setBrush(QColor(0x15, 0x18, 0x1c));
    painter.drawEllipse(centre, hole, hole);
}

} // namespace

void paintDevice(QPainter &painter, const QRectF &bounds, int wheelStep)
{
    const double side = std::min(bounds.width(), bounds.height());
    const Frame f{QRectF(bounds.center().x() - side / 2, bounds.center().y() - side / 2, side, side), side};
    const bool small = side <= 40;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    paintBody(painter, f, small);
    paintScreen(painter, f, small);
    paintWheel(painter, f, small, wheelStep);
    painter.restore();
}

} // namespace VLDeviceIconPainter
