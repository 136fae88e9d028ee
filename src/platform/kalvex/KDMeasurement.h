#pragma once

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

// The colour space under which a measurement carries its colour and the match the device made.
inline const QString KDMeasurementColorSpaceColorInfo = QStringLiteral("ColorInfo");

// Keys of a measured colour's attributes.
inline const QString KDMeasurementColorIdKey = QStringLiteral("ColorId");
inline const QString KDMeasurementDeviceFileIDKey = QStringLiteral("DeviceFileID");
inline const QString KDMeasurementDateSince1970Key = QStringLiteral("DateSince1970");
inline const QString KDMeasurementTextTagKey = QStringLiteral("TextTag");
inline const QString KDMeasurementAudioFileNameKey = QStringLiteral("AudioFileName");

// Keys of a colour in a measurement record (the device's encoding).
inline const QString KDMeasurementColorAttributesKey = QStringLiteral("Attributes");
inline const QString KDMeasurementColorLabKey = QStringLiteral("Lab");           // array of L*, a*, b* (D65, 10 degree)
inline const QString KDMeasurementColorSpectrumKey = QStringLiteral("Spectrum"); // dictionary, keys below
inline const QString KDSpectrumStartWavelengthKey = QStringLiteral("StartWavelength");
inline const QString KDSpectrumIncrementKey = QStringLiteral("Increment");
inline const QString KDSpectrumValuesKey = QStringLiteral("Values");

// Reflectance values from a start wavelength in equal steps (nanometres).
struct KDSpectrum
{
    double startWavelength = 0;
    double increment = 0;
    QList<double> values;
    bool isValid() const { return increment > 0 && !values.isEmpty(); }
};

// One measured colour: the match attributes the device recorded and the colour itself.
class KDMeasurementColor
{
public:
    // Null when the dictionary is not a colour.
    static QSharedPointer<KDMeasurementColor> initWithDictionary(const QVariantMap &dictionary);

    const QVariantMap &attributes() const { return m_attributes; }
    QVariant attributeForKey(const QString &key) const { return m_attributes.value(key); }
    // Three values, or none when the device sent no CIELAB form.
    const QList<double> &lab() const { return m_lab; }
    const KDSpectrum &spectrum() const { return m_spectrum; }
    QVariantMap dictionary() const;
    QString description() const;

private:
    QVariantMap m_attributes;
    QList<double> m_lab;
    KDSpectrum m_spectrum;
};

using KDMeasurementColorPtr = QSharedPointer<KDMeasurementColor>;

// One colour the user captured on the device, as "GetMeasurements" returns it: a dictionary from
// colour-space name ("ColorInfo") to colour.
class KDMeasurement
{
public:
    static QSharedPointer<KDMeasurement> initWithDictionary(const QVariantMap &record);

    // None when the measurement has no colour in that space.
    KDMeasurementColorPtr measurementColorForColorSpace(const QString &colorSpace) const;
    QStringList colorSpaces() const { return m_colors.keys(); }
    QVariantMap dictionary() const;
    QString description() const;

private:
    QMap<QString, KDMeasurementColorPtr> m_colors;
};

using KDMeasurementPtr = QSharedPointer<KDMeasurement>;
using KDMeasurementList = QList<KDMeasurementPtr>;
