// CxF3 written by this library as ArgyllCMS's cxf2ti3 reads it. cxf2ti3 takes the wavelength range
// of the whole file from the first ColorSpecification, and the columns of its CGATS table from the
// first colour: it refuses a file whose first colour lacks a kind of value a later one has, and
// repeats the previous spectrum for a later colour that has none. Its output is read back here
// through the colour framework's CGATS reader.
#include "HBTestSupport.h"

#include <TestSupport.h>

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct Conversion
{
    int exitCode = -1;
    QString output;
    HBColorDocumentPtr table;
};

Conversion cxf2ti3(const QString &cxf, const QString &outBase)
{
    Conversion conversion;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(argyllProgram(QStringLiteral("cxf2ti3")), { cxf, outBase });
    if (!process.waitForFinished(60000))
        return conversion;
    conversion.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    conversion.output = QString::fromUtf8(process.readAll());
    if (conversion.exitCode == 0)
        conversion.table = HBColorDocument::initWithFile(outBase + QStringLiteral(".cie"), nullptr, nullptr);
    return conversion;
}

// Number of ColorSpecifications, and of those without a WavelengthRange.
std::pair<int, int> specificationsWithoutRange(const QByteArray &cxf)
{
    xmlDoc *document = xmlReadMemory(cxf.constData(), int(cxf.size()), nullptr, nullptr, XML_PARSE_NONET);
    xmlXPathContext *context = xmlXPathNewContext(document);
    xmlXPathRegisterNs(context, BAD_CAST "cc", BAD_CAST "http://colorexchangeformat.com/CxF3-core");
    const auto count = [context](const char *path) {
        xmlXPathObject *result = xmlXPathEvalExpression(BAD_CAST path, context);
        const int found = result && result->nodesetval ? result->nodesetval->nodeNr : 0;
        xmlXPathFreeObject(result);
        return found;
    };
    const int all = count("//cc:ColorSpecification");
    const int without = count("//cc:ColorSpecification[not(cc:MeasurementSpec/cc:WavelengthRange)]");
    xmlXPathFreeContext(context);
    xmlFreeDoc(document);
    return { all, without };
}
} // namespace

TEST(ArgyllCxf, EveryColorSpecificationOfADocumentWithSpectraHasTheRange)
{
    // A CIELAB-only colour first gives the first ColorSpecification no spectrum of its own.
    HBColorDocument document;
    HBColorPtr labOnly = HBColor::color();
    labOnly->setAttribute(QStringLiteral("First"), HBColorNameAttributeKey);
    HBColorRepresentationPtr lab = HBColorRepresentation::labRepresentation(50, 1, 2);
    lab->setAttribute(HBIlluminantD65, HBColorRepIlluminantAttributeKey);
    lab->setAttribute(1, HBColorRepObserverTypeAttributeKey);
    labOnly->addRepresentation(lab);
    document.addColor(labOnly);
    HBColorPtr spectral = HBColor::color();
    spectral->setAttribute(QStringLiteral("Second"), HBColorNameAttributeKey);
    spectral->addRepresentation(
        HBColorRepresentation::spectralRepresentation(380, 10, sampleSpectrum(0.3) + QList<double> { 0.5, 0.5 }));
    document.addColor(spectral);
    const QByteArray cxf = document.dataRepresentation(nullptr);
    EXPECT_EQ(specificationsWithoutRange(cxf), std::pair(2, 0));
    EXPECT_TRUE(cxf.contains("<cc:WavelengthRange StartWL=\"380\" Increment=\"10\"/>"));
    if (!cxf3SchemaPath().isEmpty()) {
        EXPECT_EQ(cxf3SchemaErrors(cxf, cxf3SchemaPath()), QString());
    }
    // Reading it back leaves the CIELAB colour as it was: the range is no part of its values.
    const HBColorDocumentPtr read = HBColorDocument::initWithData(cxf, nullptr, nullptr);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->colors().first()->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).size(), 0);
    EXPECT_EQ(
        read->colors().last()->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).first()->startWavelength(),
        380);

    // Without spectra there is no range to give.
    HBColorDocument onlyLab;
    onlyLab.addColor(labOnly);
    EXPECT_EQ(specificationsWithoutRange(onlyLab.dataRepresentation(nullptr)), std::pair(1, 1));
}

TEST(ArgyllCxf, Cxf2ti3ReadsTheDemoFandecksSpectraAndCIELAB)
{
    if (argyllProgram(QStringLiteral("cxf2ti3")).isEmpty())
        GTEST_SKIP() << ArgyllMissingMessage;
    QTemporaryDir dir;
    QProcess catalog;
    catalog.start(tinteraBuiltProgram(QStringLiteral("tools/catalog/tintera-catalog")), { "write", dir.path() });
    ASSERT_TRUE(catalog.waitForFinished(120000));
    ASSERT_EQ(catalog.exitCode(), 0);
    const QStringList fandecks = QDir(dir.filePath(QStringLiteral("files"))).entryList({ QStringLiteral("*.cxf") });
    ASSERT_EQ(fandecks.size(), 5);
    int converted = 0;
    for (const QString &name : fandecks) {
        const QString path = dir.filePath(QStringLiteral("files/") + name);
        const HBColorDocumentPtr fandeck = HBColorDocument::initWithFile(path, nullptr, nullptr);
        ASSERT_TRUE(fandeck);
        EXPECT_EQ(specificationsWithoutRange(readFile(path)).second, 0) << qPrintable(name);
        const Conversion conversion = cxf2ti3(path, dir.filePath(name + QStringLiteral("-argyll")));
        // The wavelength range is found in every fandeck; what cxf2ti3 cannot take is a first
        // colour without the spectrum that later colours have.
        EXPECT_FALSE(conversion.output.contains(QStringLiteral("specmin"))) << qPrintable(conversion.output);
        const HBColorPtr &first = fandeck->colors().first();
        if (first->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).isEmpty()) {
            EXPECT_NE(conversion.exitCode, 0) << qPrintable(name);
            EXPECT_TRUE(conversion.output.contains(QStringLiteral("after first ColorValue")))
                << qPrintable(conversion.output);
            continue;
        }
        ASSERT_EQ(conversion.exitCode, 0) << qPrintable(name + conversion.output);
        ASSERT_TRUE(conversion.table) << qPrintable(name);
        ASSERT_EQ(conversion.table->colors().size(), fandeck->colors().size()) << qPrintable(name);
        ++converted;
        for (qsizetype i = 0; i < fandeck->colors().size(); ++i) {
            const HBColor &colour = *fandeck->colors()[i];
            const HBColor &row = *conversion.table->colors()[i];
            EXPECT_EQ(row.attributeForKey(HBColorNameAttributeKey), colour.attributeForKey(HBColorNameAttributeKey));
            const HBColorRepresentationPtr lab
                = colour.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).last();
            const HBColorRepresentationPtr readLab
                = row.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).value(0);
            ASSERT_TRUE(readLab);
            EXPECT_NEAR(readLab->L(), lab->L(), 0.01);
            EXPECT_NEAR(readLab->a(), lab->a(), 0.01);
            EXPECT_NEAR(readLab->b(), lab->b(), 0.01);
            const auto spectra = colour.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
            if (spectra.isEmpty())
                continue; // cxf2ti3 repeats the spectrum of the row before
            const HBColorRepresentationPtr readSpectrum
                = row.representationsWithColorSpaceModel(HBColorSpaceModelSpectral).value(0);
            ASSERT_TRUE(readSpectrum);
            EXPECT_EQ(readSpectrum->startWavelength(), spectra.last()->startWavelength());
            ASSERT_EQ(readSpectrum->values().size(), spectra.last()->values().size());
            for (qsizetype band = 0; band < readSpectrum->values().size(); ++band)
                EXPECT_NEAR(readSpectrum->values()[band], spectra.last()->values()[band], 1e-5);
        }
    }
    EXPECT_EQ(converted, 4);
}
