// CGATS files from other programs, read by the colour framework through Little CMS.
#include "HBTestSupport.h"

#include <gtest/gtest.h>

namespace {

QByteArray table(const QByteArray &fields, const QByteArray &rows, int count)
{
    return "CGATS.17\nORIGINATOR \"test\"\nNUMBER_OF_FIELDS " + QByteArray::number(fields.split(' ').size())
        + "\nBEGIN_DATA_FORMAT\n" + fields + "\nEND_DATA_FORMAT\nNUMBER_OF_SETS " + QByteArray::number(count)
        + "\nBEGIN_DATA\n" + rows + "END_DATA\n";
}

} // namespace

TEST(HBCgatsReader, ReadsArgyllStyleFilesWithPercentSpectra)
{
    const QByteArray data = table("SAMPLE_ID SAMPLE_LOC LAB_L LAB_A LAB_B SPEC_400 SPEC_410 SPEC_420",
        "1 \"Red one\" 40.5 50.25 30 10.0 20.0 30.0\n2 \"Grey\" 50 0 0 18 18 18\n", 2);
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithData(data, nullptr, &error);
    ASSERT_TRUE(document) << qPrintable(error.description());
    ASSERT_EQ(document->colors().size(), 2);
    const HBColor &red = *document->colors().first();
    EXPECT_EQ(red.attributeForKey(HBColorNameAttributeKey).toString(), QStringLiteral("Red one"));
    EXPECT_EQ(red.attributeForKey(HBColorObjectIDAttributeKey).toString(), QStringLiteral("1"));
    const auto spectrum = red.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    ASSERT_EQ(spectrum.size(), 1);
    EXPECT_EQ(spectrum.first()->values(), QList<double>({ 0.1, 0.2, 0.3 }));
    EXPECT_EQ(spectrum.first()->startWavelength(), 400);
    EXPECT_EQ(spectrum.first()->wavelengthIncrement(), 10);
    EXPECT_DOUBLE_EQ(red.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).first()->a(), 50.25);
    // No weighting function in the file: the CIELAB carries no conditions it does not state.
    EXPECT_TRUE(red.representationsWithColorSpaceModel(HBColorSpaceModelCIELab).first()->attributes().isEmpty());
}

TEST(HBCgatsReader, BadFilesGiveAClearErrorAndNoDocument)
{
    struct Case
    {
        const char *what;
        QByteArray data;
    };
    const QList<Case> cases = {
        { "a CIELAB value that is text", table("SAMPLE_ID LAB_L LAB_A LAB_B", "1 fifty 0 0\n", 1) },
        { "a spectral value that is text", table("SAMPLE_ID SPEC_400 SPEC_410", "1 10 x\n", 1) },
        { "fewer rows than announced, cut off", table("SAMPLE_ID LAB_L LAB_A LAB_B", "1 50 0 0\n", 3).left(150) },
        { "no data format", "CGATS.17\nBEGIN_DATA_FORMAT\nEND_DATA_FORMAT\nBEGIN_DATA\nEND_DATA\n" },
        // The library's tables are sized by these; given again, it wrote past them.
        { "NUMBER_OF_FIELDS given twice",
            "\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\nS L L B\nEND_DATA_FORMAT\nNUMBER_OF_SETS 2\n"
            "number_of_fields 8\nBEGIN_DATA\n1 .\n2 D L L @ : <" },
        { "NUMBER_OF_SETS given twice", table("SAMPLE_ID LAB_L", "1 50\n", 1).replace("BEGIN_DATA\n",
                                                "NUMBER_OF_SETS 9\nBEGIN_DATA\n") },
        { "an include of a file on disk", table("SAMPLE_ID LAB_L", "1 50\n", 1).prepend(".include \"/etc/passwd\"\n") },
        // Rows announced with no data section: a few bytes must not become a third of a million colours.
        { "rows announced, no data section",
            "CGATS.17\nNUMBER_OF_FIELDS 1\nBEGIN_DATA_FORMAT\nSAMPLE_ID\nEND_DATA_FORMAT\nNUMBER_OF_SETS 333333\n" },
    };
    for (const Case &bad : cases) {
        VLError error;
        EXPECT_FALSE(HBColorDocument::initWithData(bad.data, nullptr, &error)) << bad.what;
        EXPECT_EQ(error.domain(), HBErrorDomain) << bad.what;
        EXPECT_FALSE(error.localizedDescription().isEmpty()) << bad.what;
    }
    // Spectral columns that skip a band are left out, and the rest of the file is read.
    struct Skipped : HBColorDocumentDelegate
    {
        void colorDocumentDidSkipContent(HBColorDocument *, const QString &reason) override { reasons << reason; }
        QStringList reasons;
    } delegate;
    const HBColorDocumentPtr irregular = HBColorDocument::initWithData(
        table("SAMPLE_ID LAB_L LAB_A LAB_B SPEC_400 SPEC_410 SPEC_430", "1 50 1 2 10 20 30\n", 1), &delegate, nullptr);
    ASSERT_TRUE(irregular);
    EXPECT_EQ(irregular->colors().first()->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).size(), 0);
    EXPECT_EQ(delegate.reasons.size(), 1);
}
