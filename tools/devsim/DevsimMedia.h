#pragma once

#include <QByteArray>

// Shape checks of the media files a device accepts.
// A Windows bitmap: "BM", a file size that matches, a known information-header size, a non-empty image.
bool devsimIsBitmap(const QByteArray &bytes);
// A RIFF/WAVE audio file (its first twelve bytes suffice).
bool devsimIsWave(const QByteArray &start);
