// A property list (XML or binary) as the files on disk hold them ("defaults.plist", "info.plist",
// "wscache.plist", "resume.plist"), read the way their readers read them, then written again:
// whatever is written must read back.

#include "FuzzFileRecords.h"
#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"
#include "VLDescription.h"
#include "VLPropertyList.h"

#include <QLocale>

namespace {

// What the sync manager reads of its stored settings.
void readAsDefaults(const QVariantMap &defaults)
{
    (void)defaults.value(QStringLiteral("VLSyncManagerDefaultsAutoSync")).toBool();
    (void)defaults.value(QStringLiteral("VLSyncManagerDefaultsSyncFandeckIdentifiers")).toStringList();
    const QDateTime last = defaults.value(QStringLiteral("VLSyncManagerDefaultsLastSyncDate")).toDateTime();
    if (last.isValid())
        (void)QLocale().toString(last.toLocalTime().date(), QLocale::LongFormat);
}

} // namespace

int tinteraFuzzPropertyList(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    VLError error;
    const QVariant value = VLPropertyList::fromData(tinteraFuzzBytes(data, size), &error);
    if (!value.isValid()) {
        TINTERA_FUZZ_CHECK(!error.isNull(), "an unreadable property list says why");
        return 0;
    }
    (void)vlDescribe(value);

    VLSyncFileList files;
    if (value.typeId() == QMetaType::QVariantMap) {
        readAsDefaults(value.toMap());
        files.append(VLSyncFileInfoPtr::create(value.toMap()));        // an "info.plist"
        (void)value.toMap().value(QStringLiteral("suggestedFilename")).toString(); // a "resume.plist"
    }
    for (const QVariant &entry : value.toList()) {                      // a "wscache.plist"
        if (entry.typeId() == QMetaType::QVariantMap)
            files.append(VLSyncFileInfo::initWithDictionary(entry.toMap()));
    }
    tinteraFuzzExerciseFileRecords(files);

    for (const bool binary : {false, true}) {
        VLError writeError;
        const QByteArray written = binary ? VLPropertyList::toBinary(value, &writeError) : VLPropertyList::toXml(value, &writeError);
        if (written.isEmpty()) {
            TINTERA_FUZZ_CHECK(!writeError.isNull(), "a property list that cannot be written says why");
            continue;
        }
        VLError readError;
        const QVariant again = VLPropertyList::fromData(written, &readError);
        TINTERA_FUZZ_CHECK(again.isValid() && readError.isNull(), "a written property list reads back");
        TINTERA_FUZZ_CHECK(again.typeId() == value.typeId(), "a written property list keeps its kind");
    }
    tinteraFuzzDrainEvents();
    return 0;
}
