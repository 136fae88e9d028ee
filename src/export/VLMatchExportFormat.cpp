#include "VLMatchExportFormat.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

struct FormatInfo
{
    VLMatchExportFormat format;
    const char *name;
    const char *description;
    QStringList extensions; // the first is the one new files get
};

const QList<FormatInfo> &formats()
{
    // ".txt" is what many measurement programs call their CGATS files; ".ti3" is left out on
    // purpose: ArgyllCMS expects a ".ti3" to pair device values with measurements.
    static const QList<FormatInfo> list = {
        { VLMatchExportFormat::CxF3, "cxf", QT_TRANSLATE_NOOP("VLMatchExportFormat", "CxF3 colour documents"),
            { QStringLiteral("cxf") } },
        { VLMatchExportFormat::CGATS, "cgats", QT_TRANSLATE_NOOP("VLMatchExportFormat", "CGATS measurement files"),
            { QStringLiteral("cie"), QStringLiteral("cgats"), QStringLiteral("it8"), QStringLiteral("txt") } },
        { VLMatchExportFormat::CSV, "csv", QT_TRANSLATE_NOOP("VLMatchExportFormat", "CSV spreadsheets"),
            { QStringLiteral("csv") } },
        { VLMatchExportFormat::GPL, "gpl", QT_TRANSLATE_NOOP("VLMatchExportFormat", "GIMP palettes"),
            { QStringLiteral("gpl") } },
        { VLMatchExportFormat::ASE, "ase", QT_TRANSLATE_NOOP("VLMatchExportFormat", "Adobe Swatch Exchange"),
            { QStringLiteral("ase") } },
    };
    return list;
}

const FormatInfo &infoOf(VLMatchExportFormat format)
{
    for (const FormatInfo &info : formats()) {
        if (info.format == format)
            return info;
    }
    return formats().first();
}

} // namespace

std::optional<VLMatchExportFormat> vlMatchExportFormatForName(const QString &name)
{
    for (const FormatInfo &info : formats()) {
        if (name.compare(QLatin1String(info.name), Qt::CaseInsensitive) == 0)
            return info.format;
    }
    return std::nullopt;
}

std::optional<VLMatchExportFormat> vlMatchExportFormatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const FormatInfo &info : formats()) {
        if (info.extensions.contains(suffix))
            return info.format;
    }
    return std::nullopt;
}

QString vlMatchExportFormatName(VLMatchExportFormat format)
{
    return QString::fromLatin1(infoOf(format).name);
}

QString vlMatchExportFileExtension(VLMatchExportFormat format)
{
    return infoOf(format).extensions.first();
}

QStringList vlMatchExportFileExtensions(VLMatchExportFormat format)
{
    return infoOf(format).extensions;
}

QString vlMatchExportNameFilter(VLMatchExportFormat format)
{
    const FormatInfo &info = infoOf(format);
    QStringList patterns;
    for (const QString &extension : info.extensions)
        patterns << QStringLiteral("*.") + extension;
    return QStringLiteral("%1 (%2)").arg(
        QCoreApplication::translate("VLMatchExportFormat", info.description), patterns.join(QLatin1Char(' ')));
}

QList<VLMatchExportFormat> vlMatchExportFormats()
{
    QList<VLMatchExportFormat> list;
    for (const FormatInfo &info : formats())
        list << info.format;
    return list;
}
