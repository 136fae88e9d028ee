#include "DevsimMatcher.h"
#include "DevsimMedia.h"
#include "DevsimTestData.h"
#include "HBColorimetry.h"

#include <gtest/gtest.h>

// Pairs and expected differences from Sharma, Wu and Dalal's CIEDE2000 test data.
TEST(DevsimMatcher, DeltaE2000MatchesPublishedPairsAndTheColourFramework)
{
    const struct
    {
        DevsimLab a, b;
        double expected;
    } pairs[] = {{{50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}, 2.0425},
                 {{50.0, 2.5, 0.0}, {73.0, 25.0, -18.0}, 27.1492},
                 {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
                 {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373}};
    for (const auto &pair : pairs) {
        EXPECT_NEAR(devsimDeltaE2000(pair.a, pair.b, 1, 1, 1), pair.expected, 1e-4);
        for (const auto &[kL, kC, kH] : {std::array{2.0, 1.0, 1.0}, std::array{1.0, 0.5, 3.0}}) {
            EXPECT_NEAR(devsimDeltaE2000(pair.a, pair.b, kL, kC, kH),
                        hbDeltaE2000({pair.a[0], pair.a[1], pair.a[2]}, {pair.b[0], pair.b[1], pair.b[2]}, kL, kC, kH), 1e-6);
        }
    }
}

TEST(DevsimMatcher, PriorityOffsetAndToleranceDecideTheMatch)
{
    const QList<DevsimCandidate> candidates{{QStringLiteral("near"), QStringLiteral("1"), {52, 0, 0}},
                                            {QStringLiteral("far"), QStringLiteral("2"), {53, 0, 0}}};
    DevsimMatchSettings settings;
    EXPECT_EQ(devsimBestMatch({50, 0, 0}, candidates, settings)->candidate.colorId, QStringLiteral("near"));
    settings.priorityDeviceFileID = QStringLiteral("2");
    settings.priorityOffset = 1.5;
    EXPECT_EQ(devsimBestMatch({50, 0, 0}, candidates, settings)->candidate.colorId, QStringLiteral("far"));
    const double farDifference = devsimBestMatch({50, 0, 0}, candidates, settings)->deltaE;
    EXPECT_GT(farDifference, 2.5) << "the reported difference is the real one, not the favoured score";
    settings.tolerance = farDifference - 0.01;
    EXPECT_FALSE(devsimBestMatch({50, 0, 0}, candidates, settings));
    EXPECT_FALSE(devsimBestMatch({50, 0, 0}, {}, DevsimMatchSettings()));
}

TEST(DevsimMedia, BitmapAndWaveShapes)
{
    EXPECT_TRUE(devsimIsBitmap(sampleBitmap()));
    QByteArray truncated = sampleBitmap();
    truncated.chop(1);
    EXPECT_FALSE(devsimIsBitmap(truncated));
    EXPECT_FALSE(devsimIsBitmap(QByteArray("BM")));
    EXPECT_FALSE(devsimIsBitmap(sampleBitmap(0, 2)));
    EXPECT_TRUE(devsimIsWave(sampleWave()));
    EXPECT_FALSE(devsimIsWave(QByteArray("RIFF1234AVI LIST")));
}
