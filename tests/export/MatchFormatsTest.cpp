// The export formats other than CxF3, written from records and read back by readers that know only
// the published formats: Little CMS for CGATS, small parsers here for CSV, GPL and ASE.
#include "MatchFormatParsers.h"

#include "HBColorimetry.h"
#include "VLMatchRecordWriter.h"

#include <gtest/gtest.h>

#include <QTimeZone>

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
    const auto match = [](const char *number, const QString &name, const HBLab &lab, qint64 capturedMs, double level) {
        VLMatchRecord r;
        r.colorNumber = QString::fromLatin1(number);
        r.colorName = name;
        r.fandeck = QStringLiteral("Velmora Exteriors");
        std::tie(r.L, r.a, r.b) = std::tuple(lab.L, lab.a, lab.b);
        const HBRGB8 rgb = hbLabToSRGB8(lab, 1);
        std::tie(r.red, r.green, r.blue) = std::tuple(rgb.r, rgb.g, rgb.b);
        r.captureDate = QDateTime::fromMSecsSinceEpoch(capturedMs, QTimeZone::utc());
        r.spectrum = spectrum(level);
        r.spectrumStart = 400;
        r.spectrumIncrement = 10;
        return r;
    };
    VLMatchRecord first = match("VX 013", QStringLiteral("Nordic \"Blue\", deep"), {39.9649, -10.1298, -15.1830}, 1795966411578, 0.1);
    first.textTag = QStringLiteral("Front door\nleft #2 café ☕"); // quoted for its line break alone
    first.audioNotePath = QStringLiteral("Audio/note-0001.wav");
    return { first, match("VX 141", QStringLiteral("Arctic Stone"), {92.5, 0.25, 3.125}, 1795966411605, 0.7) };
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
    // Real matches against Little CMS: ExportFormats in the command line's tests.
}

TEST(MatchExportFormats, CSVIsRFC4180WithAHeaderRowInUTF8)
{
    const VLMatchRecordList records = sampleRecords();
    const QByteArray data = written(VLMatchExportFormat::CSV, records);
    ASSERT_TRUE(data.startsWith("\xEF\xBB\xBF"
                                "Colour number,Colour name,Fandeck,L*,a*,b*,"));
    EXPECT_TRUE(data.endsWith("\r\n"));
    // Readers that split rows on a bare line feed too: the tag's line break must be inside quotes.
    EXPECT_TRUE(data.contains(('"' + records[0].textTag + '"').toUtf8()));
    const QList<QStringList> rows = parseCSV(data);
    ASSERT_EQ(rows.size(), 3);
    const QStringList &header = rows[0];
    for (const QStringList &row : rows)
        EXPECT_EQ(row.size(), header.size());
    EXPECT_EQ(header.indexOf(QStringLiteral("400 nm")), 13);
    EXPECT_EQ(header.last(), QStringLiteral("700 nm"));
    // The fields with separators, quotes and a line break come back whole (the numbers, dates and
    // spectra column by column: ExportFormats in the command line's tests).
    EXPECT_EQ(rows[1][1], records[0].colorName);
    EXPECT_EQ(rows[1][10], records[0].textTag);
    EXPECT_EQ(rows[1][9], QStringLiteral("#%1%2%3").arg(records[0].red, 2, 16, QLatin1Char('0'))
                              .arg(records[0].green, 2, 16, QLatin1Char('0')).arg(records[0].blue, 2, 16, QLatin1Char('0')).toUpper());
    EXPECT_EQ(rows[2][10], QString());

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
    EXPECT_EQ(palette.colours[1].name, records[1].colorNumber + QLatin1Char(' ') + records[1].colorName);
    // The tag's line break stays inside the one line of its colour.
    EXPECT_TRUE(palette.colours[0].name.endsWith(QStringLiteral("Front door left #2 café ☕")));
    EXPECT_TRUE(palette.comments.join(QLatin1Char('\n')).contains(QStringLiteral("audio note Audio/note-0001.wav")));
}

TEST(MatchExportFormats, ASEFollowsThePublishedByteLayout)
{
    VLMatchRecord one;
    one.colorNumber = QStringLiteral("A");
    one.L = 50;
    one.a = 10;
    one.b = -20;
    // Header (signature, version 1.0, three blocks), group start "TINTERA Sync matches" (its length in
    // UTF-16 units, then the name), one LAB colour "A" (0.5, 10, -20, normal), group end: byte for byte.
    const QByteArray data = written(VLMatchExportFormat::ASE, { one });
    QByteArray expected = QByteArray::fromHex("41534546" "00010000" "00000003" "c001" "0000002c" "0015");
    for (char c : QByteArray("TINTERA Sync matches"))
        expected += QByteArray(1, '\0') + c;
    expected += QByteArray::fromHex("0000" "0001" "00000018" "0002" "0041" "0000") + "LAB "
        + QByteArray::fromHex("3f000000" "41200000" "c1a00000" "0002" "c002" "00000000");
    EXPECT_EQ(data.toHex(), expected.toHex());

    const VLMatchRecordList records = sampleRecords();
    const ASESwatches swatches = parseASE(written(VLMatchExportFormat::ASE, records));
    ASSERT_TRUE(swatches.valid) << qPrintable(swatches.problem);
    EXPECT_EQ(swatches.groups, QStringList({ QStringLiteral("TINTERA Sync matches") }));
    ASSERT_EQ(swatches.colours.size(), records.size());
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
