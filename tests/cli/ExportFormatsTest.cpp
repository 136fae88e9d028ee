// `tintera export` in every format, from the matches of a demo sync against the emulators, each file
// read back by a reader that knows only the format: Little CMS and ArgyllCMS for CGATS and CxF3,
// the parsers of tests/export for CSV, GPL and ASE. The CxF3 export is the reference.
#include "MatchFormatParsers.h"
#include "TestSupport.h"
#include "TinteraDemoEnvironment.h"
#include "TinteraProcess.h"

#include <HBColorDocument.h>
#include <TX350CustomResource.h>

#include <lcms2.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct ReferenceMatch
{
    QString number;
    QString name;
    double L = 0, a = 0, b = 0;
    QString tag;
    QString audio;
    QDateTime date;
    QList<double> spectrum; // from the installed fandeck
};

// sRGB of a D65 / 10 degree CIELAB through Little CMS by another route than the product's:
// adapted to D50 CIELAB first, then through a CIELAB profile at 16 bits.
std::array<int, 3> littleCMSsRGB(double L, double a, double b)
{
    static const cmsHTRANSFORM transform = [] {
        cmsHPROFILE lab = cmsCreateLab2Profile(nullptr);
        cmsHPROFILE srgb = cmsCreate_sRGBProfile();
        cmsHTRANSFORM made = cmsCreateTransform(lab, TYPE_Lab_DBL, srgb, TYPE_RGB_16, INTENT_RELATIVE_COLORIMETRIC, 0);
        cmsCloseProfile(lab);
        cmsCloseProfile(srgb);
        return made;
    }();
    const cmsCIEXYZ white { 0.94811, 1.0, 1.07304 };
    const cmsCIELab d65 { L, a, b };
    cmsCIEXYZ xyz, adapted;
    cmsLab2XYZ(&white, &xyz, &d65);
    cmsAdaptToIlluminant(&adapted, &white, cmsD50_XYZ(), &xyz);
    cmsCIELab d50;
    cmsXYZ2Lab(cmsD50_XYZ(), &d50, &adapted);
    quint16 out[3];
    cmsDoTransform(transform, &d50, out, 1);
    return { int(std::lround(out[0] / 257.0)), int(std::lround(out[1] / 257.0)), int(std::lround(out[2] / 257.0)) };
}

QString runProgram(const QString &program, const QStringList &arguments, int *exitCode)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    *exitCode
        = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromUtf8(process.readAll());
}

// "Total errors:     peak = 0.000050, avg = 0.000027" of colverify's report; -1 when absent.
double argyllPeakError(const QString &report)
{
    static const QRegularExpression total(QStringLiteral("Total errors[^\\n]*peak = ([0-9.]+)"));
    const QRegularExpressionMatch match = total.match(report);
    return match.hasMatch() ? match.captured(1).toDouble() : -1;
}

class ExportFormats : public ::testing::Test
{
protected:
    void SetUp() override
    {
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = 0;
        VLError error;
        ASSERT_TRUE(environment.start(options, &error)) << qPrintable(error.description());
        ASSERT_EQ(runTintera({ "sync" }).exitCode, 0);
        ASSERT_EQ(runTintera({ "export", out.filePath("m.cxf") }).exitCode, 0);
        readReference(written("m.cxf"));
        ASSERT_EQ(matches.size(), 3);
    }
    void TearDown() override { environment.stop(); }

    void readReference(const QString &path)
    {
        VLError error;
        const HBColorDocumentPtr document = HBColorDocument::initWithFile(path, nullptr, &error);
        ASSERT_TRUE(document) << qPrintable(error.description());
        QSharedPointer<TX350CustomResource> resource;
        for (const HBCustomResourcePtr &custom : document->customResources()) {
            if (!resource)
                resource = custom.dynamicCast<TX350CustomResource>();
        }
        ASSERT_TRUE(resource);
        fandeck = HBColorDocument::initWithFile(
            environment.dataFolder() + QStringLiteral("/Fandecks/VLM-FD-EXT/payload.cxf"), nullptr, &error);
        ASSERT_TRUE(fandeck) << qPrintable(error.description());
        for (qsizetype i = 0; i < document->colors().size(); ++i) {
            const HBColorPtr &colour = document->colors()[i];
            ReferenceMatch match;
            match.number = colour->attributeForKey(HBColorNumberAttributeKey).toString();
            match.name = colour->attributeForKey(HBColorNameAttributeKey).toString();
            const HBColorRepresentationPtr lab
                = colour->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).last();
            match.L = lab->L();
            match.a = lab->a();
            match.b = lab->b();
            const QVariantMap entry = resource->matches().value(i);
            match.tag = entry.value(TX350CustomResourceMatchTextKey).toString();
            match.audio = entry.value(TX350CustomResourceMatchAudioSourceURIKey).toString();
            match.date = entry.value(TX350CustomResourceMatchDateKey).toDateTime();
            const QList<HBColorPtr> inFandeck
                = fandeck->colorsWithAttributes({ { HBColorNumberAttributeKey, match.number } });
            if (!inFandeck.isEmpty()) {
                const auto spectra = inFandeck.last()->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
                if (!spectra.isEmpty())
                    match.spectrum = spectra.last()->values();
            }
            matches << match;
        }
    }

    // Where an export named `name` went: beside its audio notes in a folder of its name when it
    // names any, else where asked.
    QString written(const QString &name) const
    {
        const QString inFolder = out.filePath(QFileInfo(name).completeBaseName() + QLatin1Char('/') + name);
        return QFileInfo::exists(inFolder) ? inFolder : out.filePath(name);
    }

    HBColorPtr fandeckColour(const QString &number) const
    {
        const QList<HBColorPtr> found = fandeck->colorsWithAttributes({ { HBColorNumberAttributeKey, number } });
        return found.isEmpty() ? HBColorPtr() : found.last();
    }

    TinteraDemoEnvironment environment;
    QTemporaryDir out;
    QList<ReferenceMatch> matches;
    HBColorDocumentPtr fandeck;
};

} // namespace

TEST_F(ExportFormats, CGATSCarriesLabRGBAndSpectrumAndReadsBackInLittleCMSArgyllAndTheCatalogTool)
{
    const TinteraRun run = runTintera({ "export", out.filePath("m.cie") });
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.out + run.err);
    EXPECT_TRUE(run.out.contains("Exported 3 of 3 match(es)"));
    const CGATSTable table = parseCGATSWithLittleCMS(readFile(written("m.cie")));
    ASSERT_TRUE(table.valid);
    ASSERT_EQ(table.rows.size(), matches.size());
    for (qsizetype i = 0; i < matches.size(); ++i) {
        const auto &row = table.rows[i];
        const ReferenceMatch &match = matches[i];
        EXPECT_EQ(row.value("COLOR_NUMBER"), match.number);
        EXPECT_EQ(row.value("SAMPLE_NAME"), match.name);
        EXPECT_EQ(row.value("FANDECK"), QStringLiteral("Velmora Exteriors"));
        EXPECT_EQ(row.value("TEXT_TAG"), match.tag);
        EXPECT_EQ(row.value("AUDIO_NOTE"), QFileInfo(match.audio).fileName()) << "no Audio folder beside it";
        EXPECT_EQ(QDateTime::fromString(row.value("CAPTURE_DATE"), Qt::ISODateWithMs), match.date);
        EXPECT_NEAR(row.value("LAB_L").toDouble(), match.L, 0.01);
        EXPECT_NEAR(row.value("LAB_A").toDouble(), match.a, 0.01);
        EXPECT_NEAR(row.value("LAB_B").toDouble(), match.b, 0.01);
        const std::array<int, 3> rgb = littleCMSsRGB(match.L, match.a, match.b);
        EXPECT_NEAR(row.value("RGB_R").toInt(), rgb[0], 1);
        EXPECT_NEAR(row.value("RGB_G").toInt(), rgb[1], 1);
        EXPECT_NEAR(row.value("RGB_B").toInt(), rgb[2], 1);
        ASSERT_EQ(match.spectrum.size(), 31) << "the demo's matches have spectra in their fandeck";
        for (int band = 0; band < 31; ++band)
            EXPECT_NEAR(
                row.value(QStringLiteral("SPEC_%1").arg(400 + 10 * band)).toDouble(), match.spectrum[band] * 100, 1e-3);
    }

    // The catalog tool shows the file through the colour framework's CGATS reader; its CIELAB is
    // computed again from the spectrum, by the same weighting the export used.
    QProcess inspect;
    inspect.start(
        tinteraBuiltProgram(QStringLiteral("tools/catalog/tintera-catalog")), { "inspect", written("m.cie") });
    ASSERT_TRUE(inspect.waitForFinished(60000));
    EXPECT_EQ(inspect.exitCode(), 0) << inspect.readAllStandardError().constData();
    const QStringList lines = QString::fromUtf8(inspect.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (qsizetype i = 0; i < matches.size(); ++i) {
        const QStringList cells = lines.value(i).split(QLatin1Char('\t'));
        ASSERT_EQ(cells.size(), 6) << qPrintable(lines.value(i));
        EXPECT_EQ(cells[1], matches[i].name);
        EXPECT_EQ(cells[2], matches[i].number);
        EXPECT_NEAR(cells[3].toDouble(), matches[i].L, 0.01);
        EXPECT_NEAR(cells[5].toDouble(), matches[i].b, 0.01);
    }

    // ArgyllCMS: cxf2ti3 reads the CxF3 export and colverify compares its CIELAB with the CGATS
    // file's. Then colverify weights the spectra of the CGATS file against those of the fandeck
    // colours themselves (a CxF3 document of the three, read by cxf2ti3), under D65 / 10 degree.
    const QString cxf2ti3 = argyllProgram(QStringLiteral("cxf2ti3"));
    const QString colverify = argyllProgram(QStringLiteral("colverify"));
    if (cxf2ti3.isEmpty() || colverify.isEmpty())
        GTEST_SKIP() << ArgyllMissingMessage;
    int exitCode = -1;
    const QString converted = runProgram(cxf2ti3, { written("m.cxf"), out.filePath("argyll") }, &exitCode);
    ASSERT_EQ(exitCode, 0) << qPrintable(converted);
    const CGATSTable fromCxf = parseCGATSWithLittleCMS(readFile(out.filePath("argyll.cie")));
    ASSERT_EQ(fromCxf.rows.size(), matches.size());
    for (qsizetype i = 0; i < matches.size(); ++i) {
        EXPECT_EQ(fromCxf.rows[i].value("SAMPLE_LOC"), matches[i].name);
        EXPECT_NEAR(fromCxf.rows[i].value("LAB_L").toDouble(), matches[i].L, 0.01);
        EXPECT_NEAR(fromCxf.rows[i].value("LAB_A").toDouble(), matches[i].a, 0.01);
        EXPECT_NEAR(fromCxf.rows[i].value("LAB_B").toDouble(), matches[i].b, 0.01);
    }
    const QString labs = runProgram(colverify, { "-v2", out.filePath("argyll.cie"), written("m.cie") }, &exitCode);
    ASSERT_EQ(exitCode, 0) << qPrintable(labs);
    EXPECT_GE(argyllPeakError(labs), 0) << qPrintable(labs);
    EXPECT_LT(argyllPeakError(labs), 0.01) << qPrintable(labs);

    HBColorDocument fandeckColours;
    for (const ReferenceMatch &match : std::as_const(matches))
        fandeckColours.addColor(fandeckColour(match.number));
    VLError error;
    ASSERT_TRUE(fandeckColours.writeToFile(out.filePath("fandeck.cxf"), &error)) << qPrintable(error.description());
    const QString fandeckConverted
        = runProgram(cxf2ti3, { out.filePath("fandeck.cxf"), out.filePath("fandeck") }, &exitCode);
    ASSERT_EQ(exitCode, 0) << qPrintable(fandeckConverted);
    const QString spectra = runProgram(
        colverify, { "-v2", "-i", "D65", "-o", "1964_10", out.filePath("fandeck.cie"), written("m.cie") }, &exitCode);
    ASSERT_EQ(exitCode, 0) << qPrintable(spectra);
    EXPECT_GE(argyllPeakError(spectra), 0) << qPrintable(spectra);
    EXPECT_LT(argyllPeakError(spectra), 0.01) << qPrintable(spectra);
}

TEST_F(ExportFormats, CSVGPLAndASECarryTheSameMatches)
{
    // --format wins over the extension.
    for (const QStringList &arguments :
        { QStringList { "export", out.filePath("m.csv") }, QStringList { "export", out.filePath("m.gpl") },
            QStringList { "export", out.filePath("swatches.bin"), "--format", "ase" } }) {
        const TinteraRun run = runTintera(arguments);
        ASSERT_EQ(run.exitCode, 0) << qPrintable(arguments.join(' ') + run.out + run.err);
    }

    // Palettes cannot refer to audio notes: written where asked, without a folder of notes.
    EXPECT_TRUE(QFileInfo::exists(out.filePath("m.gpl")));
    EXPECT_FALSE(QFileInfo::exists(out.filePath("swatches")));

    const QList<QStringList> rows = parseCSV(readFile(written("m.csv")));
    ASSERT_EQ(rows.size(), matches.size() + 1);
    const GPLPalette palette = parseGPL(readFile(written("m.gpl")));
    ASSERT_TRUE(palette.valid);
    ASSERT_EQ(palette.colours.size(), matches.size());
    const ASESwatches swatches = parseASE(readFile(written("swatches.bin")));
    ASSERT_TRUE(swatches.valid) << qPrintable(swatches.problem);
    ASSERT_EQ(swatches.colours.size(), matches.size());

    const QStringList header = rows.first();
    const auto cell
        = [&](qsizetype row, const char *column) { return rows[row + 1].value(header.indexOf(QLatin1String(column))); };
    for (qsizetype i = 0; i < matches.size(); ++i) {
        const ReferenceMatch &match = matches[i];
        const std::array<int, 3> rgb = littleCMSsRGB(match.L, match.a, match.b);
        EXPECT_EQ(cell(i, "Colour number"), match.number);
        EXPECT_EQ(cell(i, "Colour name"), match.name);
        EXPECT_EQ(cell(i, "Fandeck"), QStringLiteral("Velmora Exteriors"));
        EXPECT_NEAR(cell(i, "L*").toDouble(), match.L, 0.01);
        EXPECT_NEAR(cell(i, "a*").toDouble(), match.a, 0.01);
        EXPECT_NEAR(cell(i, "b*").toDouble(), match.b, 0.01);
        EXPECT_NEAR(cell(i, "sRGB R").toInt(), rgb[0], 1);
        EXPECT_NEAR(cell(i, "sRGB B").toInt(), rgb[2], 1);
        EXPECT_EQ(cell(i, "Text tag"), match.tag);
        EXPECT_EQ(cell(i, "Audio note"), QFileInfo(match.audio).fileName());
        EXPECT_EQ(QDateTime::fromString(cell(i, "Capture date"), Qt::ISODateWithMs), match.date);
        EXPECT_NEAR(cell(i, "550 nm").toDouble(), match.spectrum.value(15), 1e-4);

        EXPECT_NEAR(palette.colours[i].red, rgb[0], 1);
        EXPECT_NEAR(palette.colours[i].green, rgb[1], 1);
        EXPECT_NEAR(palette.colours[i].blue, rgb[2], 1);
        EXPECT_EQ(palette.colours[i].name, match.number + ' ' + match.name + " - " + match.tag);

        EXPECT_EQ(swatches.colours[i].model, QByteArray("LAB "));
        EXPECT_NEAR(swatches.colours[i].values[0] * 100.0, match.L, 0.01);
        EXPECT_NEAR(swatches.colours[i].values[1], match.a, 0.01);
        EXPECT_NEAR(swatches.colours[i].values[2], match.b, 0.01);
        EXPECT_EQ(swatches.colours[i].name, match.number + ' ' + match.name + " - " + match.tag);
    }
}
