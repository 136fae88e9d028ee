#include "DeviceFiles.h"

#include "CatalogRandom.h"

#include <QXmlStreamWriter>
#include <QtEndian>

#include <bit>
#include <cmath>
#include <numbers>

namespace {

void appendLE16(QByteArray *data, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    data->append(bytes, 2);
}

void appendLE32(QByteArray *data, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    data->append(bytes, 4);
}

} // namespace

QByteArray makeFirmwareImage(const QByteArray &magic, const QString &version, int byteLength)
{
    QByteArray image = magic.leftJustified(8, '\0', true);
    image += version.toLatin1().leftJustified(16, '\0', true);
    appendLE32(&image, quint32(byteLength));
    CatalogRandom random(catalogSeed(magic + version.toLatin1()));
    image.reserve(byteLength);
    while (image.size() < byteLength) {
        char bytes[8];
        qToLittleEndian(random.next(), bytes);
        image.append(bytes, qMin<qsizetype>(8, byteLength - image.size()));
    }
    return image;
}

QByteArray makeBitmap(int width, int height, int theme)
{
    const int rowBytes = (width * 3 + 3) & ~3;
    const quint32 pixelBytes = quint32(rowBytes * height);
    QByteArray bmp;
    bmp.reserve(54 + int(pixelBytes));
    bmp += "BM";
    appendLE32(&bmp, 54 + pixelBytes);
    appendLE32(&bmp, 0);
    appendLE32(&bmp, 54);
    appendLE32(&bmp, 40); // BITMAPINFOHEADER
    appendLE32(&bmp, quint32(width));
    appendLE32(&bmp, quint32(height));
    appendLE16(&bmp, 1);
    appendLE16(&bmp, 24);
    appendLE32(&bmp, 0); // BI_RGB
    appendLE32(&bmp, pixelBytes);
    appendLE32(&bmp, 2835); // 72 dpi
    appendLE32(&bmp, 2835);
    appendLE32(&bmp, 0);
    appendLE32(&bmp, 0);

    // A vertical gradient between two theme colours with a band of swatches across the middle.
    static const int themes[][6] = {
        {24, 54, 92, 120, 170, 200},  // deep blue to sky
        {60, 30, 70, 230, 160, 120},  // plum to apricot
        {20, 70, 60, 200, 220, 170},  // teal to mint
    };
    const int *colours = themes[theme % 3];
    for (int y = height - 1; y >= 0; --y) { // bottom-up rows
        QByteArray row(rowBytes, '\0');
        for (int x = 0; x < width; ++x) {
            const double t = double(y) / std::max(1, height - 1);
            int rgb[3];
            for (int c = 0; c < 3; ++c)
                rgb[c] = int(colours[c] + (colours[c + 3] - colours[c]) * t);
            const bool inBand = y > height * 2 / 5 && y < height * 3 / 5;
            if (inBand && (x / std::max(1, width / 8)) % 2 == 0) {
                const int swatch = x / std::max(1, width / 8);
                rgb[0] = (swatch * 53 + 90) % 256;
                rgb[1] = (swatch * 97 + 40) % 256;
                rgb[2] = (swatch * 31 + 150) % 256;
            }
            row[x * 3] = char(rgb[2]);
            row[x * 3 + 1] = char(rgb[1]);
            row[x * 3 + 2] = char(rgb[0]);
        }
        bmp += row;
    }
    return bmp;
}

QByteArray makeWave(const QList<double> &notes, int noteMilliseconds)
{
    constexpr int sampleRate = 22050;
    const int samplesPerNote = sampleRate * noteMilliseconds / 1000;
    const quint32 dataBytes = quint32(notes.size() * samplesPerNote * 2);
    QByteArray wav;
    wav += "RIFF";
    appendLE32(&wav, 36 + dataBytes);
    wav += "WAVEfmt ";
    appendLE32(&wav, 16);
    appendLE16(&wav, 1); // PCM
    appendLE16(&wav, 1); // mono
    appendLE32(&wav, sampleRate);
    appendLE32(&wav, sampleRate * 2);
    appendLE16(&wav, 2);
    appendLE16(&wav, 16);
    wav += "data";
    appendLE32(&wav, dataBytes);
    for (double frequency : notes) {
        for (int i = 0; i < samplesPerNote; ++i) {
            // Short attack and exponential decay, so notes do not click.
            const double t = double(i) / sampleRate;
            const double envelope = std::min(1.0, i / 200.0) * std::exp(-3.0 * i / samplesPerNote);
            const double sample = 0.5 * envelope * std::sin(2 * std::numbers::pi * frequency * t);
            appendLE16(&wav, quint16(qint16(std::lround(sample * 32767))));
        }
    }
    return wav;
}

QByteArray makeInversionMatrix(int rows, int columns, quint64 seed)
{
    QByteArray matrix("VLMINVMX");
    appendLE32(&matrix, quint32(rows));
    appendLE32(&matrix, quint32(columns));
    CatalogRandom random(seed);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            // Each sensor channel answers most strongly near its own part of the spectrum.
            const double centre = (c + 0.5) * rows / columns;
            const float value = float(std::exp(-std::pow((r - centre) / 3.0, 2)) + random.uniform(-0.02, 0.02));
            appendLE32(&matrix, std::bit_cast<quint32>(value));
        }
    }
    return matrix;
}

QByteArray makeDeviceSettings(const DeviceSettingsValues &values)
{
    QByteArray xml;
    QXmlStreamWriter writer(&xml);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("DeviceSettings"));
    writer.writeTextElement(QStringLiteral("MatchPerformanceTolerance"), values.matchPerformanceTolerance);
    writer.writeStartElement(QStringLiteral("PriorityFandeck"));
    writer.writeTextElement(QStringLiteral("ID"), values.priorityFandeckSKU);
    writer.writeTextElement(QStringLiteral("Offset"), values.priorityFandeckOffset);
    writer.writeEndElement();
    writer.writeStartElement(QStringLiteral("DEWeightFactor"));
    writer.writeTextElement(QStringLiteral("L"), values.weightL);
    writer.writeTextElement(QStringLiteral("C"), values.weightC);
    writer.writeTextElement(QStringLiteral("H"), values.weightH);
    writer.writeEndElement();
    writer.writeEndElement();
    writer.writeEndDocument();
    return xml;
}
