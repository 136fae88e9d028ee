#pragma once

#include <QString>

#include <span>

struct HBXYZ {
    double X = 0;
    double Y = 0;
    double Z = 0;
};

struct HBLab {
    double L = 0;
    double a = 0;
    double b = 0;
};

// Tristimulus values (Y of a perfect reflector about 100) of a reflectance spectrum (1.0 = 100 %)
// under D65 with ASTM E308 Table 6 weights, for observer type 0 (2 degree) or 1 (10 degree).
// The spectrum must lie on the 10 nm grid; when it is shorter than 360-780 nm, the weights of the
// missing wavelengths are added to its first and last values, as E308 prescribes. Returns false
// with a reason in *errorText when the spectrum cannot be weighted.
bool hbSpectrumToXYZ(int startWavelength, int increment, std::span<const double> reflectances, int observerType,
                     HBXYZ *xyz, QString *errorText);

// White point of D65 for the observer, as published with the Table 6 weights.
HBXYZ hbD65WhitePoint(int observerType);

HBLab hbXYZToLab(const HBXYZ &xyz, const HBXYZ &whitePoint);
HBXYZ hbLabToXYZ(const HBLab &lab, const HBXYZ &whitePoint);

// 8-bit sRGB for showing a CIELAB colour on screen. The CIELAB value is taken relative to the D65
// white of the given observer, adapted (Bradford) to sRGB's white by Little CMS, clamped to the
// sRGB gamut and rounded.
struct HBRGB8 {
    int r = 0;
    int g = 0;
    int b = 0;
};
HBRGB8 hbLabToSRGB8(const HBLab &lab, int observerType);

// CIEDE2000 with the parametric weights of lightness, chroma and hue.
double hbDeltaE2000(const HBLab &lab1, const HBLab &lab2, double kL = 1, double kC = 1, double kH = 1);

bool hbIsSupportedObserverType(int observerType);
