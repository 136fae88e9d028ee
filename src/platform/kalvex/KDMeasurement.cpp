#include "KDMeasurement.h"

#include "VLFormat.h"

namespace {

QList<double> numbers(const QVariant &value)
{
    QList<double> result;
    const QVariantList list = value.toList();
    for (const QVariant &item : list) {
        bool ok = false;
        const double number = item.toDouble(&ok);
        if (!ok)
            return {};
        result.append(number);
    }
    return result;
}

QVariantList variants(const QList<double> &values)
{
    QVariantList list;
    for (double value : values)
        list.append(value);
    return list;
}

} // namespace

QSharedPointer<KDMeasurementColor> KDMeasurementColor::initWithDictionary(const QVariantMap &dictionary)
{
    if (!dictionary.contains(KDMeasurementColorAttributesKey) && !dictionary.contains(KDMeasurementColorLabKey)
        && !dictionary.contains(KDMeasurementColorSpectrumKey))
        return {};
    auto color = QSharedPointer<KDMeasurementColor>::create();
    color->m_attributes = dictionary.value(KDMeasurementColorAttributesKey).toMap();
    color->m_lab = numbers(dictionary.value(KDMeasurementColorLabKey));
    if (color->m_lab.size() != 3)
        color->m_lab.clear();
    const QVariantMap spectrum = dictionary.value(KDMeasurementColorSpectrumKey).toMap();
    color->m_spectrum.startWavelength = spectrum.value(KDSpectrumStartWavelengthKey).toDouble();
    color->m_spectrum.increment = spectrum.value(KDSpectrumIncrementKey).toDouble();
    color->m_spectrum.values = numbers(spectrum.value(KDSpectrumValuesKey));
    if (!color->m_spectrum.isValid())
        color->m_spectrum = KDSpectrum();
    return color;
}

QVariantMap KDMeasurementColor::dictionary() const
{
    QVariantMap map{{KDMeasurementColorAttributesKey, m_attributes}};
    if (!m_lab.isEmpty())
        map.insert(KDMeasurementColorLabKey, variants(m_lab));
    if (m_spectrum.isValid()) {
        map.insert(KDMeasurementColorSpectrumKey,
                   QVariantMap{{KDSpectrumStartWavelengthKey, m_spectrum.startWavelength},
                               {KDSpectrumIncrementKey, m_spectrum.increment},
                               {KDSpectrumValuesKey, variants(m_spectrum.values)}});
    }
    return map;
}

QString KDMeasurementColor::description() const
{
    return vlFormat("<KDMeasurementColor %@>", QVariant(m_attributes));
}

QSharedPointer<KDMeasurement> KDMeasurement::initWithDictionary(const QVariantMap &record)
{
    auto measurement = QSharedPointer<KDMeasurement>::create();
    for (auto it = record.constBegin(); it != record.constEnd(); ++it) {
        if (KDMeasurementColorPtr color = KDMeasurementColor::initWithDictionary(it.value().toMap()))
            measurement->m_colors.insert(it.key(), color);
    }
    return measurement;
}

KDMeasurementColorPtr KDMeasurement::measurementColorForColorSpace(const QString &colorSpace) const
{
    return m_colors.value(colorSpace);
}

QVariantMap KDMeasurement::dictionary() const
{
    QVariantMap map;
    for (auto it = m_colors.constBegin(); it != m_colors.constEnd(); ++it)
        map.insert(it.key(), it.value()->dictionary());
    return map;
}

QString KDMeasurement::description() const
{
    return vlFormat("<KDMeasurement %@>", QVariant(dictionary()));
}
