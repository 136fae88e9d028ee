#include "VLMeasurementLibrary.h"

#include "VLFormat.h"

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>

namespace {

// Step N brings a database from version N-1 to N. Steps are never changed once released: a
// change to the schema is a new step.
const QList<QStringList> kSteps = {
    // 1: the captures and the runs that read them. A run is a sync or a user's export; the sync
    // history adds its own columns to sync_runs.
    {
        QStringLiteral("CREATE TABLE sync_runs ("
                       " id INTEGER PRIMARY KEY,"
                       " started_at INTEGER NOT NULL," // milliseconds since 1970, UTC
                       " device_serial TEXT NOT NULL,"
                       " kind TEXT NOT NULL)"),        // "sync" or "export"
        QStringLiteral("CREATE TABLE captures ("
                       " id INTEGER PRIMARY KEY,"
                       " device_serial TEXT NOT NULL,"
                       " captured_at INTEGER NOT NULL," // milliseconds since 1970, UTC
                       " device_file_id TEXT NOT NULL,"
                       " color_id TEXT NOT NULL,"
                       " color_name TEXT NOT NULL DEFAULT '',"
                       " color_number TEXT NOT NULL DEFAULT '',"
                       " fandeck TEXT NOT NULL DEFAULT '',"
                       " lab_l REAL NOT NULL, lab_a REAL NOT NULL, lab_b REAL NOT NULL,"
                       " srgb INTEGER NOT NULL," // 0xRRGGBB
                       " tag TEXT NOT NULL DEFAULT '',"
                       " audio_name TEXT NOT NULL DEFAULT ''," // the note's name on the device
                       " audio_file TEXT NOT NULL DEFAULT ''," // its copy in the library's audio folder
                       " on_device INTEGER NOT NULL DEFAULT 1,"
                       " first_run INTEGER NOT NULL REFERENCES sync_runs(id),"
                       " last_run INTEGER NOT NULL REFERENCES sync_runs(id),"
                       " UNIQUE (device_serial, captured_at, device_file_id, color_id))"),
        QStringLiteral("CREATE INDEX captures_by_date ON captures (captured_at)"),
    },
    // 2: the fandeck colour's reflectance, for the export formats that carry spectra.
    {
        QStringLiteral("ALTER TABLE captures ADD COLUMN spectrum_start INTEGER NOT NULL DEFAULT 0"),
        QStringLiteral("ALTER TABLE captures ADD COLUMN spectrum_increment INTEGER NOT NULL DEFAULT 0"),
        QStringLiteral("ALTER TABLE captures ADD COLUMN spectrum BLOB"), // little-endian doubles
    },
    // 3: the sync history: how each sync ended and what it did. A run recorded at its end has an
    // ending; the lists are JSON arrays (files: type, sku, description, version; errors: domain,
    // code, description), read back whole and never queried into.
    {
        QStringLiteral("ALTER TABLE sync_runs ADD COLUMN ended_at INTEGER"), // milliseconds since 1970, UTC
        QStringLiteral("ALTER TABLE sync_runs ADD COLUMN ending TEXT NOT NULL DEFAULT ''"), // vlSyncRunEndingName
        QStringLiteral("ALTER TABLE sync_runs ADD COLUMN installed TEXT NOT NULL DEFAULT '[]'"),
        QStringLiteral("ALTER TABLE sync_runs ADD COLUMN fandecks_enabled TEXT NOT NULL DEFAULT '[]'"),
        QStringLiteral("ALTER TABLE sync_runs ADD COLUMN errors TEXT NOT NULL DEFAULT '[]'"),
        QStringLiteral("CREATE INDEX sync_runs_by_start ON sync_runs (started_at)"),
    },
};
static_assert(VLMeasurementLibrary::kSchemaVersion == 3, "a new schema version needs its step in kSteps");

VLError libraryError(const QString &text)
{
    return VLError(VLMeasurementLibraryErrorDomain, 1, text);
}

} // namespace

int VLMeasurementLibrary::schemaVersion(const QSqlDatabase &database)
{
    QSqlQuery query(database);
    return query.exec(QStringLiteral("PRAGMA user_version")) && query.next() ? query.value(0).toInt() : -1;
}

bool VLMeasurementLibrary::migrate(QSqlDatabase &database, int toVersion, VLError *error)
{
    QSqlQuery probe(database);
    if (!probe.exec(QStringLiteral("PRAGMA user_version")) || !probe.next()) {
        *error = libraryError(vlFormat(QCoreApplication::translate("VLMeasurementLibrary", "%@ is not a measurement library: %@"),
                                       database.databaseName(), probe.lastError().text()));
        return false;
    }
    const int version = probe.value(0).toInt();
    probe.finish();
    if (version > kSchemaVersion) {
        *error = libraryError(vlFormat(QCoreApplication::translate(
                                           "VLMeasurementLibrary",
                                           "The measurement library %@ was written by a newer version of TINTERA Sync "
                                           "(schema %d, this one knows %d); it is left as it is."),
                                       database.databaseName(), version, kSchemaVersion));
        return false;
    }
    if (version >= toVersion)
        return true;
    // All steps in one transaction: a database is at one version or the next, never between.
    if (!database.transaction()) {
        *error = libraryError(database.lastError().text());
        return false;
    }
    QSqlQuery query(database);
    for (int step = version + 1; step <= toVersion; ++step) {
        for (const QString &statement : kSteps.at(step - 1)) {
            if (!query.exec(statement)) {
                *error = libraryError(vlFormat(QCoreApplication::translate("VLMeasurementLibrary",
                                                                           "Updating the measurement library %@ failed: %@"),
                                               database.databaseName(), query.lastError().text()));
                database.rollback();
                return false;
            }
        }
    }
    if (!query.exec(QStringLiteral("PRAGMA user_version = %1").arg(toVersion)) || !database.commit()) {
        *error = libraryError(database.lastError().text());
        database.rollback();
        return false;
    }
    return true;
}
