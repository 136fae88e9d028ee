#pragma once

#include "VLError.h"
#include "VLMatchRecord.h"

#include <QList>
#include <QString>

// The matches of an exported CxF3 document as the command line lists them: one row per exported
// colour, in document order, joined with the document's match list by position.
struct TinteraMatchRow
{
    QString colorID;    // the fandeck colour's number, else its name
    QString fandeck;    // the fandeck's name, else its export id
    double L = 0, a = 0, b = 0;
    bool hasLab = false;
    QString tag;
    QString audioNote;  // relative to the document, as written ("Audio/<name>")
};

QList<TinteraMatchRow> tinteraReadMatchRows(const QString &documentPath, VLError *error);
// The same rows from the records an export wrote, whatever its format.
QList<TinteraMatchRow> tinteraMatchRowsFromRecords(const VLMatchRecordList &records);
// A plain-text table with a header line; columns sized to their content.
QString tinteraFormatMatchTable(const QList<TinteraMatchRow> &rows);
