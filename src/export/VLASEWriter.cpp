// Adobe Swatch Exchange, version 1.0, as Adobe's applications read it. Everything is big-endian:
//
//   "ASEF"  uint16 1, uint16 0 (version)  uint32 number of blocks
//   block:  uint16 type (0xC001 group start, 0xC002 group end, 0x0001 colour)  uint32 length of the rest
//   group start / colour: uint16 name length in UTF-16 units with the terminating zero, the name in
//           UTF-16BE with a zero unit; a colour then has its model ("LAB "), float32 values and a
//           uint16 colour type (0 global, 1 spot, 2 normal)
//
// CIELAB goes in as L/100, a, b. The matches form one group, in capture order.
#include "VLMatchRecordWriter.h"

#include <QCoreApplication>
#include <QtEndian>

#include <bit>
#include <cstring>

namespace {

constexpr quint16 kGroupStart = 0xC001;
constexpr quint16 kGroupEnd = 0xC002;
constexpr quint16 kColourEntry = 0x0001;
constexpr quint16 kNormalColour = 2;
// A name's length is one 16-bit count; longer names are cut at a character boundary.
constexpr qsizetype kMaximumNameUnits = 0xFFFE;

void appendUInt16(QByteArray *data, quint16 value)
{
    const quint16 big = qToBigEndian(value);
    data->append(reinterpret_cast<const char *>(&big), sizeof big);
}

void appendUInt32(QByteArray *data, quint32 value)
{
    const quint32 big = qToBigEndian(value);
    data->append(reinterpret_cast<const char *>(&big), sizeof big);
}

void appendFloat(QByteArray *data, double value)
{
    appendUInt32(data, std::bit_cast<quint32>(float(value)));
}

QByteArray nameField(QString name)
{
    if (name.size() > kMaximumNameUnits) {
        qsizetype cut = kMaximumNameUnits;
        if (name.at(cut - 1).isHighSurrogate())
            --cut;
        name.truncate(cut);
    }
    QByteArray field;
    appendUInt16(&field, quint16(name.size() + 1));
    for (const QChar unit : std::as_const(name))
        appendUInt16(&field, unit.unicode());
    appendUInt16(&field, 0);
    return field;
}

void appendBlock(QByteArray *data, quint16 type, const QByteArray &body)
{
    appendUInt16(data, type);
    appendUInt32(data, quint32(body.size()));
    data->append(body);
}

class ASEWriter : public VLMatchRecordWriter
{
public:
    QByteArray dataForRecords(const VLMatchRecordList &records, VLError *) const override
    {
        QByteArray data("ASEF");
        appendUInt16(&data, 1);
        appendUInt16(&data, 0);
        appendUInt32(&data, quint32(records.size() + 2));
        appendBlock(&data, kGroupStart, nameField(QStringLiteral("TINTERA Sync matches")));
        for (const VLMatchRecord &record : records) {
            QString name = record.displayName();
            if (!record.textTag.isEmpty())
                name += QStringLiteral(" - ") + record.textTag;
            QByteArray body = nameField(name);
            body.append("LAB ", 4);
            appendFloat(&body, record.L / 100.0);
            appendFloat(&body, record.a);
            appendFloat(&body, record.b);
            appendUInt16(&body, kNormalColour);
            appendBlock(&data, kColourEntry, body);
        }
        appendBlock(&data, kGroupEnd, QByteArray());
        return data;
    }
};

} // namespace

std::unique_ptr<VLMatchRecordWriter> vlMakeASEWriter()
{
    return std::make_unique<ASEWriter>();
}
