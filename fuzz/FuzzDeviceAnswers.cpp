// The payloads of the device's answers: the file inventory of "GetFiles", every KX value decoded
// through the procedural interface and converted both ways, and measurement records of
// "GetMeasurements" exported into a document that must read back.

#include "FuzzFileRecords.h"
#include "FuzzSupport.h"
#include "HBColorDocument.h"
#include "KDMeasurement.h"
#include "KDType.h"
#include "KXTypes.h"
#include "TX350CustomResource.h"
#include "TinteraFuzzTargets.h"
#include "VLSecondsSince1970.h"
#include "VLSyncManager.h"

namespace {

constexpr int kMaxWalkDepth = 64;

// Every value reached through the procedural interface, as the engine reaches an inventory's.
void walk(KXTypeRef value, int depth)
{
    if (depth > kMaxWalkDepth)
        return;
    switch (KXGetTypeID(value)) {
    case KXArrayTypeID:
        for (KXIndex i = 0; i < KXArrayGetCount(KXArrayRef(value)); ++i)
            walk(KXArrayGetValueAtIndex(KXArrayRef(value), i), depth + 1);
        break;
    case KXDictionaryTypeID: {
        KXArrayRef keys = KXDictionaryCopyAllKeys(KXDictionaryRef(value));
        for (KXIndex i = 0; i < KXArrayGetCount(keys); ++i)
            walk(KXDictionaryGetObjectForKey(KXDictionaryRef(value), KXArrayGetValueAtIndex(keys, i)), depth + 1);
        KXRelease(keys);
        break;
    }
    case KXStringTypeID:
        (void)KXStringGetText(KXStringRef(value));
        break;
    case KXDataTypeID:
        TINTERA_FUZZ_CHECK(KXDataGetLength(KXDataRef(value)) == 0 || KXDataGetBytePtr(KXDataRef(value)),
                           "data has its bytes");
        break;
    default:
        (void)KDType::objectForKXType(value);
        break;
    }
}

// The export's reading of each record, written as it writes matches: the measured colour with its
// attributes, and a match entry with the capture time, the tag and the audio note.
void exportMeasurements(const QVariantList &records)
{
    HBColorDocument document;
    const QSharedPointer<TX350CustomResource> matches = TX350CustomResource::resource();
    for (const QVariant &record : records) {
        const KDMeasurementPtr measurement = KDMeasurement::initWithDictionary(record.toMap());
        const HBColorPtr measured = measurement->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo);
        if (!measured)
            continue;
        const QDateTime date = vlDateFromSecondsSince1970(measured->attributeForKey(KDMeasurementDateSince1970Key).toDouble());
        QVariantMap match{{TX350CustomResourceMatchColorFandeckIDKey, QStringLiteral("fd0")},
                          {TX350CustomResourceMatchTextKey, measured->attributeForKey(KDMeasurementTextTagKey)},
                          {TX350CustomResourceMatchAudioSourceURIKey,
                           QStringLiteral("Audio/") + measured->attributeForKey(KDMeasurementAudioFileNameKey).toString()}};
        if (date.isValid())
            match.insert(TX350CustomResourceMatchDateKey, date);
        matches->addMatch(match);
        document.addColor(measured);
    }
    document.addCustomResource(matches);
    VLError error;
    const QByteArray written = document.dataRepresentation(&error);
    if (written.isEmpty()) {
        TINTERA_FUZZ_CHECK(!error.isNull(), "an export that cannot be written says why");
        return;
    }
    VLError readError;
    const HBColorDocumentPtr again = HBColorDocument::initWithData(written, nullptr, &readError);
    TINTERA_FUZZ_CHECK(again, "an exported document reads back");
    TINTERA_FUZZ_CHECK(again->colors().size() == document.colors().size(), "an exported document keeps every match");
}

} // namespace

int tinteraFuzzDeviceAnswers(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    const QByteArray bytes = tinteraFuzzBytes(data, size);
    tinteraFuzzExerciseFileRecords(VLSyncManager::deviceFilesFromInventoryData(bytes));

    KXDataRef encoded = KXDataCreateWithBytes(bytes.constData(), uint32_t(bytes.size()));
    KXTypeRef decoded = KXCoderCopyDecodedObjectFromData(encoded);
    KXRelease(encoded);
    if (!decoded)
        return 0;
    walk(decoded, 0);
    const QVariant native = KDType::objectForKXType(decoded);
    KXRelease(decoded);
    KXTypeRef converted = KDType::KXTypeCreateWithObject(native);
    TINTERA_FUZZ_CHECK(converted, "a decoded value converts back into the framework's values");
    KXDataRef reencoded = KXCoderCopyEncodedDataFromObject(converted);
    KXRelease(converted);
    if (reencoded) {
        KXTypeRef again = KXCoderCopyDecodedObjectFromData(reencoded);
        TINTERA_FUZZ_CHECK(again, "an encoded value decodes again");
        KXRelease(again);
        KXRelease(reencoded);
    }

    exportMeasurements(native.typeId() == QMetaType::QVariantList ? native.toList() : QVariantList{native});
    tinteraFuzzDrainEvents();
    return 0;
}
