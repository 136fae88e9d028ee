#include "CloudSimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonObject>
#include <QTcpSocket>
#include <QUrl>

void writeTestCatalog(const QString &folder, const QList<TestCatalogFile> &files)
{
    QDir(folder).mkpath("files");
    QJsonArray records;
    for (const TestCatalogFile &file : files) {
        writeFile(QDir(folder).filePath("files/" + file.name), file.payload);
        const qsizetype index = records.size() + 1;
        records.append(QJsonObject{{"FileID", file.fileID.isEmpty() ? file.name : file.fileID},
                                   {"DeviceFileID", QString::number(1000 + index)}, {"FileType", file.fileType},
                                   {"FileURL", "files/" + file.name}, {"ByteLength", QString::number(file.payload.size())},
                                   {"Description", "Test file " + file.name}, {"SKU", QStringLiteral("SKU-%1").arg(index)},
                                   {"VersionString", file.versionString}, {"VersionDate", "3/14/2023 9:26:53 PM"}});
    }
    writeFile(QDir(folder).filePath("index.json"), QJsonDocument(QJsonObject{{"edition", 1}, {"files", records}}).toJson());
}

CloudSimProcess::CloudSimProcess(const QString &catalogFolder, const QStringList &arguments)
{
    TinteraDemoEnvironment::Options options;
    options.catalog = catalogFolder;
    options.devices = 0;
    options.cloudsimArguments = arguments;
    options.exportEnvironment = false;
    VLError error;
    EXPECT_TRUE(m_environment.start(options, &error)) << qPrintable(error.description());
}

int CloudSimProcess::get(const QString &pathAndQuery, QByteArray *body, const QByteArray &extraHeaders,
                         QByteArray *headers) const
{
    const QUrl base(baseURL());
    QTcpSocket socket;
    socket.connectToHost(base.host(), quint16(base.port()));
    if (!socket.waitForConnected(5000))
        return 0;
    socket.write("GET " + (base.path() + QLatin1Char('/') + pathAndQuery).toUtf8() + " HTTP/1.0\r\nHost: "
                 + base.host().toUtf8() + "\r\nConnection: close\r\n" + extraHeaders + "\r\n");
    QByteArray reply;
    while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead(10000))
        reply += socket.readAll();
    reply += socket.readAll();
    const qsizetype split = reply.indexOf("\r\n\r\n");
    if (body)
        *body = split < 0 ? QByteArray() : reply.mid(split + 4);
    if (headers)
        *headers = reply.left(split);
    const QList<QByteArray> statusLine = reply.left(reply.indexOf("\r\n")).split(' ');
    return statusLine.size() > 1 ? statusLine.at(1).toInt() : 0;
}

bool CloudSimProcess::setFault(const QString &target, const QMap<QString, QString> &items) const
{
    QString query = QStringLiteral("fault?target=") + QString::fromLatin1(QUrl::toPercentEncoding(target));
    for (auto it = items.constBegin(); it != items.constEnd(); ++it)
        query += QLatin1Char('&') + it.key() + QLatin1Char('=') + QString::fromLatin1(QUrl::toPercentEncoding(it.value()));
    return m_environment.cloudsimControl(query, nullptr, nullptr);
}

QJsonDocument CloudSimProcess::control(const QString &command) const
{
    QByteArray body;
    m_environment.cloudsimControl(command, &body, nullptr);
    return QJsonDocument::fromJson(body);
}

QJsonArray CloudSimProcess::requests() const
{
    return control(QStringLiteral("requests")).array();
}

QStringList CloudSimProcess::endpointsRequested() const
{
    const QString basePath = QUrl(baseURL()).path();
    QStringList paths;
    for (const QJsonValue &entry : requests()) {
        const QString path = entry[QStringLiteral("path")].toString().mid(basePath.size() + 1);
        if (!path.startsWith(QLatin1String("control/")))
            paths << path;
    }
    return paths;
}

CloudSimFixture::CloudSimFixture(const QList<TestCatalogFile> &files, const QStringList &arguments)
    : catalogFolder(folder.filePath(QStringLiteral("catalog")))
{
    writeTestCatalog(catalogFolder, files);
    server = std::make_unique<CloudSimProcess>(catalogFolder, arguments);
}
