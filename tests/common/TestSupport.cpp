#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <sys/stat.h>

unsigned fileMode(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return ~0u;
    return unsigned(info.st_mode & 07777);
}

QString tinteraBuiltProgram(const QString &relativePath)
{
    return QStringLiteral(TINTERA_BINARY_DIR "/") + relativePath;
}

QString cxf3SchemaPath()
{
    const QString path = QStringLiteral(CXF3_SCHEMA_PATH);
    return QFileInfo::exists(path) ? path : QString();
}

QString argyllProgram(const QString &name)
{
    return QStandardPaths::findExecutable(name);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QString xmllintVerdict(const QString &path)
{
    const QString schema = cxf3SchemaPath();
    if (schema.isEmpty())
        return QStringLiteral("skipped");
    QProcess xmllint;
    xmllint.start(QStringLiteral("xmllint"), {QStringLiteral("--noout"), QStringLiteral("--schema"), schema, path});
    xmllint.waitForFinished(30000);
    return xmllint.exitCode() == 0 ? QStringLiteral("valid") : QString::fromUtf8(xmllint.readAllStandardError());
}

QString catalogFileName(const QString &catalogFolder, const QString &sku)
{
    for (const QJsonValue &record :
         QJsonDocument::fromJson(readFile(catalogFolder + QStringLiteral("/index.json"))).object().value(QStringLiteral("files")).toArray()) {
        if (record.toObject().value(QStringLiteral("SKU")).toString() == sku)
            return record.toObject().value(QStringLiteral("FileURL")).toString().section(QLatin1Char('/'), -1);
    }
    return {};
}

QMap<QString, QVariantMap> bySKU(const QVariantList &inventory)
{
    QMap<QString, QVariantMap> files;
    for (const QVariant &file : inventory)
        files.insert(file.toMap().value(QStringLiteral("SKU")).toString(), file.toMap());
    return files;
}
