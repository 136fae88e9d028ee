#include "VLMatchRecord.h"

#include <QStringList>

QString vlColourDisplayName(const QString &number, const QString &name)
{
    QStringList parts;
    if (!number.isEmpty())
        parts << number;
    if (!name.isEmpty() && name != number)
        parts << name;
    return parts.join(QLatin1Char(' '));
}

QString VLMatchRecord::displayName() const
{
    return vlColourDisplayName(colorNumber, colorName);
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
