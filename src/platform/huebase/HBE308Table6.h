#pragma once

// Published ASTM E308 Table 6 weighting factors (illuminant D65, 10 nm interval).
struct HBE308WeightRow {
    int wavelength;
    double x;
    double y;
    double z;
};

inline constexpr int HBE308TableFirstWavelength = 360;
inline constexpr int HBE308TableLastWavelength = 780;
inline constexpr int HBE308TableIncrement = 10;
inline constexpr int HBE308TableRowCount = 43;

extern const HBE308WeightRow HBE308Table6D65TenDegree[HBE308TableRowCount];
extern const HBE308WeightRow HBE308Table6D65TwoDegree[HBE308TableRowCount];
