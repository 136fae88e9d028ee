#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QProcess>
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
void writeTestCatalog(const QString &folder, const QList<TestCatalogFile> &files, int edition = 1);

// A running tintera-cloudsim on loopback, stopped when the object goes away. Control calls use a
// blocking socket, so they never run the event loop of the code under test.
class CloudSimProcess
{
public:
    explicit CloudSimProcess(const QString &catalogFolder, const QStringList &arguments = {});
    ~CloudSimProcess();
    CloudSimProcess(const CloudSimProcess &) = delete;
    CloudSimProcess &operator=(const CloudSimProcess &) = delete;

    bool isRunning() const { return !m_baseURL.isEmpty(); }
    QString baseURL() const { return m_baseURL; }
    QString fileURL(const QString &name) const { return m_baseURL + QStringLiteral("/files/") + name; }

    // GET <base>/<path> with extra header lines: the HTTP status, the body and the headers.
    int get(const QString &pathAndQuery, QByteArray *body = nullptr, const QByteArray &extraHeaders = {},
            QByteArray *headers = nullptr) const;
    bool setFault(const QString &target, const QMap<QString, QString> &items) const;
    QJsonDocument control(const QString &command) const;
    qint64 bytesServed(const QString &fileName) const;
    qint64 fileRequests(const QString &fileName) const;
    QJsonArray requests() const;
    // The endpoint paths requested so far, in order, without the base path.
    QStringList endpointsRequested() const;

private:
    QProcess m_process;
    QString m_baseURL;
};

// A catalog folder in a temporary directory plus the emulator serving it.
struct CloudSimFixture
{
    explicit CloudSimFixture(const QList<TestCatalogFile> &files, const QStringList &arguments = {});
    QTemporaryDir folder;
    QString catalogFolder;
    std::unique_ptr<CloudSimProcess> server;
};
