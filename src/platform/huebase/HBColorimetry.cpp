#include "HBColorimetry.h"

#include "HBE308Table6.h"

#include <lcms2.h>

#include <QCoreApplication>

#include <array>
#include <cmath>
#include <algorithm>

namespace {

const HBE308WeightRow *weightTable(int observerType)
{
    return observerType == 0 ? HBE308Table6D65TwoDegree : HBE308Table6D65TenDegree;
}

double labCompand(double t)
{
    constexpr double epsilon = 216.0 / 24389.0;
    constexpr double kappa = 24389.0 / 27.0;
    return t > epsilon ? std::cbrt(t) : (kappa * t + 16.0) / 116.0;
}

cmsCIEXYZ toLcmsWhite(const HBXYZ &white)
{
    // Little CMS works on the scale where the white's Y is 1.
    return cmsCIEXYZ{white.X / 100.0, white.Y / 100.0, white.Z / 100.0};
}

// CIELAB relative to a D65 white becomes D65 XYZ, is adapted to the D50 of the ICC connection
// space with Bradford (cmsAdaptToIlluminant), and goes to sRGB through Little CMS's sRGB profile,
// which adapts back to its own D65. Treating the CIELAB values as D50 CIELAB instead (a CIELAB
// identity profile does that whatever its white point) is off by up to 8 steps of 255 in
// saturated colours. One transform, made on first use, serves every thread: floating-point
// transforms keep no cache.
class LabToSRGBTransform
{
public:
    LabToSRGBTransform()
    {
        cmsHPROFILE xyz = cmsCreateXYZProfile();
        cmsHPROFILE srgb = cmsCreate_sRGBProfile();
        if (xyz && srgb)
            m_transform = cmsCreateTransform(xyz, TYPE_XYZ_DBL, srgb, TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC,
                                             cmsFLAGS_NOCACHE);
        if (xyz)
            cmsCloseProfile(xyz);
        if (srgb)
            cmsCloseProfile(srgb);
    }
    ~LabToSRGBTransform()
    {
        if (m_transform)
            cmsDeleteTransform(m_transform);
    }
    LabToSRGBTransform(const LabToSRGBTransform &) = delete;
    LabToSRGBTransform &operator=(const LabToSRGBTransform &) = delete;

    HBRGB8 convert(const HBLab &lab, const HBXYZ &whitePoint) const
    {
        if (!m_transform)
            return {};
        const cmsCIEXYZ white = toLcmsWhite(whitePoint);
        const cmsCIELab in{lab.L, lab.a, lab.b};
        cmsCIEXYZ xyz;
        cmsCIEXYZ adapted;
        cmsLab2XYZ(&white, &xyz, &in);
        if (!cmsAdaptToIlluminant(&adapted, &white, cmsD50_XYZ(), &xyz))
            return {};
        std::array<double, 3> out{};
        cmsDoTransform(m_transform, &adapted, out.data(), 1);
        const auto step = [](double value) {
            return std::isfinite(value) ? int(std::lround(std::clamp(value, 0.0, 1.0) * 255.0)) : 0;
        };
        return {step(out[0]), step(out[1]), step(out[2])};
    }

private:
    cmsHTRANSFORM m_transform = nullptr;
};

} // namespace

HBRGB8 hbLabToSRGB8(const HBLab &lab, int observerType)
{
    static const LabToSRGBTransform transform;
    return transform.convert(lab, hbD65WhitePoint(observerType));
}

bool hbIsSupportedObserverType(int observerType)
{
    return observerType == 0 || observerType == 1;
}

bool hbSpectrumToXYZ(int startWavelength, int increment, std::span<const double> reflectances, int observerType,
                     HBXYZ *xyz, QString *errorText)
{
    auto fail = [errorText](const QString &text) {
        if (errorText)
            *errorText = text;
        return false;
    };
    if (!hbIsSupportedObserverType(observerType))
        return fail(QCoreApplication::translate("HBColorimetry", "Unsupported observer type %1").arg(observerType));
    if (reflectances.empty())
        return fail(QCoreApplication::translate("HBColorimetry", "The spectrum has no values"));
    if (increment != HBE308TableIncrement)
        return fail(QCoreApplication::translate("HBColorimetry",
                                                "Spectra with a %1 nm interval cannot be weighted: the weights are for 10 nm")
                        .arg(increment));
    if (startWavelength % HBE308TableIncrement != 0)
        return fail(QCoreApplication::translate("HBColorimetry", "Wavelength %1 nm is not on the 10 nm grid")
                        .arg(startWavelength));
    const int lastWavelength = startWavelength + int(reflectances.size() - 1) * increment;
    if (lastWavelength < HBE308TableFirstWavelength || startWavelength > HBE308TableLastWavelength)
        return fail(QCoreApplication::translate("HBColorimetry", "The spectrum %1-%2 nm lies outside 360-780 nm")
                        .arg(startWavelength)
                        .arg(lastWavelength));

    // Wavelengths of the table without data fold onto the nearest measured end (E308's rule for
    // shortened ranges); measured values outside the table carry no weight.
    const HBE308WeightRow *table = weightTable(observerType);
    const int firstIndex = std::max(0, (HBE308TableFirstWavelength - startWavelength) / increment);
    const int lastIndex =
        int(reflectances.size()) - 1 - std::max(0, (lastWavelength - HBE308TableLastWavelength) / increment);
    const int firstMeasured = startWavelength + firstIndex * increment;
    const int lastMeasured = startWavelength + lastIndex * increment;

    HBXYZ sum;
    for (int row = 0; row < HBE308TableRowCount; ++row) {
        const int wavelength = table[row].wavelength;
        const int clamped = std::clamp(wavelength, firstMeasured, lastMeasured);
        const double r = reflectances[size_t((clamped - startWavelength) / increment)];
        sum.X += table[row].x * r;
        sum.Y += table[row].y * r;
        sum.Z += table[row].z * r;
    }
    *xyz = sum;
    return true;
}

HBXYZ hbD65WhitePoint(int observerType)
{
    if (observerType == 0)
        return {95.047, 100.000, 108.883};
    return {94.811, 100.000, 107.304};
}

HBLab hbXYZToLab(const HBXYZ &xyz, const HBXYZ &whitePoint)
{
    const double fx = labCompand(xyz.X / whitePoint.X);
    const double fy = labCompand(xyz.Y / whitePoint.Y);
    const double fz = labCompand(xyz.Z / whitePoint.Z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

HBXYZ hbLabToXYZ(const HBLab &lab, const HBXYZ &whitePoint)
{
    const cmsCIEXYZ white = toLcmsWhite(whitePoint);
    const cmsCIELab in{lab.L, lab.a, lab.b};
    cmsCIEXYZ out;
    cmsLab2XYZ(&white, &out, &in);
    return {out.X * 100.0, out.Y * 100.0, out.Z * 100.0};
}

double hbDeltaE2000(const HBLab &lab1, const HBLab &lab2, double kL, double kC, double kH)
{
    const cmsCIELab a{lab1.L, lab1.a, lab1.b};
    const cmsCIELab b{lab2.L, lab2.a, lab2.b};
    return cmsCIE2000DeltaE(&a, &b, kL, kC, kH);
}
