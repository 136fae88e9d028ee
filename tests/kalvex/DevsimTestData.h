#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <array>

struct FandeckColor
{
    QString number;
    std::array<double, 3> lab;
};

// A CxF3 fandeck written by the colour framework, colours given by CIELAB values.
void writeFandeck(const QString &path, const QString &name, const QList<FandeckColor> &colors);
// A small valid Windows bitmap and a small valid WAV file.
QByteArray sampleBitmap(int width = 4, int height = 2);
QByteArray sampleWave();
