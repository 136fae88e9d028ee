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
#include "VLMatchEntry.h"
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

// Each record read as the sync and the exports read it, and written as the export writes matches:
// the measured colour with its attributes, and the match entry with the capture time, the tag and
// the audio note.
void exportMeasurements(const QVariantList &records)
{
    HBColorDocument document;
    const QSharedPointer<TX350CustomResource> matches = TX350CustomResource::resource();
    for (const QVariant &record : records) {
        const VLMatchEntry entry = VLMatchEntry::fromMeasurement(KDMeasurement::initWithDictionary(record.toMap()));
        if (!entry.measured)
            continue;
        matches->addMatch(entry.exportEntry(QStringLiteral("fd0"), QVariant(), QStringLiteral("VL000001")));
        document.addColor(entry.measured);
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
