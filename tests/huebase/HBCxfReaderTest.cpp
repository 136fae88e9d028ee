#include "HBTestSupport.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace {

struct SkipCollector : HBColorDocumentDelegate {
    QStringList reasons;
    void colorDocumentDidSkipContent(HBColorDocument *, const QString &reason) override { reasons << reason; }
};

// One colour with a spectrum and CIELAB, written with the given root tag and element prefix.
QByteArray oneColour(const QByteArray &root, const QByteArray &p, const QByteArray &spectrumAttributes,
                     const QByteArray &spectrum, const QByteArray &range = "StartWL=\"400\" Increment=\"10\"")
{
    QByteArray body = "<Resources><ObjectCollection>"
        "<Object ObjectType=\"Standard\" Name=\"Sea Glass\" Id=\"o1\" GUID=\"g-1\">"
        "<CreationDate>2024-01-01T00:00:00</CreationDate><ColorValues>"
        "<ReflectanceSpectrum ColorSpecification=\"cs\" " + spectrumAttributes + ">" + spectrum + "</ReflectanceSpectrum>"
        "<ColorCIELab ColorSpecification=\"cs\"><L>50</L><A>1.5</A><B>-2</B></ColorCIELab></ColorValues>"
        "<TagCollection Name=\"t\"><Tag Name=\"ColorNumber\" Value=\"SG 12\"/></TagCollection></Object></ObjectCollection>"
        "<ColorSpecificationCollection><ColorSpecification Id=\"cs\"><TristimulusSpec><Illuminant>D65</Illuminant>"
        "<Observer>2_Degree</Observer><Method>E308_Table5</Method></TristimulusSpec><MeasurementSpec>"
        "<MeasurementType>Spectrum_Reflectance</MeasurementType><GeometryChoice><SingleAngle>"
        "<SingleAngleConfiguration>Annular</SingleAngleConfiguration><IlluminationAngle>45</IlluminationAngle>"
        "<MeasurementAngle>0</MeasurementAngle></SingleAngle></GeometryChoice><WavelengthRange " + range + "/>"
        "</MeasurementSpec></ColorSpecification></ColorSpecificationCollection></Resources></CxF>";
    body.replace("</", "\x01").replace("<", "<" + p).replace("\x01", "</" + p);
    return root + "\n" + body;
}

const QByteArray kDefaultRoot = "<CxF xmlns=\"http://colorexchangeformat.com/CxF3-core\">";
const QByteArray kValues31 = "0.1 0.2 0.3 0.4 0.5 0.6 0.7 0.8 0.9 0.8 0.7 0.6 0.5 0.4 0.3 0.2 0.1 0.2 0.3 0.4 "
                             "0.5 0.6 0.7 0.8 0.9 0.8 0.7 0.6 0.5 0.4 0.3";

QByteArray defaultNamespace(const QByteArray &spectrumAttributes, const QByteArray &spectrum,
                            const QByteArray &range = "StartWL=\"400\" Increment=\"10\"")
{
    return oneColour(kDefaultRoot, "", spectrumAttributes, spectrum, range);
}

VLError readError(const QByteArray &data)
{
    VLError error;
    EXPECT_FALSE(HBColorDocument::initWithData(data, nullptr, &error)) << data.left(200).constData();
    return error;
}

} // namespace

TEST(HBCxfReader, ReadsByNamespaceWhateverThePrefix)
{
    const QByteArray variants[] = {
        defaultNamespace("", kValues31),
        oneColour("<cc:CxF xmlns:cc=\"http://colorexchangeformat.com/CxF3-core\">", "cc:", "StartWL=\"400\"", kValues31),
        oneColour("<x:CxF xmlns:x=\"http://colorexchangeformat.com/CxF3-core\" "
                  "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                  "xsi:schemaLocation=\"http://colorexchangeformat.com/CxF3-core CxF3_Core.xsd\">",
                  "x:", "", "\n  " + kValues31 + "\n"),
    };
    for (const QByteArray &data : variants) {
        VLError error;
        HBColorDocumentPtr document = HBColorDocument::initWithData(data, nullptr, &error);
        ASSERT_TRUE(document) << error.description().toStdString();
        ASSERT_EQ(document->colors().size(), 1);
        const HBColor &color = *document->colors().first();
        EXPECT_EQ(color.attributeForKey(HBColorNameAttributeKey).toString(), QStringLiteral("Sea Glass"));
        EXPECT_EQ(color.attributeForKey(HBColorNumberAttributeKey).toString(), QStringLiteral("SG 12"));
        EXPECT_EQ(color.attributeForKey(HBColorUniqueIdentifierAttributeKey).toString(), QStringLiteral("g-1"));
        const auto spectra = color.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
        ASSERT_EQ(spectra.size(), 1);
        EXPECT_EQ(spectra.first()->startWavelength(), 400);
        EXPECT_EQ(spectra.first()->wavelengthIncrement(), 10);
        EXPECT_EQ(spectra.first()->values().size(), 31);
        EXPECT_DOUBLE_EQ(spectra.first()->values()[8], 0.9);
        EXPECT_EQ(spectra.first()->attributeForKey(HBColorRepObserverTypeAttributeKey).toInt(), 0);
        EXPECT_EQ(spectra.first()->attributeForKey(HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey),
                  QVariant(45));
        const auto labs = color.representationsWithColorSpaceModel(
            HBColorSpaceModelCIELab, {{HBColorRepIlluminantAttributeKey, HBIlluminantD65}});
        ASSERT_EQ(labs.size(), 1);
        EXPECT_DOUBLE_EQ(labs.first()->a(), 1.5);
        EXPECT_EQ(labs.first()->attributeForKey(HBColorRepTristimulusSpectralConvertionMethodAttributeKey).toString(),
                  HBTristimulusConvertionMethodE308Table5);
    }
}

TEST(HBCxfReader, AcceptsRealWorldFilesThatDoNotValidate)
{
    // No CreationDate, no spectra, a stray attribute, unknown core values and a core element among
    // the custom resources: read what is there, report what was passed over.
    const QByteArray data = R"(<CxF xmlns="http://colorexchangeformat.com/CxF3-core" Version="3">
  <Resources><ObjectCollection>
    <Object Name="Only Lab" Id="1bad">
      <ColorValues>
        <ColorSRGB ColorSpecification="x"><R>1</R><G>2</G><B>3</B></ColorSRGB>
        <ColorCIELab ColorSpecification="missing"><L>40</L><A>2</A><B>3</B></ColorCIELab>
        <CustomSpectrum ColorSpecification="x"><SpectralPoint WL="400">0.1</SpectralPoint><SpectralPoint WL="413">0.2</SpectralPoint></CustomSpectrum>
        <CustomSpectrum ColorSpecification="x"><SpectralPoint WL="400">0.1</SpectralPoint><SpectralPoint WL="410">0.2</SpectralPoint></CustomSpectrum>
        <reflectancespectrum ColorSpecification="x">0.5</reflectancespectrum>
      </ColorValues>
    </Object>
  </ObjectCollection></Resources>
  <CustomResources><Tag Name="a" Value="b"/></CustomResources>
</CxF>)";
    SkipCollector skipped;
    VLError error;
    HBColorDocumentPtr document = HBColorDocument::initWithData(data, &skipped, &error);
    ASSERT_TRUE(document) << error.description().toStdString();
    ASSERT_EQ(document->colors().size(), 1);
    const HBColor &color = *document->colors().first();
    ASSERT_EQ(color.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).size(), 1);
    EXPECT_TRUE(color.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).first()->attributes().isEmpty());
    const auto spectra = color.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    ASSERT_EQ(spectra.size(), 1) << "the regular custom spectrum is read, the irregular one is not";
    EXPECT_EQ(spectra.first()->endWavelength(), 410);
    EXPECT_TRUE(document->customResources().isEmpty());
    // Lookups are case-sensitive: "reflectancespectrum" is not a spectrum.
    EXPECT_EQ(skipped.reasons.size(), 4) << skipped.reasons.join(QStringLiteral(" | ")).toStdString();
    EXPECT_TRUE(skipped.reasons.join(QLatin1Char(' ')).contains(QStringLiteral("ColorSRGB")));
    EXPECT_TRUE(skipped.reasons.join(QLatin1Char(' ')).contains(QStringLiteral("reflectancespectrum")));

    // Writing such a document again gives a valid file: the identifier "1bad" is replaced.
    EXPECT_TRUE(isValidCxf3(document->dataRepresentation(nullptr)));
}

// The colours are read as the parser streams them, the rest of the file as a tree: the same markup
// must mean the same wherever it stands.
TEST(HBCxfReader, ColoursMeanTheSameWhateverMarkupCarriesTheirText)
{
    const QByteArray plain = defaultNamespace("", "0.5 0.6 0.7");
    QByteArray marked = plain;
    marked.replace("<CxF ", "<!DOCTYPE CxF [<!ENTITY half \"0.5\"><!ENTITY more \"&half; 0.6\"><!ENTITY sea \"Sea\">]>\n<CxF ");
    marked.replace(">0.5 0.6 0.7<", ">&more;<!-- measured --> <?note x?><![CDATA[0.7]]><");
    marked.replace("Name=\"Sea Glass\"", "Name=\"&sea;&#32;Glass\"");
    marked.replace("<L>50</L>", "<L><![CDATA[50]]></L><L>99</L>"); // the first L counts
    // An Object anywhere but in the first ObjectCollection of the first Resources is not a colour.
    marked.replace("</ObjectCollection>", "<Other><Object Id=\"nested\"/></Other></ObjectCollection>"
                                          "<ObjectCollection><Object Id=\"second\"/></ObjectCollection>");
    marked.replace("</Resources>", "</Resources><Resources><ObjectCollection><Object Id=\"third\"/>"
                                   "</ObjectCollection></Resources>");
    // CxF3 puts the specifications after the objects; a file that has them first reads the same.
    const qsizetype specStart = plain.indexOf("<ColorSpecificationCollection>");
    const qsizetype specEnd = plain.indexOf("</ColorSpecificationCollection>") + qsizetype(strlen("</ColorSpecificationCollection>"));
    QByteArray specificationsFirst = plain;
    const QByteArray specifications = plain.mid(specStart, specEnd - specStart);
    specificationsFirst.remove(specStart, specEnd - specStart);
    specificationsFirst.replace("<Resources>", "<Resources>" + specifications);

    auto read = [](const QByteArray &data) {
        VLError error;
        HBColorDocumentPtr document = HBColorDocument::initWithData(data, nullptr, &error);
        EXPECT_TRUE(document) << error.description().toStdString();
        return document ? document->colors() : QList<HBColorPtr>();
    };
    const QList<HBColorPtr> expected = read(plain);
    ASSERT_EQ(expected.size(), 1);
    for (const QByteArray &data : {marked, specificationsFirst}) {
        const QList<HBColorPtr> colours = read(data);
        ASSERT_EQ(colours.size(), 1) << data.constData();
        EXPECT_EQ(colours.first()->propertyList(), expected.first()->propertyList()) << data.constData();
    }
    const auto spectra = expected.first()->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    ASSERT_EQ(spectra.size(), 1);
    EXPECT_EQ(spectra.first()->values(), (QList<double>{0.5, 0.6, 0.7}));
    EXPECT_EQ(expected.first()->attributeForKey(HBColorNameAttributeKey).toString(), "Sea Glass");
}

TEST(HBCxfReader, RefusesInconsistentSpectraWithAClearError)
{
    struct Case {
        QByteArray data;
        const char *hint;
    };
    const Case cases[] = {
        {defaultNamespace("StartWL=\"380\"", kValues31), "380"},
        {defaultNamespace("", "0.5 0.5 0.5", "StartWL=\"400\" Increment=\"3\""), "3 nm"},
        {defaultNamespace("", kValues31 + " " + kValues31, "StartWL=\"400\" Increment=\"10\""), "1010 nm"},
        {defaultNamespace("EndWL=\"700\"", kValues31 + " 0.5"), "710 nm"},
        {defaultNamespace("", "85.3 84.1 80.0"), "85.3"},
        {defaultNamespace("", "0.5 abc 0.5"), "not a number"},
        {defaultNamespace("", "0.5 0.5", "StartWL=\"405\" Increment=\"10\""), "405"},
        {defaultNamespace("Increment=\"5\"", kValues31), "5 nm"},
        {defaultNamespace("", kValues31, "StartWL=\"400.5\" Increment=\"10\""), "whole nanometres"},
        {QByteArray(defaultNamespace("", kValues31)).replace("ColorSpecification=\"cs\" >", "ColorSpecification=\"nope\">"),
         "nope"},
        {QByteArray(defaultNamespace("", kValues31)).replace("<B>-2</B>", ""), "L, A and B"},
    };
    for (const Case &c : cases) {
        const VLError error = readError(c.data);
        EXPECT_EQ(error.domain(), HBErrorDomain);
        EXPECT_EQ(error.code(), HBErrorInconsistentData) << c.hint;
        EXPECT_TRUE(error.localizedDescription().contains(QString::fromUtf8(c.hint)))
            << c.hint << ": " << error.localizedDescription().toStdString();
        EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("\"o1\"")) ||
                    error.localizedDescription().contains(QStringLiteral("\"cs\"")))
            << "names the colour or its ColorSpecification: " << error.localizedDescription().toStdString();
    }
}

TEST(HBCxfReader, RejectsWhatIsNotACxF3Document)
{
    const QByteArray good = defaultNamespace("", kValues31);
    EXPECT_EQ(readError(QByteArray()).code(), HBErrorNotXML);
    EXPECT_EQ(readError("just text").code(), HBErrorNotXML);
    for (qsizetype cut : {qsizetype(10), good.size() / 2, good.size() - 3})
        EXPECT_EQ(readError(good.left(cut)).code(), HBErrorNotXML) << cut;
    EXPECT_EQ(readError("<CxF/>").code(), HBErrorNotCxF3);
    EXPECT_EQ(readError("<cc:CxF xmlns:cc=\"http://colorexchangeformat.com/CxF2\"/>").code(), HBErrorNotCxF3);
    EXPECT_EQ(readError("<Palette xmlns=\"http://colorexchangeformat.com/CxF3-core\"/>").code(), HBErrorNotCxF3);
    EXPECT_EQ(readError("<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><x>&e;</x>").code(), HBErrorNotCxF3);

    // Nested entities that would expand to gigabytes.
    QByteArray laughs = "<!DOCTYPE CxF [<!ENTITY l0 \"lollollollollol\">";
    for (int level = 1; level < 10; ++level)
        laughs += "<!ENTITY l" + QByteArray::number(level) + " \"" +
                  QByteArray("&l" + QByteArray::number(level - 1) + ";").repeated(10) + "\">";
    laughs += "]><CxF xmlns=\"http://colorexchangeformat.com/CxF3-core\"><FileInformation><Creator>&l9;"
              "</Creator></FileInformation></CxF>";
    EXPECT_EQ(readError(laughs).code(), HBErrorNotXML);

    // An entity libxml2 accepts (10 KB), referenced wherever this reader expands references itself:
    // a few kilobytes that would stand for megabytes of text.
    const QByteArray manyReferences = QByteArray("&m1;").repeated(256);
    const QByteArray declarations = "<!DOCTYPE CxF [<!ENTITY m0 \"" + QByteArray("0.5 ").repeated(250) +
                                    "\"><!ENTITY m1 \"" + QByteArray("&m0;").repeated(10) + "\">]>\n";
    const QByteArray plain = declarations + defaultNamespace("", kValues31);
    const QByteArray amplifying[] = {
        QByteArray(plain).replace(kValues31, manyReferences),                              // inside a colour
        QByteArray(plain).replace("Name=\"Sea Glass\"", "Name=\"" + manyReferences + "\""), // a colour's attribute
        QByteArray(plain).replace("<Illuminant>D65", "<Illuminant>" + manyReferences + "D65"), // the tree's text
        QByteArray(plain).replace("</Resources>", "</Resources><CustomResources><x:Note xmlns:x=\"urn:x\">" +
                                                      manyReferences + "</x:Note></CustomResources>"),
    };
    for (const QByteArray &data : amplifying) {
        const VLError error = readError(data);
        EXPECT_EQ(error.code(), HBErrorEntityExpansion) << error.localizedDescription().toStdString();
        EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("entity references expand")));
    }
    const HBColorDocumentPtr modest =
        HBColorDocument::initWithData(QByteArray(plain).replace("Name=\"Sea Glass\"", "Name=\"&m1;\""), nullptr, nullptr);
    ASSERT_TRUE(modest) << "an entity within the bound is read";
    EXPECT_EQ(modest->colors().first()->attributeForKey(HBColorNameAttributeKey).toString().size(), 10000);

    // Bytes its declared encoding cannot carry: our error, and nothing from libxml2 on stderr.
    testing::internal::CaptureStderr();
    const VLError undecodable = readError("<?xml version=\"1.0\" encoding=\"Shift_JIS\"?>\n"
                                          "<cc:CxF xmlns:cc=\"http://colorexchangeformat.com/CxF3-core\">"
                                          "<cc:FileInformation><cc:Creator>\x81\xff\x82</cc:Creator>"
                                          "</cc:FileInformation></cc:CxF>");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string());
    EXPECT_EQ(undecodable.code(), HBErrorNotXML);

    VLError error;
    EXPECT_FALSE(HBColorDocument::initWithFile(QStringLiteral("/nonexistent/deck.cxf"), nullptr, &error));
    EXPECT_EQ(error.code(), HBErrorFileUnreadable);
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("/nonexistent/deck.cxf")));
}
