#pragma once

#include "DevsimMatcher.h"
#include "DevsimStore.h"
#include "VLError.h"

#include <QList>
#include <QString>

#include <optional>

// A colour captured on the emulated device: CIELAB values or a reflectance spectrum (1.0 = 100 %),
// with an optional text tag and audio note.
struct DevsimCaptureRequest
{
    std::optional<DevsimLab> lab;
    int spectrumStart = 0;
    int spectrumIncrement = 0;
    QList<double> spectrum;
    QString textTag;
    QString audioFile;
    std::optional<double> dateSince1970; // the device clock when absent
};

// Matches the colour against the enabled fandecks and stores the measurement record; the record
// is returned. A colour that matches nothing is stored without "ColorId" and "DeviceFileID".
QVariantMap devsimCapture(const DevsimStore &store, const DevsimCaptureRequest &request, VLError *error);
// The same for many captures at once, stored in one go; none when one of them fails.
QList<QVariantMap> devsimCaptureMany(const DevsimStore &store, const QList<DevsimCaptureRequest> &requests, VLError *error);
