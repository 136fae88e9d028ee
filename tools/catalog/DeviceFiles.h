#pragma once

#include <QByteArray>
#include <QString>

// Payloads of the device files in the demo catalog. Each is a real file of its kind (BMP, WAV,
// XML) or a blob with a readable header, and depends only on its arguments.

// Firmware or bootloader image: "VLMFW" / "VLMBL" header, version, length, then pseudo-random code.
QByteArray makeFirmwareImage(const QByteArray &magic, const QString &version, int byteLength);

// 24-bit uncompressed Windows bitmap, `width` x `height`, drawn from `theme`.
QByteArray makeBitmap(int width, int height, int theme);

// 16-bit mono PCM WAV: a short tune of the given notes (Hz), each `noteMilliseconds` long.
QByteArray makeWave(const QList<double> &notes, int noteMilliseconds);

// Binary matrix: "VLMINVMX", rows and columns (little-endian 32-bit), then float32 values.
QByteArray makeInversionMatrix(int rows, int columns, quint64 seed);

struct DeviceSettingsValues {
    QString matchPerformanceTolerance;
    QString priorityFandeckSKU;
    QString priorityFandeckOffset;
    QString weightL;
    QString weightC;
    QString weightH;
};

// The device-settings XML: MatchPerformanceTolerance, PriorityFandeck/ID+Offset, DEWeightFactor/L,C,H.
QByteArray makeDeviceSettings(const DeviceSettingsValues &values);
