#include "VLFileDigest.h"

#include <QCryptographicHash>
#include <QFile>

QByteArray vlSha256HexOfFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return {};
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&file)) {
        if (error)
            *error = file.errorString();
        return {};
    }
    return hash.result().toHex();
}

bool vlIsSha256Hex(const QString &text)
{
    if (text.size() != 64)
        return false;
    for (const QChar c : text) {
        if (!c.isDigit() && !(c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f')))
            return false;
    }
    return true;
}
