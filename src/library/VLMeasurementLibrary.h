#pragma once

#include "VLCapture.h"
#include "VLError.h"
#include "VLMatchesRead.h"
#include "VLSyncHistory.h"

#include <QList>
#include <QObject>
#include <QSqlDatabase>
#include <QString>

#include <memory>

class QPluginLoader;

// The measurement library: every capture any sync or export has read, stored once per device,
// capture time and colour, in an SQLite database in the data folder with the audio notes in a
// folder beside it. A capture deleted on its device stays, marked as no longer on the device.
//
// Each read goes in as one transaction: a program killed while it writes leaves the library as it
// was before that read. The schema carries its version (PRAGMA user_version) and is brought up to
// date when the library opens; a library written by a newer program is refused, not changed.
// Main thread only; several processes may share a library (SQLite locks it).
class VLMeasurementLibrary
{
public:
    static constexpr int kSchemaVersion = 3;

    // <data folder>/Library/Measurements.sqlite.
    static QString defaultPath();

    explicit VLMeasurementLibrary(QString path);
    ~VLMeasurementLibrary();
    VLMeasurementLibrary(const VLMeasurementLibrary &) = delete;
    VLMeasurementLibrary &operator=(const VLMeasurementLibrary &) = delete;

    // Creates the database (private to the user) or brings its schema up to date.
    bool open(VLError *error);
    QString path() const { return m_path; }
    QString audioFolder() const;

    // Keeps what one sync or export read: new captures are added, known ones updated and seen
    // again, the device's captures the read did not find are marked as no longer on the device.
    // All or nothing.
    bool addMatchesRead(const VLMatchesRead &read, VLError *error);

    // Every capture, newest first. Spectra stay in the database: matchRecords() brings them.
    VLCaptureList captures(VLError *error) const;
    // The captures with these ids as export records, spectra included, in the order given.
    VLMatchRecordList matchRecords(const QList<qint64> &ids, VLError *error) const;

    // Keeps a full sync in the history once it has ended, in one transaction: the run row its
    // export step made for the captures when there is one, else a new row. Preliminary runs and
    // runs still going are not history; they are left out and answer true.
    bool recordRun(const VLSyncRunReport &report, const QString &deviceSerialNumber, VLError *error);
    // The recorded syncs, newest first; at most `limit` of them when it is above 0.
    VLSyncHistory history(VLError *error, int limit = 0) const;

    // Brings a database to the schema version given (kSchemaVersion normally; tests ask for older
    // ones). The database's version must not be newer.
    static bool migrate(QSqlDatabase &database, int toVersion, VLError *error);
    static int schemaVersion(const QSqlDatabase &database);

private:
    QSqlDatabase database() const;
    QSqlDatabase addConnection();
    QString m_path;
    QString m_connection;
    std::unique_ptr<QPluginLoader> m_driverPlugin;
};

// Tells whoever shows a library in this process that a write to it has been committed, so a window
// open on it reads it again then rather than asking the database from time to time.
class VLMeasurementLibraryChanges : public QObject
{
    Q_OBJECT
public:
    static VLMeasurementLibraryChanges *instance();

signals:
    void written(const QString &path);
};

// Keeps every read an export hands out in the library at its default path: front ends call this
// once at start. Failures are logged; a read the library refuses is still in the export's file.
void vlKeepMatchesInLibrary();
// Records a sync that ended in the library at its default path, as both front ends do at the end
// of every run. Failures are logged: the history is a record, never a reason for a sync to fail.
void vlRecordSyncInLibrary(const VLSyncRunReport &report, const QString &deviceSerialNumber);

extern const QString VLMeasurementLibraryErrorDomain;
