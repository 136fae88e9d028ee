#include "VLMatchRecordWriter.h"

#include <QCoreApplication>
#include <QSaveFile>

const QString VLMatchExportErrorDomain = QStringLiteral("VLMatchExportDomain");

std::unique_ptr<VLMatchRecordWriter> vlMatchRecordWriterForFormat(VLMatchExportFormat format)
{
    switch (format) {
    case VLMatchExportFormat::CGATS:
        return vlMakeCGATSWriter();
    case VLMatchExportFormat::CSV:
        return vlMakeCSVWriter();
    case VLMatchExportFormat::GPL:
        return vlMakeGPLWriter();
    case VLMatchExportFormat::ASE:
        return vlMakeASEWriter();
    case VLMatchExportFormat::CxF3:
        break;
    }
    return nullptr;
}

bool vlWriteMatchRecords(
    VLMatchExportFormat format, const VLMatchRecordList &records, const QString &path, VLError *error)
{
    const auto fail = [error](const QString &text) {
        if (error)
            *error = VLError(VLMatchExportErrorDomain, 1, text);
        return false;
    };
    const std::unique_ptr<VLMatchRecordWriter> writer = vlMatchRecordWriterForFormat(format);
    if (!writer)
        return fail(QCoreApplication::translate("VLMatchRecordWriter", "No writer for the format %1")
                        .arg(vlMatchExportFormatName(format)));
    const QByteArray data = writer->dataForRecords(records, error);
    if (data.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return fail(
            QCoreApplication::translate("VLMatchRecordWriter", "Could not write %1: %2").arg(path, file.errorString()));
    return true;
}
