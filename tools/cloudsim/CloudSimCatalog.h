#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <utility>

// The catalog folder written by tintera-catalog: "index.json" ({"edition": N, "files": [record]})
// and the payloads under "files/". Records are objects of strings; "FileURL" is "files/<name>".
struct CloudSimCatalog
{
    using Record = QList<std::pair<QString, QString>>; // the record's fields in the reply's order

    qint64 edition = 0;
    QList<Record> records;
    QStringList problems; // records left out, and why

    // Reads "index.json" afresh, so a catalog rewritten while the emulator runs is served as it is.
    static CloudSimCatalog load(const QString &folder, QString *error);
    // The payload of a file served as "files/<name>", or an empty string when the name is not
    // one plain file name.
    static QString payloadPath(const QString &folder, const QString &name);
};

// The fields of a file record, in the order the service lists them.
extern const QStringList kCloudSimRecordKeys;

bool cloudSimIsPlainFileName(const QString &name);
