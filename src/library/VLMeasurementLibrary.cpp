#include "VLMeasurementLibrary.h"

#include "TSLogger.h"
#include "VLDataFolder.h"
#include "VLFormat.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"

#include <QAtomicInteger>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPluginLoader>
#include <QSet>
#include <QSqlDriver>
#include <QSqlDriverPlugin>
#include <QSqlError>
#include <QSqlQuery>
#include <QtEndian>

const QString VLMeasurementLibraryErrorDomain = QStringLiteral("VLMeasurementLibraryDomain");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLMeasurementLibrary", text);
}

VLError sqlError(const QString &what, const QSqlError &cause)
{
    return VLError(VLMeasurementLibraryErrorDomain, 2, vlFormat(tr("%@: %@"), what, cause.text()));
}

QByteArray spectrumBlob(const QList<double> &values)
{
    QByteArray blob(values.size() * qsizetype(sizeof(double)), Qt::Uninitialized);
    for (qsizetype i = 0; i < values.size(); ++i)
        qToLittleEndian(values.at(i), blob.data() + i * qsizetype(sizeof(double)));
    return blob;
}

QList<double> spectrumValues(const QByteArray &blob)
{
    QList<double> values;
    const qsizetype count = blob.size() / qsizetype(sizeof(double));
    values.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        values.append(qFromLittleEndian<double>(blob.constData() + i * qsizetype(sizeof(double))));
    return values;
}

int packedRGB(const VLMatchRecord &record)
{
    return (qBound(0, record.red, 255) << 16) | (qBound(0, record.green, 255) << 8) | qBound(0, record.blue, 255);
}

// A null QString binds as SQL NULL; the text columns hold '' for "none".
QString text(const QString &value)
{
    return value.isNull() ? QStringLiteral("") : value;
}

QDateTime dateOfMsecs(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

// The library's copy of an audio note: named by the capture's row, so that notes of the same name
// from two devices, or a name a device gives again after deleting a note, never meet.
QString audioFileName(qint64 id, const QString &noteName)
{
    return QStringLiteral("%1-%2").arg(id).arg(noteName);
}

struct KnownCapture
{
    qint64 id = 0;
    bool hasAudio = false;
    bool onDevice = true;
};

} // namespace

QString VLMeasurementLibrary::defaultPath()
{
    return vlApplicationDataFolder() + QStringLiteral("/Library/Measurements.sqlite");
}

VLMeasurementLibrary::VLMeasurementLibrary(QString path)
    : m_path(std::move(path))
{
    static QAtomicInteger<int> counter;
    m_connection = QStringLiteral("VLMeasurementLibrary-%1").arg(counter.fetchAndAddRelaxed(1));
}

VLMeasurementLibrary::~VLMeasurementLibrary()
{
    if (QSqlDatabase::contains(m_connection)) {
        QSqlDatabase::database(m_connection, false).close();
        QSqlDatabase::removeDatabase(m_connection);
    }
    // The driver went with the connection; SQLite goes with the plugin, unless another library
    // still has it loaded.
    if (m_driverPlugin)
        m_driverPlugin->unload();
}

// The tray writes the library for a moment after each sync and then rests for hours. A driver
// Qt's own loader makes stays loaded, and SQLite with it, for as long as the process runs; one
// from a plugin this library loads itself is unloaded with the library. A driver built into the
// program, or a plugin that cannot be loaded this way, still comes through Qt's loader.
QSqlDatabase VLMeasurementLibrary::addConnection()
{
    const QString driverName = QStringLiteral("QSQLITE");
    auto plugin = std::make_unique<QPluginLoader>(QStringLiteral("sqldrivers/qsqlite"));
    // QPluginLoader keeps what it loaded unless told otherwise; the driver plugin holds nothing
    // that outlives its drivers.
    plugin->setLoadHints({});
    if (auto *factory = qobject_cast<QSqlDriverPlugin *>(plugin->instance())) {
        if (QSqlDriver *driver = factory->create(driverName)) {
            m_driverPlugin = std::move(plugin);
            return QSqlDatabase::addDatabase(driver, m_connection);
        }
    }
    return QSqlDatabase::addDatabase(driverName, m_connection);
}

QSqlDatabase VLMeasurementLibrary::database() const
{
    return QSqlDatabase::database(m_connection, false);
}

QString VLMeasurementLibrary::audioFolder() const
{
    return QFileInfo(m_path).absolutePath() + QStringLiteral("/Audio");
}

bool VLMeasurementLibrary::open(VLError *error)
{
    const QString folder = QFileInfo(m_path).absolutePath();
    // Its own folders only: the one above is the data folder (prepared with it, private already) or,
    // for a library opened elsewhere, someone else's.
    for (const QString &privateFolder : {folder, audioFolder()}) {
        const QString problem = vlPreparePrivateFolder(privateFolder, VLWiderPermissions::Tighten);
        if (!problem.isEmpty()) {
            *error = VLError(VLMeasurementLibraryErrorDomain, 3, problem);
            return false;
        }
    }
    // The file exists, private, before SQLite opens it: SQLite would create it with the umask's
    // permissions, and its journal takes the database's.
    QFile file(m_path);
    if (!file.exists() && file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        file.close();
    QFile::setPermissions(m_path, kVLPrivateFilePermissions);

    QSqlDatabase database = QSqlDatabase::contains(m_connection) ? this->database() : addConnection();
    database.setDatabaseName(m_path);
    // Another process (the tray and the command line) may be writing: wait for it rather than fail.
    database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=10000"));
    if (!database.open()) {
        *error = sqlError(vlFormat(tr("The measurement library %@ cannot be opened"), m_path), database.lastError());
        return false;
    }
    return migrate(database, kSchemaVersion, error);
}

bool VLMeasurementLibrary::addMatchesRead(const VLMatchesRead &read, VLError *error)
{
    QSqlDatabase database = this->database();
    QStringList audioCopies; // removed again when the read does not go in
    const auto fail = [&](const QString &what, const QSqlError &cause) {
        *error = sqlError(what, cause);
        database.rollback();
        for (const QString &copy : std::as_const(audioCopies))
            QFile::remove(copy);
        return false;
    };
    if (!database.transaction())
        return fail(tr("The measurement library cannot be written"), database.lastError());

    QSqlQuery query(database);
    query.prepare(QStringLiteral("INSERT INTO sync_runs (started_at, device_serial, kind) VALUES (?, ?, ?)"));
    query.addBindValue(QDateTime::currentMSecsSinceEpoch());
    query.addBindValue(read.deviceSerialNumber);
    query.addBindValue(read.inSync ? QStringLiteral("sync") : QStringLiteral("export"));
    if (!query.exec())
        return fail(tr("Recording the read failed"), query.lastError());
    const qint64 run = query.lastInsertId().toLongLong();

    QHash<VLCaptureKey, KnownCapture> known;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT id, captured_at, device_file_id, color_id, audio_file != '', on_device"
                                 " FROM captures WHERE device_serial = ?"));
    query.addBindValue(read.deviceSerialNumber);
    if (!query.exec())
        return fail(tr("Reading the library failed"), query.lastError());
    while (query.next()) {
        known.insert({query.value(1).toLongLong(), query.value(2).toString(), query.value(3).toString()},
                     {query.value(0).toLongLong(), query.value(4).toBool(), query.value(5).toBool()});
    }

    QSqlQuery insert(database), update(database), audio(database);
    insert.prepare(QStringLiteral(
        "INSERT INTO captures (device_serial, captured_at, device_file_id, color_id, color_name, color_number, fandeck,"
        " lab_l, lab_a, lab_b, srgb, tag, audio_name, spectrum_start, spectrum_increment, spectrum, first_run, last_run)"
        " VALUES (:serial, :at, :file, :color, :name, :number, :fandeck, :l, :a, :b, :rgb, :tag, :audio, :start, :step,"
        " :spectrum, :run, :run)"));
    update.prepare(QStringLiteral(
        "UPDATE captures SET color_name = :name, color_number = :number, fandeck = :fandeck, lab_l = :l, lab_a = :a,"
        " lab_b = :b, srgb = :rgb, tag = :tag, audio_name = :audio, spectrum_start = :start, spectrum_increment = :step,"
        " spectrum = :spectrum, on_device = 1, last_run = :run WHERE id = :id"));
    audio.prepare(QStringLiteral("UPDATE captures SET audio_file = ? WHERE id = ?"));

    QSet<VLCaptureKey> stored;
    for (const VLMatchRecord &record : read.records) {
        const std::optional<VLCaptureKey> key = vlCaptureKey(record);
        if (!key || stored.contains(*key))
            continue;
        stored.insert(*key);
        const auto existing = known.constFind(*key);
        QSqlQuery &write = existing == known.cend() ? insert : update;
        if (existing == known.cend()) {
            write.bindValue(QStringLiteral(":serial"), text(read.deviceSerialNumber));
            write.bindValue(QStringLiteral(":at"), key->capturedAtMsecs);
            write.bindValue(QStringLiteral(":file"), text(key->deviceFileID));
            write.bindValue(QStringLiteral(":color"), text(key->colorID));
        } else {
            write.bindValue(QStringLiteral(":id"), existing->id);
        }
        const QString noteName = record.audioNotePath.section(QLatin1Char('/'), -1);
        write.bindValue(QStringLiteral(":name"), text(record.colorName));
        write.bindValue(QStringLiteral(":number"), text(record.colorNumber));
        write.bindValue(QStringLiteral(":fandeck"), text(record.fandeck));
        write.bindValue(QStringLiteral(":l"), record.L);
        write.bindValue(QStringLiteral(":a"), record.a);
        write.bindValue(QStringLiteral(":b"), record.b);
        write.bindValue(QStringLiteral(":rgb"), packedRGB(record));
        write.bindValue(QStringLiteral(":tag"), text(record.textTag));
        write.bindValue(QStringLiteral(":audio"), text(noteName));
        write.bindValue(QStringLiteral(":start"), record.spectrumStart);
        write.bindValue(QStringLiteral(":step"), record.spectrumIncrement);
        write.bindValue(QStringLiteral(":spectrum"), spectrumBlob(record.spectrum));
        write.bindValue(QStringLiteral(":run"), run);
        if (!write.exec())
            return fail(vlFormat(tr("Storing the capture %@ failed"), record.displayName()), write.lastError());
        const qint64 id = existing == known.cend() ? write.lastInsertId().toLongLong() : existing->id;
        const bool hasAudio = existing != known.cend() && existing->hasAudio;

        // A note the sync could not fetch this time is kept by a later one.
        const QString source = read.audioFolder + QLatin1Char('/') + noteName;
        if (hasAudio || noteName.isEmpty() || !vlIsPlainPathComponent(noteName) || !QFileInfo::exists(source))
            continue;
        const QString target = audioFolder() + QLatin1Char('/') + audioFileName(id, noteName);
        QFile::remove(target);
        if (!QFile::copy(source, target)) {
            VL_LOG("Audio note %@ not copied into the library", source);
            continue;
        }
        QFile::setPermissions(target, kVLPrivateFilePermissions);
        audioCopies << target;
        audio.addBindValue(audioFileName(id, noteName));
        audio.addBindValue(id);
        if (!audio.exec())
            return fail(tr("Storing an audio note failed"), audio.lastError());
    }

    // What the device no longer holds stays, marked; a capture read but not matched this time
    // (its fandeck is gone from the computer) is still on the device.
    const QList<VLCaptureKey> &onDeviceList = read.capturesOnDevice;
    const QSet<VLCaptureKey> onDevice(onDeviceList.cbegin(), onDeviceList.cend());
    QSqlQuery mark(database);
    mark.prepare(QStringLiteral("UPDATE captures SET on_device = ?, last_run = CASE WHEN ? THEN ? ELSE last_run END"
                                " WHERE id = ?"));
    for (auto it = known.cbegin(); it != known.cend(); ++it) {
        if (stored.contains(it.key()))
            continue;
        const bool present = onDevice.contains(it.key());
        if (!present && !it->onDevice)
            continue;
        mark.addBindValue(present);
        mark.addBindValue(present);
        mark.addBindValue(run);
        mark.addBindValue(it->id);
        if (!mark.exec())
            return fail(tr("Marking deleted captures failed"), mark.lastError());
    }
    if (!database.commit())
        return fail(tr("The measurement library cannot be written"), database.lastError());
    emit VLMeasurementLibraryChanges::instance()->written(m_path);
    return true;
}

VLCaptureList VLMeasurementLibrary::captures(VLError *error) const
{
    QSqlQuery query(database());
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral(
            "SELECT c.id, c.device_serial, c.captured_at, c.device_file_id, c.color_id, c.color_name, c.color_number,"
            " c.fandeck, c.lab_l, c.lab_a, c.lab_b, c.srgb, c.tag, c.audio_file, c.on_device, f.started_at, l.started_at"
            " FROM captures c JOIN sync_runs f ON f.id = c.first_run JOIN sync_runs l ON l.id = c.last_run"
            " ORDER BY c.captured_at DESC, c.id DESC"))) {
        *error = sqlError(tr("Reading the measurement library failed"), query.lastError());
        return {};
    }
    const QString audio = audioFolder() + QLatin1Char('/');
    VLCaptureList captures;
    while (query.next()) {
        VLCapture capture;
        capture.id = query.value(0).toLongLong();
        capture.deviceSerialNumber = query.value(1).toString();
        capture.capturedAt = dateOfMsecs(query.value(2).toLongLong());
        capture.deviceFileID = query.value(3).toString();
        capture.colorID = query.value(4).toString();
        capture.colorName = query.value(5).toString();
        capture.colorNumber = query.value(6).toString();
        capture.fandeck = query.value(7).toString();
        capture.L = query.value(8).toDouble();
        capture.a = query.value(9).toDouble();
        capture.b = query.value(10).toDouble();
        const int rgb = query.value(11).toInt();
        capture.red = (rgb >> 16) & 0xff;
        capture.green = (rgb >> 8) & 0xff;
        capture.blue = rgb & 0xff;
        capture.tag = query.value(12).toString();
        const QString audioFile = query.value(13).toString();
        if (!audioFile.isEmpty())
            capture.audioNotePath = audio + audioFile;
        capture.onDevice = query.value(14).toBool();
        capture.firstSeen = dateOfMsecs(query.value(15).toLongLong());
        capture.lastSeen = dateOfMsecs(query.value(16).toLongLong());
        captures.append(std::move(capture));
    }
    return captures;
}

VLMatchRecordList VLMeasurementLibrary::matchRecords(const QList<qint64> &ids, VLError *error) const
{
    QSqlQuery query(database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT color_name, color_number, fandeck, lab_l, lab_a, lab_b, srgb, tag, captured_at,"
                                 " audio_name, device_file_id, color_id, spectrum_start, spectrum_increment, spectrum"
                                 " FROM captures WHERE id = ?"));
    VLMatchRecordList records;
    for (const qint64 id : ids) {
        query.addBindValue(id);
        if (!query.exec()) {
            *error = sqlError(tr("Reading the measurement library failed"), query.lastError());
            return {};
        }
        if (!query.next())
            continue;
        VLMatchRecord record;
        record.colorName = query.value(0).toString();
        record.colorNumber = query.value(1).toString();
        record.fandeck = query.value(2).toString();
        record.L = query.value(3).toDouble();
        record.a = query.value(4).toDouble();
        record.b = query.value(5).toDouble();
        const int rgb = query.value(6).toInt();
        record.red = (rgb >> 16) & 0xff;
        record.green = (rgb >> 8) & 0xff;
        record.blue = rgb & 0xff;
        record.textTag = query.value(7).toString();
        record.captureDate = dateOfMsecs(query.value(8).toLongLong());
        // An export from the library carries no notes beside it: the note is named, not pointed to.
        record.audioNotePath = query.value(9).toString();
        record.deviceFileID = query.value(10).toString();
        record.colorID = query.value(11).toString();
        record.spectrumStart = query.value(12).toInt();
        record.spectrumIncrement = query.value(13).toInt();
        record.spectrum = spectrumValues(query.value(14).toByteArray());
        records.append(std::move(record));
        query.finish();
    }
    return records;
}

VLMeasurementLibraryChanges *VLMeasurementLibraryChanges::instance()
{
    static VLMeasurementLibraryChanges changes;
    return &changes;
}

void vlKeepMatchesInLibrary()
{
    vlSetMatchesReadHandler([](const VLMatchesRead &read) {
        VLMeasurementLibrary library(VLMeasurementLibrary::defaultPath());
        VLError error;
        if (!library.open(&error) || !library.addMatchesRead(read, &error))
            VL_LOG("The captures of %@ were not kept in the library: %@", read.deviceSerialNumber, error);
    });
}
