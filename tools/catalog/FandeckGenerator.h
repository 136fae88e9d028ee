#pragma once

#include <HBColorDocument.h>

#include <QDateTime>
#include <QString>

// What one fandeck of the demo catalog is made of.
struct FandeckRecipe {
    QString name;              // "Velmora Interiors"
    QString guid;              // fandeck GUID, also the catalog's FileID
    QString edition;           // "Interiors 2025"
    QString supplier;          // "Velmora Paints"
    QString version;           // "1.0"
    QString numberPrefix;      // "VI" gives numbers "VI 0001"
    int colorCount = 0;
    double labOnlyShare = 0.0; // share of colours published with CIELAB only
    enum class Palette { Interior, Exterior, Heritage, Bright, White } palette = Palette::Interior;
    QDateTime creationDate;    // written as the document's creation date
};

// The fandeck as a colour document. Colour i depends only on the recipe's name and i, so a later
// version with more colours starts with the same colours.
HBColorDocumentPtr makeFandeck(const FandeckRecipe &recipe);

// Deterministic name-based GUID in the catalog's own namespace.
QString catalogGuid(const QString &name);
