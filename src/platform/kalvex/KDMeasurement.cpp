#include "KDMeasurement.h"

#include "TSLogger.h"
#include "VLFormat.h"

const QString KDMeasurementColorSpaceColorInfo = QStringLiteral("ColorInfo");
const QString KDMeasurementColorIdKey = QStringLiteral("ColorId");
const QString KDMeasurementDeviceFileIDKey = QStringLiteral("DeviceFileID");
const QString KDMeasurementDateSince1970Key = QStringLiteral("DateSince1970");
const QString KDMeasurementTextTagKey = QStringLiteral("TextTag");
const QString KDMeasurementAudioFileNameKey = QStringLiteral("AudioFileName");

QSharedPointer<KDMeasurement> KDMeasurement::initWithDictionary(const QVariantMap &record)
{
    auto measurement = QSharedPointer<KDMeasurement>::create();
    for (auto it = record.constBegin(); it != record.constEnd(); ++it) {
        if (it.value().typeId() != QMetaType::QVariantMap)
            continue;
        VLError error;
        if (HBColorPtr color = HBColor::colorWithPropertyList(it.value().toMap(), &error))
            measurement->m_colors.insert(it.key(), color);
        else
            VL_LOG("measurement colour %@ left out: %@", it.key(), error);
    }
    return measurement;
}

HBColorPtr KDMeasurement::measurementColorForColorSpace(const QString &colorSpace) const
{
    return m_colors.value(colorSpace);
}

QVariantMap KDMeasurement::dictionary() const
{
    QVariantMap map;
    for (auto it = m_colors.constBegin(); it != m_colors.constEnd(); ++it)
        map.insert(it.key(), it.value()->propertyList());
    return map;
}

QString KDMeasurement::description() const
{
    QVariantMap attributes;
    for (auto it = m_colors.constBegin(); it != m_colors.constEnd(); ++it)
        attributes.insert(it.key(), it.value()->attributes());
    return vlFormat("<KDMeasurement %@>", QVariant(attributes));
}
