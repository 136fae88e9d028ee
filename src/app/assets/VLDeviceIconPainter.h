#pragma once

class QPainter;
class QRectF;

// The TINTERA device as the application draws it: a dark handheld body with a light outline (so it
// stands out on light and dark panels alike), a screen, and the five-colour capture wheel. Small
// sizes drop the screen's detail so the shape stays crisp in a tray slot.
namespace VLDeviceIconPainter {

inline constexpr int kAnimationFrameCount = 5;

// wheelStep turns the colour wheel by one fifth of a turn per step; 0 is the resting picture.
void paintDevice(QPainter &painter, const QRectF &bounds, int wheelStep);

} // namespace VLDeviceIconPainter
