#pragma once

// Small readers of the published export formats, written from the format descriptions alone, so
// that tests read what the product writes the way another program would.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// RFC 4180 CSV (a UTF-8 byte-order mark is skipped): rows of fields.
QList<QStringList> parseCSV(const QByteArray &data);

struct GPLColour
{
    int red = -1, green = -1, blue = -1;
    QString name;
};
struct GPLPalette
{
    bool valid = false;
    QString name;
    QList<GPLColour> colours;
    QStringList comments;
};
// GIMP palette: "GIMP Palette", "Name:", optional "Columns:", then "R G B<whitespace>name" lines.
GPLPalette parseGPL(const QByteArray &data);

struct ASEColour
{
    QString name;
    QByteArray model;
    QList<float> values;
    int type = -1;
};
struct ASESwatches
{
    bool valid = false;
    QString problem;
    QStringList groups;
    QList<ASEColour> colours;
};
// Adobe Swatch Exchange 1.0, big-endian blocks.
ASESwatches parseASE(const QByteArray &data);

struct CGATSTable
{
    bool valid = false;
    QHash<QString, QString> properties;
    QList<QHash<QString, QString>> rows; // field name -> text
};
// The first table of a CGATS file, through Little CMS's IT8 reader; values without surrounding blanks.
CGATSTable parseCGATSWithLittleCMS(const QByteArray &data);
