// CGATS.17 measurement text, written through Little CMS's IT8 functions, with ArgyllCMS's
// conventions where the standard leaves room: the colour name in SAMPLE_NAME, CIELAB in
// LAB_L/LAB_A/LAB_B, display sRGB in RGB_R/RGB_G/RGB_B (0-255), and the spectrum in per cent as
// SPEC_<nm> fields with SPECTRAL_BANDS, SPECTRAL_START_NM and SPECTRAL_END_NM. The spectrum is
// written only when every match has one on the same grid: a CGATS table has one set of columns.
#include "VLMatchRecordWriter.h"

#include <HBCgatsNames.h>

#include <lcms2.h>

#include <QCoreApplication>
#include <QDateTime>

#include <memory>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLCGATSWriter", text);
}

struct IT8Deleter
{
    void operator()(void *handle) const { cmsIT8Free(handle); }
};
using IT8Ptr = std::unique_ptr<void, IT8Deleter>;

// CGATS has no escapes: text goes between double quotes and holds no double quote and no line
// break. Little CMS quotes a value only when it holds a space, and its reader (2.14) misreads some
// bare words (a date such as 2026-01-02T03:04:05Z) and gives an empty "" the text read before it;
// so every text is quoted here, and empty text is written as one space.
QByteArray cgatsText(const QString &text)
{
    QString clean;
    clean.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('"'))
            clean += QLatin1Char('\'');
        else if (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            clean += QLatin1Char(' ');
        else
            clean += c;
    }
    if (clean.isEmpty())
        return " ";
    const QByteArray utf8 = clean.toUtf8();
    return utf8.contains(' ') ? utf8 : '"' + utf8 + '"';
}

QByteArray numberText(double value, int decimals)
{
    return QByteArray::number(value, 'f', decimals);
}

class CGATSWriter : public VLMatchRecordWriter
{
public:
    QByteArray dataForRecords(const VLMatchRecordList &records, VLError *error) const override
    {
        const auto fail = [error](const QString &text) {
            if (error)
                *error = VLError(VLMatchExportErrorDomain, 2, text);
            return QByteArray();
        };
        const IT8Ptr it8(cmsIT8Alloc(nullptr));
        if (!it8)
            return fail(tr("Out of memory for the CGATS table"));
        cmsHANDLE h = it8.get();
        cmsIT8SetSheetType(h, "CGATS.17");
        cmsIT8SetPropertyStr(h, "ORIGINATOR", "TINTERA Sync");
        cmsIT8SetPropertyStr(h, "DESCRIPTOR", "TINTERA Sync matches");
        cmsIT8SetPropertyStr(h, "CREATED", QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toUtf8().constData());
        cmsIT8SetPropertyMulti(h, HBCgatsWeightingFunction, "ILLUMINANT", "D65");
        cmsIT8SetPropertyMulti(h, HBCgatsWeightingFunction, "OBSERVER", "10 degree");
        cmsIT8SetPropertyStr(h, "MEASUREMENT_GEOMETRY", "45/0 annular");
        cmsIT8SetPropertyStr(h, "FILTER", "UV excluded (M2)");

        QList<QByteArray> fields = { HBCgatsSampleID, HBCgatsSampleName, HBCgatsColorNumber, HBCgatsFandeck,
            HBCgatsLabL, HBCgatsLabA, HBCgatsLabB, HBCgatsRGBR, HBCgatsRGBG, HBCgatsRGBB, HBCgatsTextTag,
            HBCgatsCaptureDate, HBCgatsAudioNote };
        const std::optional<VLSpectralGrid> grid = vlCommonSpectralGrid(records);
        if (grid) {
            cmsIT8SetPropertyDbl(h, HBCgatsSpectralBands, double(grid->bands));
            cmsIT8SetPropertyDbl(h, HBCgatsSpectralStart, double(grid->start));
            cmsIT8SetPropertyDbl(h, HBCgatsSpectralEnd, double(grid->start + (grid->bands - 1) * grid->increment));
            for (qsizetype band = 0; band < grid->bands; ++band)
                fields << QByteArray(HBCgatsSpectralPrefix) + QByteArray::number(grid->start + band * grid->increment);
        }

        cmsIT8SetPropertyDbl(h, "NUMBER_OF_FIELDS", double(fields.size()));
        for (qsizetype i = 0; i < fields.size(); ++i) {
            if (!cmsIT8SetDataFormat(h, int(i), fields[i].constData()))
                return fail(tr("Little CMS refused the CGATS field %1").arg(QString::fromLatin1(fields[i])));
        }
        cmsIT8SetPropertyDbl(h, "NUMBER_OF_SETS", double(records.size()));
        for (qsizetype row = 0; row < records.size(); ++row) {
            const VLMatchRecord &record = records[row];
            QList<QByteArray> cells = { QByteArray::number(row + 1), cgatsText(record.colorName),
                cgatsText(record.colorNumber), cgatsText(record.fandeck), numberText(record.L, 4),
                numberText(record.a, 4), numberText(record.b, 4), QByteArray::number(record.red),
                QByteArray::number(record.green), QByteArray::number(record.blue), cgatsText(record.textTag),
                cgatsText(vlMatchDateText(record.captureDate)), cgatsText(record.audioNotePath) };
            if (grid) {
                for (double value : record.spectrum)
                    cells << numberText(value * 100.0, 4);
            }
            for (qsizetype column = 0; column < cells.size(); ++column) {
                if (!cmsIT8SetDataRowCol(h, int(row), int(column), cells[column].constData()))
                    return fail(tr("Little CMS refused row %1 of the CGATS table").arg(row + 1));
            }
        }

        cmsUInt32Number size = 0;
        if (!cmsIT8SaveToMem(h, nullptr, &size) || size == 0)
            return fail(tr("Little CMS could not write the CGATS table"));
        QByteArray data(qsizetype(size), '\0');
        if (!cmsIT8SaveToMem(h, data.data(), &size))
            return fail(tr("Little CMS could not write the CGATS table"));
        // The size counts the terminating zero.
        while (!data.isEmpty() && data.back() == '\0')
            data.chop(1);
        return data;
    }
};

} // namespace

std::unique_ptr<VLMatchRecordWriter> vlMakeCGATSWriter()
{
    return std::make_unique<CGATSWriter>();
}
