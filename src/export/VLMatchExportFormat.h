#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// The file formats a match export can be written in. CxF3 is the product's own exchange format;
// the others are for the tools people open their colours in.
enum class VLMatchExportFormat {
    CxF3, // ".cxf"
    CGATS, // ".cie", ".cgats", ".it8", ".txt": CGATS.17 text, as ArgyllCMS and Little CMS read it
    CSV, // ".csv": spreadsheets
    GPL, // ".gpl": GIMP, Inkscape, Krita and Scribus palettes
    ASE, // ".ase": Adobe Swatch Exchange
};

// "cxf", "cgats", "csv", "gpl", "ase" (any case); none for another name.
std::optional<VLMatchExportFormat> vlMatchExportFormatForName(const QString &name);
// The format a file name's extension asks for; none for an extension of no format.
std::optional<VLMatchExportFormat> vlMatchExportFormatForPath(const QString &path);
QString vlMatchExportFormatName(VLMatchExportFormat format);
// The extension a new file of the format gets (without the dot) and all the extensions it is known by.
QString vlMatchExportFileExtension(VLMatchExportFormat format);
QStringList vlMatchExportFileExtensions(VLMatchExportFormat format);
// A file-dialog name filter, such as "Adobe Swatch Exchange (*.ase)".
QString vlMatchExportNameFilter(VLMatchExportFormat format);
QList<VLMatchExportFormat> vlMatchExportFormats();
