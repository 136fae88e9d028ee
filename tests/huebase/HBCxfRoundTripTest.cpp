#include "HBTestSupport.h"

#include <TX350CustomResource.h>

#include <TestSupport.h>

#include <QDateTime>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

HBColorDocumentPtr readBack(const QByteArray &data)
{
    VLError error;
    HBColorDocumentPtr document = HBColorDocument::initWithData(data, nullptr, &error);
    EXPECT_TRUE(document) << error.description().toStdString();
    return document;
}

QSharedPointer<TX350CustomResource> tx350Of(const HBColorDocument &document)
{
    for (const HBCustomResourcePtr &resource : document.customResources()) {
        if (auto tx350 = resource.dynamicCast<TX350CustomResource>())
            return tx350;
    }
    return {};
}

} // namespace

TEST(HBCxfRoundTrip, WrittenDocumentsValidateAgainstTheSchema)
{
    if (cxf3SchemaPath().isEmpty())
        GTEST_SKIP() << "CxF3 schema not found beside the checkout (CXF3_SCHEMA)";
    VLError error;
    const QByteArray data = sampleDocument()->dataRepresentation(&error);
    ASSERT_FALSE(data.isEmpty()) << error.description().toStdString();
    EXPECT_TRUE(isValidCxf3(data));

    // Odd grids go out point by point; an empty document is still a document.
    HBColorDocumentPtr odd(new HBColorDocument);
    HBColorPtr color = HBColor::color();
    color->addRepresentation(HBColorRepresentation::spectralRepresentation(420, 10, QList<double>(20, 0.5)));
    color->addRepresentation(HBColorRepresentation::spectralRepresentation(400, 3, QList<double>(5, 0.5)));
    odd->addColor(color);
    EXPECT_TRUE(isValidCxf3(odd->dataRepresentation(nullptr)));
    EXPECT_TRUE(isValidCxf3(HBColorDocument().dataRepresentation(nullptr)));
}

TEST(HBCxfRoundTrip, WriteReadWriteKeepsEverything)
{
    HBColorDocumentPtr original = sampleDocument();
    const QByteArray first = original->dataRepresentation(nullptr);
    HBColorDocumentPtr copy = readBack(first);
    ASSERT_TRUE(copy);

    ASSERT_EQ(copy->colors().size(), original->colors().size());
    for (qsizetype i = 0; i < original->colors().size(); ++i) {
        const HBColor &expected = *original->colors()[i];
        const HBColor &actual = *copy->colors()[i];
        for (const QString &key : expected.attributes().keys())
            EXPECT_EQ(actual.attributeForKey(key), expected.attributeForKey(key)) << key.toStdString();
        ASSERT_EQ(actual.representations().size(), expected.representations().size());
        for (qsizetype r = 0; r < expected.representations().size(); ++r) {
            const HBColorRepresentation &want = *expected.representations()[r];
            const HBColorRepresentation &got = *actual.representations()[r];
            EXPECT_EQ(got.colorSpaceModel(), want.colorSpaceModel());
            EXPECT_EQ(got.values(), want.values());
            EXPECT_EQ(got.startWavelength(), want.startWavelength());
            EXPECT_EQ(got.wavelengthIncrement(), want.wavelengthIncrement());
            EXPECT_EQ(got.attributes(), want.attributes());
        }
    }
    EXPECT_EQ(copy->colors()[3]->attributeForKey(QStringLiteral("Finish")).toString(), QStringLiteral("kept as a tag"));

    for (const QString &key : {CXF3FandeckCustomResourceGUIDKey, CXF3FandeckCustomResourceNameKey,
                               CXF3FandeckCustomResourceEditionKey, CXF3FandeckCustomResourceSupplierKey,
                               CXF3FandeckCustomResourceVersionKey, HBDocumentCreatorAttributeKey,
                               HBDocumentDescriptionAttributeKey, HBDocumentCreationDateAttributeKey,
                               QStringLiteral("Region")}) {
        EXPECT_EQ(copy->attributeForKey(key), original->attributeForKey(key)) << key.toStdString();
    }

    const auto tx350 = tx350Of(*copy);
    ASSERT_TRUE(tx350);
    EXPECT_EQ(tx350->fandecks(), tx350Of(*original)->fandecks());
    ASSERT_EQ(tx350->matches().size(), 1);
    const QVariantMap match = tx350->matches().first();
    EXPECT_EQ(match.value(TX350CustomResourceMatchDateKey).toDateTime(),
              QDateTime(QDate(2026, 3, 7), QTime(9, 5, 0, 250), Qt::UTC));
    EXPECT_EQ(match, tx350Of(*original)->matches().first());

    EXPECT_EQ(copy->dataRepresentation(nullptr), first);
}

// XML 1.0 cannot carry NUL, most C0 controls, U+FFFE, U+FFFF or unpaired surrogates. Each such
// character becomes U+FFFD wherever text is written; nothing else of the document changes.
TEST(HBCxfRoundTrip, TextThatXmlCannotCarryIsReplacedAndTheRestKept)
{
    const QString hostile = QStringLiteral("a") + QChar(0) + QStringLiteral("b") + QChar(0x01) + QChar(0x09)
                          + QChar(0x1F) + QChar(0xFFFE) + QChar(0xFFFF) + QChar(0xD800) + QStringLiteral("c")
                          + QChar(0xDC00) + QStringLiteral("😀") + QChar(0x7F);
    const QString expected = QStringLiteral("a\uFFFDb\uFFFD\t\uFFFD\uFFFD\uFFFD\uFFFDc\uFFFD😀") + QChar(0x7F);

    HBColorDocumentPtr document = sampleDocument();
    document->setAttribute(hostile, HBDocumentDescriptionAttributeKey);
    document->colors()[0]->setAttribute(hostile, HBColorNameAttributeKey);
    document->colors()[0]->setAttribute(hostile, QStringLiteral("Note"));
    QSharedPointer<TX350CustomResource> matches = TX350CustomResource::resource();
    matches->addMatch({{TX350CustomResourceMatchTextKey, hostile}, {QStringLiteral("odd key ") + hostile, hostile}});
    document->addCustomResource(matches);

    VLError error;
    const QByteArray data = document->dataRepresentation(&error);
    ASSERT_FALSE(data.isEmpty()) << error.description().toStdString();
    EXPECT_TRUE(isValidCxf3(data));
    HBColorDocumentPtr copy = readBack(data);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->attributeForKey(HBDocumentDescriptionAttributeKey).toString(), expected);
    EXPECT_EQ(copy->colors()[0]->attributeForKey(HBColorNameAttributeKey).toString(), expected);
    EXPECT_EQ(copy->colors()[0]->attributeForKey(QStringLiteral("Note")).toString(), expected);
    ASSERT_EQ(copy->colors().size(), document->colors().size());
    QList<QVariantMap> readMatches;
    for (const HBCustomResourcePtr &resource : copy->customResources()) {
        if (auto tx350 = resource.dynamicCast<TX350CustomResource>())
            readMatches = tx350->matches(); // the last one: the resource added above
    }
    ASSERT_EQ(readMatches.size(), 1);
    EXPECT_EQ(readMatches[0].value(TX350CustomResourceMatchTextKey).toString(), expected);
    EXPECT_EQ(readMatches[0].size(), 2);
}

// The written file declares no entities, so a foreign resource that used the source's entities
// carries their text instead of references that would leave the file unreadable.
TEST(HBCxfRoundTrip, ForeignCustomResourcesSurviveWithTheTextOfTheirEntities)
{
    const QByteArray input = R"(<?xml version="1.0"?>
<!DOCTYPE CxF [<!ENTITY brand "Teal"><!ENTITY both "&brand; &amp; gold">]>
<CxF xmlns="http://colorexchangeformat.com/CxF3-core" xmlns:v="urn:example:vendor">
  <CustomResources>
    <v:Palette v:kind="brand" name="&brand;"><v:Entry>&both;!</v:Entry><Other xmlns="urn:example:other"/></v:Palette>
  </CustomResources>
</CxF>)";
    HBColorDocumentPtr document = readBack(input);
    ASSERT_TRUE(document);
    ASSERT_EQ(document->customResources().size(), 1);
    EXPECT_EQ(document->customResources().first()->namespaceURI(), QStringLiteral("urn:example:vendor"));
    EXPECT_EQ(document->customResources().first()->localName(), QStringLiteral("Palette"));

    const QByteArray written = document->dataRepresentation(nullptr);
    EXPECT_TRUE(isValidCxf3(written));
    HBColorDocumentPtr again = readBack(written);
    ASSERT_TRUE(again) << written.constData();
    ASSERT_EQ(again->customResources().size(), 1);
    const auto foreign = again->customResources().first().dynamicCast<HBForeignCustomResource>();
    ASSERT_TRUE(foreign);
    const QByteArray text = foreign->xmlText();
    for (const char *kept : {"<v:Entry>Teal &amp; gold!</v:Entry>", "urn:example:other", "kind=\"brand\"", "name=\"Teal\""})
        EXPECT_TRUE(text.contains(kept)) << kept << " in " << text.constData();
}

TEST(HBCxfRoundTrip, WriteToFileIsAtomicAndReportsFailures)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("deck.cxf"));
    VLError error;
    ASSERT_TRUE(sampleDocument()->writeToFile(path, &error)) << error.description().toStdString();
    EXPECT_TRUE(HBColorDocument::initWithFile(path, nullptr, &error));

    EXPECT_FALSE(sampleDocument()->writeToFile(dir.filePath(QStringLiteral("missing/deck.cxf")), &error));
    EXPECT_EQ(error.domain(), HBErrorDomain);
    EXPECT_EQ(error.code(), HBErrorWriteFailed);

    HBColorDocumentPtr bad(new HBColorDocument);
    HBColorPtr color = HBColor::color();
    color->addRepresentation(HBColorRepresentation::spectralRepresentation(400, 10, {0.5, 85.0, 0.5}));
    bad->addColor(color);
    EXPECT_FALSE(bad->writeToFile(path, &error));
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("85"))) << error.description().toStdString();
    EXPECT_TRUE(HBColorDocument::initWithFile(path, nullptr, nullptr)) << "the earlier file must be intact";
}
