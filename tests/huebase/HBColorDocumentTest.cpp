#include "HBTestSupport.h"

#include <TX350CustomResource.h>

#include <VLPropertyList.h>

#include <gtest/gtest.h>

namespace {

HBColorPtr colour(const QString &name, const QString &number)
{
    HBColorPtr color = HBColor::color();
    color->setAttribute(name, HBColorNameAttributeKey);
    color->setAttribute(number, HBColorNumberAttributeKey);
    return color;
}

QStringList names(const QList<HBColorPtr> &colors)
{
    QStringList list;
    for (const HBColorPtr &color : colors)
        list << color->attributeForKey(HBColorNameAttributeKey).toString();
    return list;
}

} // namespace

TEST(HBColorDocument, LooksUpColoursByAttributesAndKeepsTheIndexCurrent)
{
    HBColorDocument document;
    for (int i = 0; i < 3000; ++i)
        document.addColor(colour(QStringLiteral("Name %1").arg(i % 1000), QStringLiteral("N %1").arg(i)));

    EXPECT_EQ(names(document.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("N 2500")}})),
              QStringList{QStringLiteral("Name 500")});
    // Several colours with one name come back in document order, so "the last" is the last.
    const QList<HBColorPtr> sameName = document.colorsWithAttributes({{HBColorNameAttributeKey, QStringLiteral("Name 7")}});
    ASSERT_EQ(sameName.size(), 3);
    EXPECT_EQ(sameName.last()->attributeForKey(HBColorNumberAttributeKey).toString(), QStringLiteral("N 2007"));
    EXPECT_EQ(document.colorsWithAttributes({{HBColorNameAttributeKey, QStringLiteral("Name 7")},
                                             {HBColorNumberAttributeKey, QStringLiteral("N 1007")}})
                  .size(),
              1);
    EXPECT_TRUE(document.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("n 7")}}).isEmpty());
    EXPECT_TRUE(document.colorsWithAttributes({{HBColorNumberAttributeKey, 7}}).isEmpty());
    EXPECT_EQ(document.colorsWithAttributes({}).size(), 3000);

    // Changing an attribute of a colour the document holds, and adding colours after a look-up.
    document.colors()[10]->setAttribute(QStringLiteral("Renamed"), HBColorNameAttributeKey);
    EXPECT_EQ(document.colorsWithAttributes({{HBColorNameAttributeKey, QStringLiteral("Name 10")}}).size(), 2);
    EXPECT_EQ(document.colorsWithAttributes({{HBColorNameAttributeKey, QStringLiteral("Renamed")}}).size(), 1);
    document.addColor(colour(QStringLiteral("Late"), QStringLiteral("N 2500")));
    EXPECT_EQ(names(document.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("N 2500")}})),
              (QStringList{QStringLiteral("Name 500"), QStringLiteral("Late")}));
    document.colors()[10]->setAttribute(QVariant(), HBColorNameAttributeKey);
    EXPECT_TRUE(document.colorsWithAttributes({{HBColorNameAttributeKey, QStringLiteral("Renamed")}}).isEmpty());

    // A colour shared with another document keeps both documents' indexes right.
    HBColorDocument other;
    other.addColor(document.colors()[20]);
    EXPECT_EQ(other.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("N 20")}}).size(), 1);
    document.colors()[20]->setAttribute(QStringLiteral("N 20b"), HBColorNumberAttributeKey);
    EXPECT_EQ(other.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("N 20b")}}).size(), 1);
    EXPECT_EQ(document.colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("N 20b")}}).size(), 1);
}

// What the match export builds: a fandeck colour's attributes copied once per match, the one
// representation with its measurement conditions shared by both copies, the TX350 lists.
TEST(HBColorDocument, AColourMatchedTwiceSharesItsRepresentationAndRoundTrips)
{
    const HBColorPtr source = sampleDocument()->colors()[3];
    const HBColorRepresentationPtr lab = source->representations().first();
    HBColorDocumentPtr exported(new HBColorDocument);
    for (int i = 0; i < 2; ++i) {
        HBColorPtr copy = HBColor::color();
        for (auto it = source->attributes().cbegin(); it != source->attributes().cend(); ++it)
            copy->setAttribute(it.value(), it.key());
        copy->addRepresentation(lab);
        exported->addColor(copy);
    }
    auto tx350 = TX350CustomResource::resource();
    tx350->addFandeck({{TX350CustomResourceFandeckIDKey, QStringLiteral("fd0")}});
    tx350->addMatch({{TX350CustomResourceMatchColorFandeckIDKey, QStringLiteral("fd0")}});
    exported->addCustomResource(tx350);

    const QByteArray data = exported->dataRepresentation(nullptr);
    EXPECT_TRUE(isValidCxf3(data));
    HBColorDocumentPtr back = HBColorDocument::initWithData(data, nullptr, nullptr);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->colors().size(), 2);
    EXPECT_EQ(back->colors()[1]->representations().first()->attributes(), lab->attributes());
    for (const QString &key : source->attributes().keys())
        EXPECT_EQ(back->colors()[1]->attributeForKey(key), source->attributeForKey(key)) << key.toStdString();
}

TEST(HBColorDocument, PropertyListFormCarriesAColour)
{
    HBColorPtr color = sampleDocument()->colors().first();
    color->setAttribute(1741339500.25, QStringLiteral("DateSince1970"));
    color->representations().last()->setAttribute(45, HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey);
    VLError error;
    HBColorPtr copy = HBColor::colorWithPropertyList(color->propertyList(), &error);
    ASSERT_TRUE(copy) << error.description().toStdString();
    EXPECT_EQ(copy->attributes(), color->attributes());
    ASSERT_EQ(copy->representations().size(), color->representations().size());
    for (qsizetype i = 0; i < color->representations().size(); ++i) {
        EXPECT_EQ(copy->representations()[i]->values(), color->representations()[i]->values());
        EXPECT_EQ(copy->representations()[i]->attributes(), color->representations()[i]->attributes());
        EXPECT_EQ(copy->representations()[i]->startWavelength(), color->representations()[i]->startWavelength());
    }
    // Through the binary property-list coding of the device wire, numbers come back as 64-bit.
    VLError codingError;
    const QVariant decoded =
        VLPropertyList::fromData(VLPropertyList::toBinary(color->propertyList(), &codingError), &codingError);
    HBColorPtr wired = HBColor::colorWithPropertyList(decoded.toMap(), &error);
    ASSERT_TRUE(wired) << codingError.description().toStdString();
    EXPECT_EQ(wired->attributes(), color->attributes());
    EXPECT_EQ(wired->representations().last()->attributes(), color->representations().last()->attributes());
    EXPECT_EQ(wired->representations().first()->values(), color->representations().first()->values());

    QVariantMap broken = color->propertyList();
    broken[QStringLiteral("Representations")] = QVariantList{QVariantMap{{QStringLiteral("Model"), 12}}};
    EXPECT_FALSE(HBColor::colorWithPropertyList(broken, &error));
    EXPECT_EQ(error.code(), HBErrorInvalidValue);
}
