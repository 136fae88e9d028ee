#pragma once

#include "TinteraDemoEnvironment.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A file of a test catalog: payload bytes plus the record fields the test cares about.
struct TestCatalogFile
{
    QString name;       // served as files/<name>
    QByteArray payload;
    QString fileType = QStringLiteral("Fandeck");
    QString fileID;     // defaults to the name
    QString versionString = QStringLiteral("1.0");
};

// Writes a catalog folder in tintera-catalog's format: index.json and files/<name>.
void writeTestCatalog(const QString &folder, const QList<TestCatalogFile> &files);

// A running tintera-cloudsim on loopback through the demo environment without a device, stopped
// when the object goes away. Neither control calls nor get() run the event loop of the code under test.
class CloudSimProcess
{
public:
    explicit CloudSimProcess(const QString &catalogFolder, const QStringList &arguments = {});

    bool isRunning() const { return !baseURL().isEmpty(); }
    QString baseURL() const { return m_environment.serviceURL(); }
    QString fileURL(const QString &name) const { return baseURL() + QStringLiteral("/files/") + name; }

    // GET <base>/<path> with extra header lines, as written on the wire (a blocking socket: the
    // headers as the emulator sent them, repeated ones included): the HTTP status, the body and
    // the headers.
    int get(const QString &pathAndQuery, QByteArray *body = nullptr, const QByteArray &extraHeaders = {},
            QByteArray *headers = nullptr) const;
    bool setFault(const QString &target, const QMap<QString, QString> &items) const;
    QJsonDocument control(const QString &command) const;
    qint64 bytesServed(const QString &fileName) const { return m_environment.served("bytesServed", fileName); }
    qint64 fileRequests(const QString &fileName) const { return m_environment.served("requests", fileName); }
    QJsonArray requests() const;
    // The endpoint paths requested so far, in order, without the base path.
    QStringList endpointsRequested() const;

private:
    mutable TinteraDemoEnvironment m_environment;
};

// A catalog folder in a temporary directory plus the emulator serving it.
struct CloudSimFixture
{
    explicit CloudSimFixture(const QList<TestCatalogFile> &files, const QStringList &arguments = {});
    QTemporaryDir folder;
    QString catalogFolder;
    std::unique_ptr<CloudSimProcess> server;
};
