// The sync history half of the measurement library: one sync_runs row per sync, completed from
// the run report when the run ends.

#include "VLMeasurementLibrary.h"

#include "TSLogger.h"
#include "VLFormat.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>

namespace {

VLError historyError(const char *what, const QSqlError &cause)
{
    return VLError(VLMeasurementLibraryErrorDomain, 2,
                   vlFormat("%@: %@", QCoreApplication::translate("VLMeasurementLibrary", what), cause.text()));
}

QString json(const QJsonArray &array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

// A column written by another program may hold anything: what is not an array of objects reads as
// an empty list.
QList<QJsonObject> objects(const QString &text)
{
    QList<QJsonObject> list;
    for (const QJsonValue &value : QJsonDocument::fromJson(text.toUtf8()).array()) {
        if (value.isObject())
            list.append(value.toObject());
    }
    return list;
}

QString filesJson(const QList<VLSyncRunReport::File> &files)
{
    QJsonArray array;
    for (const VLSyncRunReport::File &file : files)
        array.append(QJsonObject{{QStringLiteral("type"), file.fileType},
                                 {QStringLiteral("id"), file.fileID},
                                 {QStringLiteral("sku"), file.SKU},
                                 {QStringLiteral("description"), file.description},
                                 {QStringLiteral("version"), file.versionString}});
    return json(array);
}

QList<VLSyncRunReport::File> filesOfJson(const QString &text)
{
    QList<VLSyncRunReport::File> files;
    for (const QJsonObject &object : objects(text))
        files.append({object.value(QStringLiteral("type")).toString(), object.value(QStringLiteral("id")).toString(),
                      object.value(QStringLiteral("sku")).toString(), object.value(QStringLiteral("description")).toString(),
                      object.value(QStringLiteral("version")).toString()});
    return files;
}

QString errorsJson(const QList<VLError> &errors)
{
    QJsonArray array;
    for (const VLError &error : errors)
        array.append(QJsonObject{{QStringLiteral("domain"), error.domain()},
                                 {QStringLiteral("code"), qint64(error.code())},
                                 {QStringLiteral("description"), error.localizedDescription()}});
    return json(array);
}

QList<VLSyncHistoryEntry::Error> errorsOfJson(const QString &text)
{
    QList<VLSyncHistoryEntry::Error> errors;
    for (const QJsonObject &object : objects(text))
        errors.append({object.value(QStringLiteral("domain")).toString(),
                       object.value(QStringLiteral("code")).toInteger(),
                       object.value(QStringLiteral("description")).toString()});
    return errors;
}

qint64 msecs(const QDateTime &date)
{
    return date.isValid() ? date.toMSecsSinceEpoch() : QDateTime::currentMSecsSinceEpoch();
}

} // namespace

bool VLMeasurementLibrary::recordRun(const VLSyncRunReport &report, const QString &deviceSerialNumber, VLError *error)
{
    if (report.preliminary || !report.hasEnded())
        return true;
    QSqlDatabase database = this->database();
    const auto fail = [&](const char *what, const QSqlError &cause) {
        *error = historyError(what, cause);
        database.rollback();
        return false;
    };
    if (!database.transaction())
        return fail("The measurement library cannot be written", database.lastError());

    // The row the run's export step made for its captures: made during this run (not before it
    // began) and not yet recorded. Its start becomes the run's, so the captures' first and last
    // seen dates are the sync's.
    const qint64 began = msecs(report.began);
    QSqlQuery query(database);
    query.prepare(QStringLiteral("SELECT id FROM sync_runs WHERE kind = 'sync' AND device_serial = ? AND ending = ''"
                                 " AND started_at >= ? ORDER BY id DESC LIMIT 1"));
    query.addBindValue(deviceSerialNumber);
    query.addBindValue(began);
    if (!query.exec())
        return fail("Reading the sync history failed", query.lastError());
    const QVariant existing = query.next() ? query.value(0) : QVariant();
    query.finish();

    query.prepare(existing.isValid()
                      ? QStringLiteral("UPDATE sync_runs SET started_at = :started, ended_at = :ended, ending = :ending,"
                                       " installed = :installed, fandecks_enabled = :fandecks, errors = :errors WHERE id = :id")
                      : QStringLiteral("INSERT INTO sync_runs (started_at, device_serial, kind, ended_at, ending, installed,"
                                       " fandecks_enabled, errors) VALUES (:started, :serial, 'sync', :ended, :ending,"
                                       " :installed, :fandecks, :errors)"));
    if (existing.isValid())
        query.bindValue(QStringLiteral(":id"), existing);
    else
        query.bindValue(QStringLiteral(":serial"), deviceSerialNumber.isNull() ? QStringLiteral("") : deviceSerialNumber);
    query.bindValue(QStringLiteral(":started"), began);
    query.bindValue(QStringLiteral(":ended"), msecs(report.ended));
    query.bindValue(QStringLiteral(":ending"), vlSyncRunEndingName(report.ending));
    query.bindValue(QStringLiteral(":installed"), filesJson(report.installed));
    query.bindValue(QStringLiteral(":fandecks"), filesJson(report.fandecksEnabled));
    query.bindValue(QStringLiteral(":errors"), errorsJson(report.errors));
    if (!query.exec())
        return fail("Recording the sync failed", query.lastError());
    if (!database.commit())
        return fail("The measurement library cannot be written", database.lastError());
    emit VLMeasurementLibraryChanges::instance()->written(m_path);
    return true;
}

VLSyncHistory VLMeasurementLibrary::history(VLError *error, int limit) const
{
    QSqlQuery query(database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT id, started_at, ended_at, device_serial, ending, installed, fandecks_enabled, errors"
                                 " FROM sync_runs WHERE ending != '' ORDER BY started_at DESC, id DESC LIMIT ?"));
    query.addBindValue(limit > 0 ? limit : -1);
    if (!query.exec()) {
        *error = historyError("Reading the sync history failed", query.lastError());
        return {};
    }
    VLSyncHistory history;
    while (query.next()) {
        VLSyncHistoryEntry entry;
        entry.id = query.value(0).toLongLong();
        entry.startedAt = QDateTime::fromMSecsSinceEpoch(query.value(1).toLongLong(), Qt::UTC);
        entry.endedAt = QDateTime::fromMSecsSinceEpoch(query.value(2).toLongLong(), Qt::UTC);
        entry.deviceSerialNumber = query.value(3).toString();
        entry.ending = query.value(4).toString();
        entry.installed = filesOfJson(query.value(5).toString());
        entry.fandecksEnabled = filesOfJson(query.value(6).toString());
        entry.errors = errorsOfJson(query.value(7).toString());
        history.append(std::move(entry));
    }
    return history;
}

void vlRecordSyncInLibrary(const VLSyncRunReport &report, const QString &deviceSerialNumber)
{
    if (report.preliminary || !report.hasEnded())
        return;
    VLMeasurementLibrary library(VLMeasurementLibrary::defaultPath());
    VLError error;
    if (!library.open(&error) || !library.recordRun(report, deviceSerialNumber, &error))
        VL_LOG("The sync of %@ was not recorded in the history: %@", deviceSerialNumber, error);
}
