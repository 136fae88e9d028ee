#include "DevsimMedia.h"

#include <QtEndian>

bool devsimIsBitmap(const QByteArray &bytes)
{
    constexpr qsizetype kFileHeader = 14;
    if (bytes.size() < kFileHeader + 12 || !bytes.startsWith("BM"))
        return false;
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    const quint32 declaredSize = qFromLittleEndian<quint32>(data + 2);
    const quint32 pixelOffset = qFromLittleEndian<quint32>(data + 10);
    const quint32 infoSize = qFromLittleEndian<quint32>(data + 14);
    if (declaredSize != quint32(bytes.size()) || pixelOffset >= quint32(bytes.size()))
        return false;
    if (infoSize != 12 && infoSize != 40 && infoSize != 52 && infoSize != 56 && infoSize != 108 && infoSize != 124)
        return false;
    if (bytes.size() < kFileHeader + qsizetype(infoSize))
        return false;
    qint64 width = 0;
    qint64 height = 0;
    if (infoSize == 12) {
        width = qFromLittleEndian<quint16>(data + 18);
        height = qFromLittleEndian<quint16>(data + 20);
    } else {
        width = qFromLittleEndian<qint32>(data + 18);
        height = qFromLittleEndian<qint32>(data + 22);
    }
    return width > 0 && height != 0;
}

bool devsimIsWave(const QByteArray &start)
{
    return start.size() >= 12 && start.startsWith("RIFF") && start.mid(8, 4) == "WAVE";
}
