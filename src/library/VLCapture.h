#pragma once

#include "VLMatchRecord.h"

#include <QDateTime>
#include <QString>

// One capture as the library keeps it: the device's capture, the fandeck colour it matched and
// what the user recorded with it. A capture is one row however many syncs read it.
struct VLCapture
{
    qint64 id = 0;
    QString deviceSerialNumber;
    QDateTime capturedAt; // UTC
    QString deviceFileID; // the fandeck as the device names it
    QString colorID;      // the colour as the device names it
    QString colorName;
    QString colorNumber;
    QString fandeck;
    double L = 0, a = 0, b = 0;
    int red = 0, green = 0, blue = 0; // sRGB for display
    QString tag;
    QString audioNotePath; // absolute, empty without a note kept in the library
    bool onDevice = true;  // false once a read of its device no longer found it
    QDateTime firstSeen;   // the sync or export that first and last read it
    QDateTime lastSeen;

    // "VX 013 Nordic Garden".
    QString displayName() const;
    // "#1a2b3c".
    QString hexColor() const;
    // name, hex and CIELAB on one line, tab-separated, as a copy to other programs carries it.
    QString clipboardText() const;
};

using VLCaptureList = QList<VLCapture>;
