#include "VLMatchRecord.h"

#include <QStringList>

QString VLMatchRecord::displayName() const
{
    QStringList parts;
    if (!colorNumber.isEmpty())
        parts << colorNumber;
    if (!colorName.isEmpty() && colorName != colorNumber)
        parts << colorName;
    return parts.join(QLatin1Char(' '));
}

std::optional<VLSpectralGrid> vlCommonSpectralGrid(const VLMatchRecordList &records)
{
    if (records.isEmpty())
        return std::nullopt;
    const VLMatchRecord &first = records.first();
    const VLSpectralGrid grid { first.spectrumStart, first.spectrumIncrement, first.spectrum.size() };
    if (grid.bands == 0 || grid.increment <= 0)
        return std::nullopt;
    for (const VLMatchRecord &record : records) {
        if (record.spectrum.size() != grid.bands || record.spectrumStart != grid.start
            || record.spectrumIncrement != grid.increment)
            return std::nullopt;
    }
    return grid;
}

QString vlMatchDateText(const QDateTime &date)
{
    return date.isValid() ? date.toUTC().toString(Qt::ISODateWithMs) : QString();
}
