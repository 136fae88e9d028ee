#pragma once

#include "VLCapture.h"

#include <QDateTime>
#include <QString>

// What the Measurements window's filter field and "tintera measurements" ask of a capture.
struct VLCaptureFilter
{
    QString search;   // in the tag, name, number or fandeck, ignoring case; empty: any
    QDateTime since;  // captured at or after; invalid: any
    QString fandeck;  // the fandeck's name or device file id, ignoring case; empty: any

    bool isEmpty() const { return search.isEmpty() && !since.isValid() && fandeck.isEmpty(); }
    bool matches(const VLCapture &capture) const;
};

// "2026-11-22" (local midnight) or an ISO 8601 date and time, local unless it names a zone or Z;
// invalid for other text.
QDateTime vlCaptureFilterDate(const QString &text);
