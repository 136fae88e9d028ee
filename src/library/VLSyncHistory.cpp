#include "VLSyncHistory.h"

#include <QStringList>

QString VLSyncHistoryEntry::fileText(const VLSyncRunReport::File &file)
{
    const QString name = !file.description.isEmpty() ? file.description : !file.SKU.isEmpty() ? file.SKU : file.fileID;
    return file.versionString.isEmpty() ? name : name + QLatin1Char(' ') + file.versionString;
}

QString VLSyncHistoryEntry::filesText(const QList<VLSyncRunReport::File> &files)
{
    QStringList texts;
    for (const VLSyncRunReport::File &file : files)
        texts << fileText(file);
    return texts.join(QStringLiteral(", "));
}
