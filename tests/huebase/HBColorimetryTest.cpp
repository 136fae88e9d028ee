#include <HBColorRepresentation.h>
#include <HBColorimetry.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The spectrum the expected figures below were summed for, by hand from the published table.
QList<double> peakSpectrum(int start, int count)
{
    QList<double> values;
    for (int i = 0; i < count; ++i) {
        const double wavelength = start + 10 * i;
        values << 0.2 + 0.5 * std::exp(-std::pow((wavelength - 560) / 60.0, 2)) + 0.0005 * i;
    }
    return values;
}

HBLab labOf(const QList<double> &spectrum, int start, int observer)
{
    HBColorRepresentationPtr lab =
        HBColorRepresentation::spectralRepresentation(start, 10, spectrum)
            ->colorUsingColorSpaceModel(HBColorSpaceModelCIELab,
                                        {{HBColorRepIlluminantAttributeKey, HBIlluminantD65},
                                         {HBColorRepObserverTypeAttributeKey, observer}},
                                        nullptr);
    EXPECT_TRUE(lab);
    return lab ? HBLab{lab->L(), lab->a(), lab->b()} : HBLab{};
}

} // namespace

TEST(HBColorimetry, WeightedSumsMatchTheTableIncludingFoldedEnds)
{
    struct Case {
        int observer;
        int start;
        int count;
        HBXYZ xyz;
        HBLab lab;
    };
    // 400-700 nm exercises E308's folding of 360-390 and 710-780 onto the end values.
    const Case cases[] = {
        {1, 400, 31, {45.8906847796, 54.6451177528, 25.6522358721}, {78.8364112507, -16.2002525278, 39.3840040936}},
        {1, 360, 43, {46.0802750635, 54.8451000081, 25.8668254757}, {78.9519599112, -16.1584256019, 39.2380650593}},
        {0, 400, 31, {45.2492759612, 56.6536013810, 26.7826184563}, {79.9843651409, -23.3095886497, 40.1778077851}},
        {0, 360, 43, {45.4393050077, 56.8535878139, 27.0002690867}, {80.0971736698, -23.2500645449, 40.0337674120}},
    };
    for (const Case &c : cases) {
        const QList<double> spectrum = peakSpectrum(c.start, c.count);
        HBXYZ xyz;
        QString reason;
        ASSERT_TRUE(hbSpectrumToXYZ(c.start, 10, spectrum, c.observer, &xyz, &reason)) << reason.toStdString();
        EXPECT_NEAR(xyz.X, c.xyz.X, 1e-6);
        EXPECT_NEAR(xyz.Y, c.xyz.Y, 1e-6);
        EXPECT_NEAR(xyz.Z, c.xyz.Z, 1e-6);
        const HBLab lab = labOf(spectrum, c.start, c.observer);
        EXPECT_NEAR(lab.L, c.lab.L, 1e-6);
        EXPECT_NEAR(lab.a, c.lab.a, 1e-6);
        EXPECT_NEAR(lab.b, c.lab.b, 1e-6);
    }
}

TEST(HBColorimetry, ConversionRecordsConditionsAndRefusesWhatItCannotWeigh)
{
    HBColorRepresentationPtr spectrum = HBColorRepresentation::spectralRepresentation(400, 10, peakSpectrum(400, 31));
    spectrum->setAttribute(2, HBColorRepMeasurementTypeAttributeKey);
    HBColorRepresentationPtr lab = spectrum->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, nullptr);
    ASSERT_TRUE(lab);
    EXPECT_EQ(lab->attributeForKey(HBColorRepObserverTypeAttributeKey).toInt(), 1);
    EXPECT_EQ(lab->attributeForKey(HBColorRepIlluminantAttributeKey).toString(), HBIlluminantD65);
    EXPECT_EQ(lab->attributeForKey(HBColorRepTristimulusSpectralConvertionMethodAttributeKey).toString(),
              HBTristimulusConvertionMethodE308Table6);
    EXPECT_EQ(lab->attributeForKey(HBColorRepMeasurementTypeAttributeKey).toInt(), 2);

    VLError error;
    EXPECT_FALSE(HBColorRepresentation::spectralRepresentation(400, 5, QList<double>(61, 0.5))
                     ->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, &error));
    EXPECT_EQ(error.code(), HBErrorUnsupportedConversion);
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("5 nm")));

    EXPECT_FALSE(HBColorRepresentation::spectralRepresentation(405, 10, QList<double>(30, 0.5))
                     ->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, &error));
    EXPECT_FALSE(spectrum->colorUsingColorSpaceModel(
        HBColorSpaceModelCIELab, {{HBColorRepIlluminantAttributeKey, QStringLiteral("A")}}, &error));
    EXPECT_FALSE(spectrum->colorUsingColorSpaceModel(HBColorSpaceModelCIELab,
                                                     {{HBColorRepObserverTypeAttributeKey, 7}}, &error));
    EXPECT_FALSE(lab->colorUsingColorSpaceModel(HBColorSpaceModelSpectral, {}, &error));
    EXPECT_FALSE(lab->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {{HBColorRepObserverTypeAttributeKey, 0}},
                                                &error));
    EXPECT_TRUE(lab->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {{HBColorRepObserverTypeAttributeKey, 1}},
                                               nullptr));
}

TEST(HBColorimetry, LabRoundTripAndDeltaE2000)
{
    const HBXYZ white = hbD65WhitePoint(1);
    const HBLab lab{52.3, -12.5, 30.25};
    const HBLab back = hbXYZToLab(hbLabToXYZ(lab, white), white);
    EXPECT_NEAR(back.L, lab.L, 1e-6);
    EXPECT_NEAR(back.a, lab.a, 1e-6);
    EXPECT_NEAR(back.b, lab.b, 1e-6);
    // Sharma, Wu and Dalal's CIEDE2000 test data, pair 1.
    EXPECT_NEAR(hbDeltaE2000({50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}), 2.0425, 1e-4);
    EXPECT_DOUBLE_EQ(hbDeltaE2000(lab, lab), 0.0);
    EXPECT_LT(hbDeltaE2000({50, 0, 0}, {52, 0, 0}, 2, 1, 1), hbDeltaE2000({50, 0, 0}, {52, 0, 0}));
}
