#include "DevsimMatcher.h"

#include <lcms2.h>

#include <limits>

double devsimDeltaE2000(const DevsimLab &a, const DevsimLab &b, double kL, double kC, double kH)
{
    const cmsCIELab first{a[0], a[1], a[2]};
    const cmsCIELab second{b[0], b[1], b[2]};
    return cmsCIE2000DeltaE(&first, &second, kL, kC, kH);
}

std::optional<DevsimMatch> devsimBestMatch(const DevsimLab &measured, const QList<DevsimCandidate> &candidates,
                                           const DevsimMatchSettings &settings)
{
    std::optional<DevsimMatch> best;
    double bestScore = std::numeric_limits<double>::infinity();
    for (const DevsimCandidate &candidate : candidates) {
        const double deltaE = devsimDeltaE2000(measured, candidate.lab, settings.kL, settings.kC, settings.kH);
        const bool preferred = !settings.priorityDeviceFileID.isEmpty()
                            && candidate.deviceFileID == settings.priorityDeviceFileID;
        const double score = preferred ? deltaE - settings.priorityOffset : deltaE;
        if (score < bestScore) {
            bestScore = score;
            best = DevsimMatch{candidate, deltaE};
        }
    }
    if (best && settings.tolerance && best->deltaE > *settings.tolerance)
        return std::nullopt;
    return best;
}
