// CxF3 written by this library as ArgyllCMS's cxf2ti3 reads it: cxf2ti3 takes the wavelength range of
// the whole file from the first ColorSpecification. The command line's export tests run cxf2ti3 itself.
#include "HBTestSupport.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <gtest/gtest.h>

namespace {

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
    EXPECT_TRUE(isValidCxf3(cxf));
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
