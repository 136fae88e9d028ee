#pragma once

// How colour and document attributes and measurement conditions are spelled in CxF3.

#include "HBConstants.h"

#include <QString>

// Tag name of a colour or document attribute key, and back.
QString hbTagNameForAttributeKey(const QString &key);
QString hbAttributeKeyForTagName(const QString &tagName);

inline constexpr const char *HBCxfColorTagCollectionName = "ColorAttributes";

// Observer enumeration of TristimulusSpec; -1 when not one of ours.
int hbObserverTypeForCxfObserver(const QByteArray &observer);
const char *hbCxfObserverForObserverType(int observerType);

// DeviceIllumination M0..M3 and measurement type codes 0..3; -1 / null when not one of those.
int hbMeasurementTypeForCxfIllumination(const QByteArray &illumination);
const char *hbCxfIlluminationForMeasurementType(int measurementType);

bool hbIsCxfIlluminant(const QString &illuminant);
bool hbIsCxfMethod(const QString &method);
bool hbIsCxfSingleAngleConfiguration(const QString &configuration);

// Spectral intervals the CxF3 list types allow.
bool hbIsCxfWavelengthIncrement(int increment);
inline constexpr int HBCxfMinimumStartWavelength = 360;
inline constexpr int HBCxfMaximumStartWavelength = 400;
inline constexpr int HBCxfMaximumEndWavelength = 830;
