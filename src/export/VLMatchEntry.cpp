#include "VLMatchEntry.h"

#include "TX350CustomResource.h"
#include "VLSecondsSince1970.h"

namespace {

void insertIfPresent(QVariantMap &entry, const QString &key, const QVariant &value)
{
    if (value.isValid() && !value.isNull())
        entry.insert(key, value);
}

} // namespace

VLMatchEntry VLMatchEntry::fromMeasurement(const KDMeasurementPtr &match)
{
    VLMatchEntry entry;
    entry.measured = match ? match->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo) : HBColorPtr();
    if (!entry.measured)
        return entry;
    entry.colorId = entry.measured->attributeForKey(KDMeasurementColorIdKey).toString();
    entry.deviceFileID = entry.measured->attributeForKey(KDMeasurementDeviceFileIDKey).toString();
    entry.audioFileName = entry.measured->attributeForKey(KDMeasurementAudioFileNameKey).toString();
    entry.textTag = entry.measured->attributeForKey(KDMeasurementTextTagKey);
    entry.since1970 = entry.measured->attributeForKey(KDMeasurementDateSince1970Key);
    entry.date = vlDateFromSecondsSince1970(entry.since1970.toDouble());
    return entry;
}

QVariantMap VLMatchEntry::exportEntry(const QString &fandeckID, const QVariant &colorObjectID,
                                      const QString &serialNumber) const
{
    QVariantMap entry{
        {TX350CustomResourceMatchColorFandeckIDKey, fandeckID},
        {TX350CustomResourceMatchDeviceManufacturerKey, QStringLiteral("Kalvex")},
        {TX350CustomResourceMatchDeviceModelKey, QStringLiteral("TX350")},
    };
    // A capture time no calendar date can show is left out rather than written as an empty date.
    if (date.isValid())
        entry.insert(TX350CustomResourceMatchDateKey, date);
    insertIfPresent(entry, TX350CustomResourceMatchColorObjectIDKey, colorObjectID);
    if (!audioFileName.isEmpty())
        entry.insert(TX350CustomResourceMatchAudioSourceURIKey, QStringLiteral("Audio/") + audioFileName);
    insertIfPresent(entry, TX350CustomResourceMatchTextKey, textTag);
    if (!serialNumber.isNull())
        entry.insert(TX350CustomResourceMatchDeviceSerialNumberKey, serialNumber);
    return entry;
}
