#include "DevsimTestData.h"

#include "HBColorDocument.h"

#include <QtEndian>

#include <gtest/gtest.h>

void writeFandeck(const QString &path, const QString &name, const QList<FandeckColor> &colors)
{
    HBColorDocument document;
    document.setAttribute(name, CXF3FandeckCustomResourceNameKey);
    for (const FandeckColor &entry : colors) {
        HBColorPtr color = HBColor::color();
        color->setAttribute(entry.number, HBColorNumberAttributeKey);
        color->setAttribute(QStringLiteral("Colour ") + entry.number, HBColorNameAttributeKey);
        color->addRepresentation(HBColorRepresentation::labRepresentation(entry.lab[0], entry.lab[1], entry.lab[2]));
        document.addColor(color);
    }
    VLError error;
    ASSERT_TRUE(document.writeToFile(path, &error)) << error.description().toStdString();
}

QByteArray sampleBitmap(int width, int height)
{
    const int rowBytes = (width * 3 + 3) / 4 * 4;
    const int pixels = rowBytes * height;
    QByteArray bytes(54 + pixels, '\0');
    auto *data = reinterpret_cast<uchar *>(bytes.data());
    data[0] = 'B';
    data[1] = 'M';
    qToLittleEndian<quint32>(quint32(bytes.size()), data + 2);
    qToLittleEndian<quint32>(54, data + 10);
    qToLittleEndian<quint32>(40, data + 14);
    qToLittleEndian<qint32>(width, data + 18);
    qToLittleEndian<qint32>(height, data + 22);
    qToLittleEndian<quint16>(1, data + 26);
    qToLittleEndian<quint16>(24, data + 28);
    return bytes;
}

QByteArray sampleWave()
{
    QByteArray bytes("RIFF");
    QByteArray body("WAVEfmt ");
    body.append(QByteArray::fromHex("10000000010001001f0000003e00000200100064617461"));
    body.append(QByteArray::fromHex("04000000"));
    body.append(QByteArray::fromHex("00010002"));
    QByteArray size(4, '\0');
    qToLittleEndian<quint32>(quint32(body.size()), size.data());
    return bytes + size + body;
}
