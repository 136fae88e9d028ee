#pragma once

#include "HBColor.h"

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

// The colour space under which a measurement carries its colour and the match the device made.
extern const QString KDMeasurementColorSpaceColorInfo;

// Keys of the attributes of a measured colour.
extern const QString KDMeasurementColorIdKey;
extern const QString KDMeasurementDeviceFileIDKey;
extern const QString KDMeasurementDateSince1970Key;
extern const QString KDMeasurementTextTagKey;
extern const QString KDMeasurementAudioFileNameKey;

// One colour the user captured on the device, as "GetMeasurements" returns it. On the wire a
// measurement record is a dictionary from colour-space name ("ColorInfo") to a colour in the
// colour framework's property-list form (HBColor::propertyList(): "Attributes" and
// "Representations"); the colour's attributes hold the match the device made.
class KDMeasurement
{
public:
    // Colours that cannot be read are left out (the measurement then has no colour in that space).
    static QSharedPointer<KDMeasurement> initWithDictionary(const QVariantMap &record);

    // None when the measurement has no colour in that space.
    HBColorPtr measurementColorForColorSpace(const QString &colorSpace) const;
    QStringList colorSpaces() const { return m_colors.keys(); }
    QVariantMap dictionary() const;
    QString description() const;

private:
    QMap<QString, HBColorPtr> m_colors;
};

using KDMeasurementPtr = QSharedPointer<KDMeasurement>;
using KDMeasurementList = QList<KDMeasurementPtr>;
