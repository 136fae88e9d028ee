#pragma once

#include <QList>
#include <QString>

#include <array>
#include <optional>

using DevsimLab = std::array<double, 3>;

// A colour of an enabled fandeck that a capture can match.
struct DevsimCandidate
{
    QString colorId;
    QString deviceFileID;
    DevsimLab lab{};
};

// The matching settings of "SetDeltaE" and "SetPreferredFandeck".
struct DevsimMatchSettings
{
    double kL = 1;
    double kC = 1;
    double kH = 1;
    // Largest colour difference accepted; none: the nearest colour always matches.
    std::optional<double> tolerance;
    // Colours of the preferred fandeck compete with their difference lessened by the offset.
    double priorityOffset = 0;
    QString priorityDeviceFileID;
};

struct DevsimMatch
{
    DevsimCandidate candidate;
    double deltaE = 0;
};

double devsimDeltaE2000(const DevsimLab &a, const DevsimLab &b, double kL, double kC, double kH);
std::optional<DevsimMatch> devsimBestMatch(const DevsimLab &measured, const QList<DevsimCandidate> &candidates,
                                           const DevsimMatchSettings &settings);
