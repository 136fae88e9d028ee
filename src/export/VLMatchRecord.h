#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// One exported match as every export format sees it: the fandeck colour it resolved to, the CIELAB
// value the CxF3 export carries (D65, 10 degree observer), its sRGB for display, and what the user
// recorded with the capture.
struct VLMatchRecord
{
    QString colorName;
    QString colorNumber;
    QString fandeck; // the fandeck's name, else its edition, else the device file id
    double L = 0;
    double a = 0;
    double b = 0;
    int red = 0; // sRGB, 0-255
    int green = 0;
    int blue = 0;
    QString textTag;
    QDateTime captureDate; // UTC
    QString audioNotePath; // relative to a CxF3 export ("Audio/<name>"), the note's name in the other formats; empty without a note
    // The capture as the device names it: the fandeck's device file id and the colour id it matched.
    QString deviceFileID;
    QString colorID;

    // The fandeck colour's reflectance (1.0 = 100 %) from spectrumStart nm in spectrumIncrement
    // steps; empty when the fandeck holds only CIELAB for it.
    QList<double> spectrum;
    int spectrumStart = 0;
    int spectrumIncrement = 0;

    // "VX 013 Nordic Garden": what palettes show as the swatch's name.
    QString displayName() const;
};

using VLMatchRecordList = QList<VLMatchRecord>;

// A colour's number and name as one label, the name left out when it only repeats the number.
QString vlColourDisplayName(const QString &number, const QString &name);

// The spectral grid every record shares (start, increment, band count), or none when a record has
// no spectrum or the records disagree: formats with one set of columns carry spectra only then.
struct VLSpectralGrid
{
    int start = 0;
    int increment = 0;
    qsizetype bands = 0;
};
std::optional<VLSpectralGrid> vlCommonSpectralGrid(const VLMatchRecordList &records);

// Capture dates as the text formats write them: ISO 8601 in UTC with milliseconds.
QString vlMatchDateText(const QDateTime &date);
