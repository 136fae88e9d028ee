// The export formats other than CxF3, written from records and read back by readers that know only
// the published formats: Little CMS for CGATS, small parsers here for CSV, GPL and ASE.
#include "MatchFormatParsers.h"

#include "HBColorDocument.h"
#include "HBColorimetry.h"
#include "VLMatchRecordWriter.h"

#include <lcms2.h>

#include <gtest/gtest.h>

#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <memory>
#include <tuple>

namespace {

QList<double> spectrum(double level)
{
    QList<double> values;
    for (int band = 0; band < 31; ++band)
        values << level + 0.004 * band;
    return values;
}

// Two matches with everything a user can put into text: separators, quotes, a line break, a
// comment sign, characters beyond ASCII; one without tag or note.
VLMatchRecordList sampleRecords()
{
    VLMatchRecord first;
    first.colorName = QStringLiteral("Nordic \"Blue\", deep");
    first.colorNumber = QStringLiteral("VX 013");
    first.fandeck = QStringLiteral("Velmora Exteriors");
    first.L = 39.9649;
    first.a = -10.1298;
    first.b = -15.1830;
    const HBRGB8 rgb = hbLabToSRGB8({ first.L, first.a, first.b }, 1);
    first.red = rgb.r;
    first.green = rgb.g;
    first.blue = rgb.b;
    first.textTag = QStringLiteral("Front door,\nleft #2 café ☕");
    first.captureDate = QDateTime::fromMSecsSinceEpoch(1795966411578, QTimeZone::utc());
    first.audioNotePath = QStringLiteral("Audio/note-0001.wav");
    first.spectrum = spectrum(0.1);
    first.spectrumStart = 400;
    first.spectrumIncrement = 10;

    VLMatchRecord second;
    second.colorName = QStringLiteral("Arctic Stone");
    second.colorNumber = QStringLiteral("VX 141");
    second.fandeck = QStringLiteral("Velmora Exteriors");
    second.L = 92.5;
    second.a = 0.25;
    second.b = 3.125;
    second.red = 240;
    second.green = 235;
    second.blue = 226;
    second.captureDate = QDateTime::fromMSecsSinceEpoch(1795966411605, QTimeZone::utc());
    second.spectrum = spectrum(0.7);
    second.spectrumStart = 400;
    second.spectrumIncrement = 10;
    return { first, second };
}

QByteArray written(VLMatchExportFormat format, const VLMatchRecordList &records)
{
    VLError error;
    const QByteArray data = vlMatchRecordWriterForFormat(format)->dataForRecords(records, &error);
    EXPECT_TRUE(error.isNull()) << qPrintable(error.description());
    return data;
}

} // namespace

TEST(MatchExportFormats, NamesAndExtensionsChooseTheFormat)
{
    EXPECT_EQ(vlMatchExportFormatForName(QStringLiteral("GPL")), VLMatchExportFormat::GPL);
    EXPECT_EQ(vlMatchExportFormatForName(QStringLiteral("ti3")), std::nullopt);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("/a/b.CIE")), VLMatchExportFormat::CGATS);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("b.txt")), VLMatchExportFormat::CGATS);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("b.ase")), VLMatchExportFormat::ASE);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("b.cxf")), VLMatchExportFormat::CxF3);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("b.doc")), std::nullopt);
    EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("b")), std::nullopt);
    for (VLMatchExportFormat format : vlMatchExportFormats()) {
        EXPECT_EQ(vlMatchExportFormatForName(vlMatchExportFormatName(format)), format);
        EXPECT_EQ(vlMatchExportFormatForPath(QStringLiteral("x.") + vlMatchExportFileExtension(format)), format);
        EXPECT_EQ(bool(vlMatchRecordWriterForFormat(format)), format != VLMatchExportFormat::CxF3);
    }
}

TEST(MatchExportFormats, DisplayRGBIsLittleCMSsSRGBOfTheD65Lab)
{
    // Anchors: the white of the Lab's own illuminant is sRGB white, black is black.
    const HBRGB8 white = hbLabToSRGB8({ 100, 0, 0 }, 1);
    EXPECT_EQ(std::tuple(white.r, white.g, white.b), std::tuple(255, 255, 255));
    const HBRGB8 black = hbLabToSRGB8({ 0, 0, 0 }, 1);
    EXPECT_EQ(std::tuple(black.r, black.g, black.b), std::tuple(0, 0, 0));
    // Out of gamut clamps instead of wrapping.
    const HBRGB8 green = hbLabToSRGB8({ 60, -120, 80 }, 1);
    EXPECT_EQ(green.r, 0);
    EXPECT_GT(green.g, 100);

    // Against an independent route: D65 Lab to XYZ, then the IEC 61966-2-1 matrix and curve.
    for (const HBLab &lab : { HBLab { 39.96, -10.13, -15.18 }, HBLab { 71.47, -6.24, -14.02 }, HBLab { 50, 40, 30 },
             HBLab { 85, 2, 60 } }) {
        const HBRGB8 rgb = hbLabToSRGB8(lab, 1);
        const HBXYZ xyz = hbLabToXYZ(lab, hbD65WhitePoint(1));
        // Scale to the sRGB white's own D65 before the matrix.
        const double X = xyz.X / 94.811 * 95.047 / 100, Y = xyz.Y / 100, Z = xyz.Z / 107.304 * 108.883 / 100;
        const double linear[3] = { 3.2406 * X - 1.5372 * Y - 0.4986 * Z, -0.9689 * X + 1.8758 * Y + 0.0415 * Z,
            0.0557 * X - 0.2040 * Y + 1.0570 * Z };
        int expected[3];
        for (int i = 0; i < 3; ++i) {
            const double c = std::clamp(linear[i], 0.0, 1.0);
            const double encoded = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
            expected[i] = int(std::lround(encoded * 255));
        }
        EXPECT_NEAR(rgb.r, expected[0], 1) << lab.L << " " << lab.a << " " << lab.b;
        EXPECT_NEAR(rgb.g, expected[1], 1) << lab.L << " " << lab.a << " " << lab.b;
        EXPECT_NEAR(rgb.b, expected[2], 1) << lab.L << " " << lab.a << " " << lab.b;
    }
}

TEST(MatchExportFormats, CSVIsRFC4180WithAHeaderRowInUTF8)
{
    const VLMatchRecordList records = sampleRecords();
    const QByteArray data = written(VLMatchExportFormat::CSV, records);
    ASSERT_TRUE(data.startsWith("\xEF\xBB\xBF"
                                "Colour number,Colour name,Fandeck,L*,a*,b*,"));
    EXPECT_TRUE(data.endsWith("\r\n"));
    const QList<QStringList> rows = parseCSV(data);
    ASSERT_EQ(rows.size(), 3);
    const QStringList &header = rows[0];
    for (const QStringList &row : rows)
        EXPECT_EQ(row.size(), header.size());
    EXPECT_EQ(header.indexOf(QStringLiteral("400 nm")), 13);
    EXPECT_EQ(header.last(), QStringLiteral("700 nm"));
    for (qsizetype i = 0; i < records.size(); ++i) {
        const QStringList &row = rows[i + 1];
        const VLMatchRecord &record = records[i];
        EXPECT_EQ(row[0], record.colorNumber);
        EXPECT_EQ(row[1], record.colorName);
        EXPECT_EQ(row[2], record.fandeck);
        EXPECT_NEAR(row[3].toDouble(), record.L, 0.01);
        EXPECT_NEAR(row[4].toDouble(), record.a, 0.01);
        EXPECT_NEAR(row[5].toDouble(), record.b, 0.01);
        EXPECT_EQ(row[6].toInt(), record.red);
        EXPECT_EQ(row[9],
            QStringLiteral("#%1%2%3")
                .arg(record.red, 2, 16, QLatin1Char('0'))
                .arg(record.green, 2, 16, QLatin1Char('0'))
                .arg(record.blue, 2, 16, QLatin1Char('0'))
                .toUpper());
        EXPECT_EQ(row[10], record.textTag);
        EXPECT_EQ(QDateTime::fromString(row[11], Qt::ISODateWithMs), record.captureDate);
        EXPECT_EQ(row[12], record.audioNotePath);
        EXPECT_NEAR(row[13].toDouble(), record.spectrum.first(), 1e-4);
    }

    // Without a spectrum for every match there are no spectral columns.
    VLMatchRecordList mixed = records;
    mixed[1].spectrum.clear();
    EXPECT_EQ(parseCSV(written(VLMatchExportFormat::CSV, mixed)).first().size(), 13);
}

TEST(MatchExportFormats, GPLIsTheGIMPPaletteFormat)
{
    // The parser here reads GIMP's own published palette layout first.
    const QByteArray published = "GIMP Palette\nName: Named Colors\nColumns: 16\n#\n"
                                 "255 250 250\tsnow (#FFFAFA)\n248 248 255\tghost white (#F8F8FF)\n";
    const GPLPalette reference = parseGPL(published);
    ASSERT_TRUE(reference.valid);
    EXPECT_EQ(reference.name, QStringLiteral("Named Colors"));
    ASSERT_EQ(reference.colours.size(), 2);
    EXPECT_EQ(reference.colours[1].name, QStringLiteral("ghost white (#F8F8FF)"));
    EXPECT_EQ(reference.colours[1].blue, 255);

    const VLMatchRecordList records = sampleRecords();
    const GPLPalette palette = parseGPL(written(VLMatchExportFormat::GPL, records));
    ASSERT_TRUE(palette.valid);
    EXPECT_EQ(palette.name, QStringLiteral("TINTERA Sync matches"));
    ASSERT_EQ(palette.colours.size(), records.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        EXPECT_EQ(palette.colours[i].red, records[i].red);
        EXPECT_EQ(palette.colours[i].green, records[i].green);
        EXPECT_EQ(palette.colours[i].blue, records[i].blue);
        EXPECT_TRUE(
            palette.colours[i].name.startsWith(records[i].colorNumber + QLatin1Char(' ') + records[i].colorName));
        // The tag's line break stays inside the one line of its colour.
        EXPECT_FALSE(palette.colours[i].name.contains(QLatin1Char('\n')));
    }
    EXPECT_TRUE(palette.colours[0].name.endsWith(QStringLiteral("Front door, left #2 café ☕")));
    EXPECT_TRUE(palette.comments.join(QLatin1Char('\n')).contains(QStringLiteral("audio note Audio/note-0001.wav")));
}

TEST(MatchExportFormats, ASEFollowsThePublishedByteLayout)
{
    VLMatchRecord one;
    one.colorNumber = QStringLiteral("A");
    one.L = 50;
    one.a = 10;
    one.b = -20;
    // Header, group start "TINTERA Sync matches", one LAB colour "A", group end: byte for byte.
    const QByteArray data = written(VLMatchExportFormat::ASE, { one });
    QByteArray expected = QByteArray::fromHex("41534546"
                                              "00010000"
                                              "00000003");
    expected += QByteArray::fromHex("c001"
                                    "0000002c"
                                    "0015");
    for (char c : QByteArray("TINTERA Sync matches"))
        expected += QByteArray(1, '\0') + c;
    expected += QByteArray::fromHex("0000");
    expected += QByteArray::fromHex("0001"
                                    "00000018"
                                    "0002"
                                    "0041"
                                    "0000")
        + "LAB "
        + QByteArray::fromHex("3f000000"
                              "41200000"
                              "c1a00000"
                              "0002");
    expected += QByteArray::fromHex("c002"
                                    "00000000");
    EXPECT_EQ(data.toHex(), expected.toHex());

    const VLMatchRecordList records = sampleRecords();
    const ASESwatches swatches = parseASE(written(VLMatchExportFormat::ASE, records));
    ASSERT_TRUE(swatches.valid) << qPrintable(swatches.problem);
    EXPECT_EQ(swatches.groups, QStringList({ QStringLiteral("TINTERA Sync matches") }));
    ASSERT_EQ(swatches.colours.size(), records.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        EXPECT_EQ(swatches.colours[i].model, QByteArray("LAB "));
        EXPECT_NEAR(swatches.colours[i].values[0] * 100, records[i].L, 0.01);
        EXPECT_NEAR(swatches.colours[i].values[1], records[i].a, 0.01);
        EXPECT_NEAR(swatches.colours[i].values[2], records[i].b, 0.01);
        EXPECT_TRUE(swatches.colours[i].name.startsWith(records[i].displayName()));
    }
    EXPECT_TRUE(swatches.colours[0].name.contains(QStringLiteral("café ☕")));
}

TEST(MatchExportFormats, CGATSReadsBackThroughLittleCMSAndTheColourDocument)
{
    const VLMatchRecordList records = sampleRecords();
    const QByteArray data = written(VLMatchExportFormat::CGATS, records);
    ASSERT_TRUE(data.startsWith("CGATS.17")) << data.left(40).constData();
    const CGATSTable table = parseCGATSWithLittleCMS(data);
    ASSERT_TRUE(table.valid);
    ASSERT_EQ(table.rows.size(), records.size());
    EXPECT_EQ(table.properties.value("SPECTRAL_BANDS").toDouble(), 31);
    EXPECT_EQ(table.properties.value("SPECTRAL_START_NM").toDouble(), 400);
    EXPECT_EQ(table.properties.value("SPECTRAL_END_NM").toDouble(), 700);
    for (qsizetype i = 0; i < records.size(); ++i) {
        const QHash<QString, QString> &row = table.rows[i];
        const VLMatchRecord &record = records[i];
        // CGATS cannot hold a double quote or a line break in text; everything else comes back (the
        // numbers, dates and spectra field by field: ExportFormats in the command line's tests).
        EXPECT_EQ(row.value("SAMPLE_NAME"), QString(record.colorName).replace(QLatin1Char('"'), QLatin1Char('\'')));
        EXPECT_EQ(row.value("FANDECK"), record.fandeck);
        EXPECT_EQ(row.value("TEXT_TAG"), QString(record.textTag).replace(QLatin1Char('\n'), QLatin1Char(' ')));
        EXPECT_EQ(row.value("AUDIO_NOTE"), record.audioNotePath);
    }

    // The colour framework reads the same file: names, numbers, CIELAB and the spectrum.
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithData(data, nullptr, &error);
    ASSERT_TRUE(document) << qPrintable(error.description());
    ASSERT_EQ(document->colors().size(), records.size());
    const HBColorPtr colour = document->colors().first();
    EXPECT_EQ(colour->attributeForKey(HBColorNumberAttributeKey).toString(), records[0].colorNumber);
    const auto labs = colour->representationsWithColorSpaceModel(HBColorSpaceModelCIELab);
    const auto spectra = colour->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    ASSERT_EQ(labs.size(), 1);
    ASSERT_EQ(spectra.size(), 1);
    EXPECT_NEAR(labs.first()->a(), records[0].a, 0.01);
    EXPECT_EQ(labs.first()->attributeForKey(HBColorRepIlluminantAttributeKey).toString(), QStringLiteral("D65"));
    EXPECT_EQ(labs.first()->attributeForKey(HBColorRepObserverTypeAttributeKey).toInt(), 1);
    EXPECT_EQ(spectra.first()->startWavelength(), 400);
    EXPECT_EQ(spectra.first()->wavelengthIncrement(), 10);
    EXPECT_NEAR(spectra.first()->values().last(), records[0].spectrum.last(), 1e-6);

    // Matches without a spectrum each leave the spectral fields out of the table.
    VLMatchRecordList mixed = records;
    mixed[0].spectrum.clear();
    const CGATSTable withoutSpectra = parseCGATSWithLittleCMS(written(VLMatchExportFormat::CGATS, mixed));
    ASSERT_TRUE(withoutSpectra.valid);
    EXPECT_FALSE(withoutSpectra.rows.first().contains("SPEC_400"));
    EXPECT_FALSE(withoutSpectra.properties.contains("SPECTRAL_BANDS"));
}

TEST(MatchExportFormats, NoMatchesStillMakeReadableFiles)
{
    EXPECT_EQ(parseCSV(written(VLMatchExportFormat::CSV, {})).size(), 1);
    EXPECT_TRUE(parseGPL(written(VLMatchExportFormat::GPL, {})).valid);
    EXPECT_TRUE(parseASE(written(VLMatchExportFormat::ASE, {})).valid);
    EXPECT_TRUE(parseCGATSWithLittleCMS(written(VLMatchExportFormat::CGATS, {})).valid);
}
