#include "DevsimTraffic.h"

#include <QFile>

#include <chrono>

namespace DevsimTraffic {

qint64 now()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void append(const QString &path, const DevsimTrafficEntry &entry)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    QString name = entry.command;
    name.replace(QLatin1Char('\t'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    file.write(QStringLiteral("%1\t%2\t%3\t%4\t%5\n")
                   .arg(name)
                   .arg(entry.bytesIn)
                   .arg(entry.bytesOut)
                   .arg(entry.micros)
                   .arg(entry.at)
                   .toUtf8());
}

QList<DevsimTrafficEntry> read(const QString &path)
{
    QList<DevsimTrafficEntry> entries;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return entries;
    while (!file.atEnd()) {
        const QList<QByteArray> fields = file.readLine().trimmed().split('\t');
        if (fields.size() != 5)
            continue;
        entries.append({QString::fromUtf8(fields[0]), fields[1].toLongLong(), fields[2].toLongLong(),
                        fields[3].toLongLong(), fields[4].toLongLong()});
    }
    return entries;
}

} // namespace DevsimTraffic
