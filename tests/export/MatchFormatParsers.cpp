#include "MatchFormatParsers.h"

#include <lcms2.h>

#include <QRegularExpression>
#include <QtEndian>

#include <bit>
#include <cstring>

QList<QStringList> parseCSV(const QByteArray &data)
{
    QString text = QString::fromUtf8(data);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    QList<QStringList> rows;
    QStringList row;
    QString field;
    bool quoted = false;
    bool fieldStarted = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (quoted) {
            if (c == QLatin1Char('"') && i + 1 < text.size() && text[i + 1] == QLatin1Char('"')) {
                field += c;
                ++i;
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                field += c;
            }
        } else if (c == QLatin1Char('"') && field.isEmpty()) {
            quoted = true;
            fieldStarted = true;
        } else if (c == QLatin1Char(',')) {
            row << field;
            field.clear();
            fieldStarted = true;
        } else if (c == QLatin1Char('\r') && i + 1 < text.size() && text[i + 1] == QLatin1Char('\n')) {
            row << field;
            rows << row;
            row.clear();
            field.clear();
            fieldStarted = false;
            ++i;
        } else {
            field += c;
            fieldStarted = true;
        }
    }
    if (fieldStarted || !row.isEmpty()) {
        row << field;
        rows << row;
    }
    return rows;
}

GPLPalette parseGPL(const QByteArray &data)
{
    GPLPalette palette;
    const QStringList lines = QString::fromUtf8(data).split(QLatin1Char('\n'));
    if (lines.isEmpty() || lines.first().trimmed() != QLatin1String("GIMP Palette"))
        return palette;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString line = lines[i];
        if (line.trimmed().isEmpty())
            continue;
        if (line.startsWith(QLatin1String("Name:"))) {
            palette.name = line.mid(5).trimmed();
        } else if (line.startsWith(QLatin1String("Columns:"))) {
            continue;
        } else if (line.startsWith(QLatin1Char('#'))) {
            palette.comments << line.mid(1).trimmed();
        } else {
            // Three integers, then the rest of the line is the name.
            const QStringList parts = line.trimmed().split(QRegularExpression(QStringLiteral("\\s+")));
            if (parts.size() < 3)
                return palette;
            GPLColour colour;
            bool ok[3];
            colour.red = parts[0].toInt(&ok[0]);
            colour.green = parts[1].toInt(&ok[1]);
            colour.blue = parts[2].toInt(&ok[2]);
            if (!ok[0] || !ok[1] || !ok[2])
                return palette;
            static const QRegularExpression prefix(QStringLiteral("^\\s*\\d+\\s+\\d+\\s+\\d+\\s*"));
            colour.name = QString(line).remove(prefix);
            palette.colours << colour;
        }
    }
    palette.valid = true;
    return palette;
}

namespace {

class BigEndianReader
{
public:
    explicit BigEndianReader(const QByteArray &data)
        : m_data(data)
    {
    }
    bool has(qsizetype count) const { return m_position + count <= m_data.size(); }
    quint16 u16()
    {
        const quint16 value = qFromBigEndian<quint16>(m_data.constData() + m_position);
        m_position += 2;
        return value;
    }
    quint32 u32()
    {
        const quint32 value = qFromBigEndian<quint32>(m_data.constData() + m_position);
        m_position += 4;
        return value;
    }
    QByteArray bytes(qsizetype count)
    {
        const QByteArray value = m_data.mid(m_position, count);
        m_position += count;
        return value;
    }
    qsizetype position() const { return m_position; }
    void seek(qsizetype position) { m_position = position; }

private:
    const QByteArray &m_data;
    qsizetype m_position = 0;
};

bool readName(BigEndianReader &reader, QString *name)
{
    if (!reader.has(2))
        return false;
    const quint16 units = reader.u16();
    if (units == 0 || !reader.has(2 * units))
        return false;
    for (quint16 i = 0; i + 1 < units; ++i)
        *name += QChar(reader.u16());
    return reader.u16() == 0;
}

} // namespace

ASESwatches parseASE(const QByteArray &data)
{
    ASESwatches swatches;
    BigEndianReader reader(data);
    if (!reader.has(12) || reader.bytes(4) != "ASEF" || reader.u16() != 1 || reader.u16() != 0) {
        swatches.problem = QStringLiteral("no ASEF 1.0 header");
        return swatches;
    }
    const quint32 blocks = reader.u32();
    for (quint32 block = 0; block < blocks; ++block) {
        if (!reader.has(6)) {
            swatches.problem = QStringLiteral("block %1 is cut off").arg(block);
            return swatches;
        }
        const quint16 type = reader.u16();
        const quint32 length = reader.u32();
        const qsizetype end = reader.position() + length;
        if (!reader.has(length)) {
            swatches.problem = QStringLiteral("block %1 is longer than the file").arg(block);
            return swatches;
        }
        if (type == 0xC001) {
            QString name;
            if (!readName(reader, &name))
                return swatches;
            swatches.groups << name;
        } else if (type == 0x0001) {
            ASEColour colour;
            if (!readName(reader, &colour.name) || !reader.has(4))
                return swatches;
            colour.model = reader.bytes(4);
            const int count = colour.model == "CMYK" ? 4 : colour.model == "Gray" ? 1 : 3;
            if (!reader.has(4 * count + 2))
                return swatches;
            for (int i = 0; i < count; ++i)
                colour.values << std::bit_cast<float>(reader.u32());
            colour.type = reader.u16();
            swatches.colours << colour;
        } else if (type != 0xC002) {
            swatches.problem = QStringLiteral("unknown block type %1").arg(type, 4, 16);
            return swatches;
        }
        if (reader.position() != end) {
            swatches.problem = QStringLiteral("block %1 says %2 bytes but holds %3")
                                   .arg(block)
                                   .arg(length)
                                   .arg(reader.position() - end + length);
            return swatches;
        }
    }
    swatches.valid = reader.position() == data.size();
    if (!swatches.valid)
        swatches.problem = QStringLiteral("bytes after the last block");
    return swatches;
}

CGATSTable parseCGATSWithLittleCMS(const QByteArray &data)
{
    CGATSTable table;
    cmsHANDLE it8 = cmsIT8LoadFromMem(nullptr, data.constData(), cmsUInt32Number(data.size()));
    if (!it8)
        return table;
    char **properties = nullptr;
    const cmsUInt32Number propertyCount = cmsIT8EnumProperties(it8, &properties);
    for (cmsUInt32Number i = 0; i < propertyCount; ++i)
        table.properties.insert(
            QString::fromUtf8(properties[i]), QString::fromUtf8(cmsIT8GetProperty(it8, properties[i])));
    char **fields = nullptr;
    const int fieldCount = cmsIT8EnumDataFormat(it8, &fields);
    const int rows = int(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS"));
    for (int row = 0; row < rows; ++row) {
        QHash<QString, QString> values;
        for (int field = 0; field < fieldCount; ++field) {
            const char *text = cmsIT8GetDataRowCol(it8, row, field);
            // Blanks around a value are not part of it.
            values.insert(QString::fromUtf8(fields[field]), text ? QString::fromUtf8(text).trimmed() : QString());
        }
        table.rows << values;
    }
    table.valid = fieldCount > 0;
    cmsIT8Free(it8);
    return table;
}
