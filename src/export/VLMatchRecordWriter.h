#pragma once

#include "VLMatchExportFormat.h"
#include "VLMatchRecord.h"

#include <VLError.h>

#include <QByteArray>

#include <memory>

// Turns the exported matches into the bytes of one file format. Each format has its writer in a
// file of its own; CxF3 is not among them, as the colour document writes itself.
class VLMatchRecordWriter
{
public:
    virtual ~VLMatchRecordWriter() = default;
    // The file's bytes; empty with *error set when the records cannot be written.
    virtual QByteArray dataForRecords(const VLMatchRecordList &records, VLError *error) const = 0;
};

std::unique_ptr<VLMatchRecordWriter> vlMakeCGATSWriter();
std::unique_ptr<VLMatchRecordWriter> vlMakeCSVWriter();
std::unique_ptr<VLMatchRecordWriter> vlMakeGPLWriter();
std::unique_ptr<VLMatchRecordWriter> vlMakeASEWriter();

// The writer of a format; null for CxF3.
std::unique_ptr<VLMatchRecordWriter> vlMatchRecordWriterForFormat(VLMatchExportFormat format);

// Writes the records in the format to the path, atomically.
bool vlWriteMatchRecords(
    VLMatchExportFormat format, const VLMatchRecordList &records, const QString &path, VLError *error);

extern const QString VLMatchExportErrorDomain;
