#pragma once

#include "CloudSimFaults.h"
#include "LinkPacer.h"

#include <QList>
#include <QMap>
#include <QSet>
#include <QString>

#include <httplib.h>

#include <memory>
#include <mutex>

// The sync web service on cpp-httplib: the three XML endpoints, the catalog's files (with
// Content-Length, Range/206/416 and If-Range) and a control endpoint, all under one base URL,
// over http or, given a certificate and its key, over https.
// Everything but the control endpoint travels through a link model (loopback unless told).
//
//   <base>/OpenDeviceSession?deviceID&securityKey&securityType&language
//   <base>/CloseDeviceSession?SessionId
//   <base>/GetAvailableFiles?SessionId&FileType
//   <base>/files/<name>
//   <base>/control/fault?target=T&<fault items>    set a fault (see CloudSimFault)
//   <base>/control/clear[?target=T]                clear one fault or all
//   <base>/control/stats                           JSON: served bytes per file, calls per endpoint
//   <base>/control/requests                        JSON: the latest requests with their parameters,
//                                                  bytes each way and the service's own time
//   <base>/control/link[?profile=P[&seed=N]]       the link the service sits behind (set, or read)
//   <base>/control/reset                           clear faults, counters, requests and sessions
class CloudSimServer
{
public:
    struct Options
    {
        QString catalogFolder;
        QString host = QStringLiteral("127.0.0.1");
        int port = 0; // 0: an ephemeral port
        QString prefix; // path of the base URL, "" or "/a/b"
        bool verbose = false;
        LinkProfile link;
        quint64 linkSeed = 1;
        QString tlsCertificate; // PEM files: with both, the service speaks https only
        QString tlsKey;
    };

    explicit CloudSimServer(Options options);
    ~CloudSimServer();

    bool bind(QString *error);
    QString baseURL() const;
    void run(); // serves until stop()
    void stop();
    CloudSimFaultTable &faults() { return m_faults; }

private:
    struct FileStats
    {
        qint64 bytesServed = 0;
        qint64 requests = 0;
    };
    struct RequestRecord
    {
        QString path;
        QMap<QString, QString> parameters;
        QString range;
        qint64 requestBytes = 0;
        qint64 responseBytes = 0;
        qint64 micros = 0; // the service's own time, the link's not counted
        qint64 at = 0; // when it came in, microseconds since 1970
        quint64 sequence = 0;
    };
    class Recorder;

    void installRoutes();
    void handleEndpoint(const QString &endpoint, const httplib::Request &request, httplib::Response &response);
    void handleFile(const QString &name, const httplib::Request &request, httplib::Response &response);
    void handleControl(const QString &command, const httplib::Request &request, httplib::Response &response);
    QByteArray endpointReply(const QString &endpoint, const httplib::Request &request, const QString &fileBase);
    // Notes a request as it comes in; complete() adds its reply when the handler is done.
    quint64 record(RequestRecord entry);
    void complete(quint64 sequence, qint64 responseBytes, qint64 micros);
    bool isControl(const httplib::Request &request) const;
    void countServed(const QString &name, qint64 bytes);

    Options m_options;
    int m_port = 0;
    std::unique_ptr<httplib::Server> m_server; // an httplib::SSLServer with TLS
    CloudSimFaultTable m_faults;
    LinkPacer m_link;

    std::mutex m_stateLock;
    QMap<QString, FileStats> m_fileStats;
    QMap<QString, qint64> m_endpointCalls;
    QList<RequestRecord> m_requests;
    QSet<QString> m_sessions;
    quint64 m_sessionCounter = 0;
    quint64 m_requestCounter = 0;
};
