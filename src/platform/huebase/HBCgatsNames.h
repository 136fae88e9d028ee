#pragma once

// Field and keyword names of CGATS measurement files (ANSI CGATS.17, as Little CMS's IT8 functions
// and ArgyllCMS read and write them). The first group is standard; the second is what this product
// adds for a fandeck match, and ArgyllCMS's spectral convention closes the list.

inline constexpr const char *HBCgatsSampleID = "SAMPLE_ID";
inline constexpr const char *HBCgatsSampleName = "SAMPLE_NAME";
inline constexpr const char *HBCgatsSampleLocation = "SAMPLE_LOC"; // ArgyllCMS's name column
inline constexpr const char *HBCgatsLabL = "LAB_L";
inline constexpr const char *HBCgatsLabA = "LAB_A";
inline constexpr const char *HBCgatsLabB = "LAB_B";
inline constexpr const char *HBCgatsRGBR = "RGB_R";
inline constexpr const char *HBCgatsRGBG = "RGB_G";
inline constexpr const char *HBCgatsRGBB = "RGB_B";
inline constexpr const char *HBCgatsWeightingFunction = "WEIGHTING_FUNCTION";

inline constexpr const char *HBCgatsColorNumber = "COLOR_NUMBER";
inline constexpr const char *HBCgatsFandeck = "FANDECK";
inline constexpr const char *HBCgatsTextTag = "TEXT_TAG";
inline constexpr const char *HBCgatsCaptureDate = "CAPTURE_DATE";
inline constexpr const char *HBCgatsAudioNote = "AUDIO_NOTE";

// Spectral values in per cent, one field per band ("SPEC_400"), with the band count and the first
// and last wavelength as keywords.
inline constexpr const char *HBCgatsSpectralPrefix = "SPEC_";
inline constexpr const char *HBCgatsSpectralBands = "SPECTRAL_BANDS";
inline constexpr const char *HBCgatsSpectralStart = "SPECTRAL_START_NM";
inline constexpr const char *HBCgatsSpectralEnd = "SPECTRAL_END_NM";
