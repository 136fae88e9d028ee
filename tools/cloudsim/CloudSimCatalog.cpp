#include "CloudSimCatalog.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

const QStringList kCloudSimRecordKeys = {
    QStringLiteral("FileID"),      QStringLiteral("DeviceFileID"), QStringLiteral("FileType"),
    QStringLiteral("FileURL"),     QStringLiteral("ByteLength"),   QStringLiteral("Description"),
    QStringLiteral("SKU"),         QStringLiteral("VersionString"), QStringLiteral("VersionDate"),
    QStringLiteral("SHA256"),      QStringLiteral("Signature"),
};

bool cloudSimIsPlainFileName(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") || name.toUtf8().size() > 255)
        return false;
    for (const QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    }
    return true;
}

QString CloudSimCatalog::payloadPath(const QString &folder, const QString &name)
{
    if (!cloudSimIsPlainFileName(name))
        return {};
    return QDir(folder).filePath(QStringLiteral("files/") + name);
}

CloudSimCatalog CloudSimCatalog::load(const QString &folder, QString *error)
{
    CloudSimCatalog catalog;
    QFile file(QDir(folder).filePath(QStringLiteral("index.json")));
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString());
        return catalog;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject()) {
        if (error)
            *error = QStringLiteral("%1 is not a JSON object: %2").arg(file.fileName(), parseError.errorString());
        return catalog;
    }
    const QJsonObject index = document.object();
    catalog.edition = index.value(QStringLiteral("edition")).toInteger();
    const QJsonArray files = index.value(QStringLiteral("files")).toArray();
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QJsonObject object = files.at(i).toObject();
        Record record;
        QString problem;
        for (const QString &key : kCloudSimRecordKeys) {
            const QJsonValue value = object.value(key);
            if (value.isUndefined())
                continue;
            if (!value.isString()) {
                problem = QStringLiteral("\"%1\" is not a string").arg(key);
                break;
            }
            record.append({key, value.toString()});
        }
        const QString url = object.value(QStringLiteral("FileURL")).toString();
        if (problem.isEmpty() && (!url.startsWith(QLatin1String("files/")) || !cloudSimIsPlainFileName(url.mid(6))))
            problem = QStringLiteral("\"FileURL\" \"%1\" is not files/<plain file name>").arg(url);
        if (!problem.isEmpty()) {
            catalog.problems << QStringLiteral("record %1 left out: %2").arg(i).arg(problem);
            continue;
        }
        catalog.records.append(record);
    }
    return catalog;
}
