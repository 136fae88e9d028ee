#include "CloudSimServer.h"

#include "CloudSimCatalog.h"
#include "CloudSimReplies.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QUrl>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <memory>
#include <thread>

namespace {

constexpr qsizetype kRequestsKept = 1000;
constexpr size_t kChunkBytes = 256 * 1024;
constexpr qint64 kTinyElementsBytes = 60 * 1024 * 1024; // under the client's 64 MiB cap

const QString kOpenDeviceSession = QStringLiteral("OpenDeviceSession");
const QString kCloseDeviceSession = QStringLiteral("CloseDeviceSession");
const QString kGetAvailableFiles = QStringLiteral("GetAvailableFiles");

QString fromStd(const std::string &text)
{
    return QString::fromStdString(text);
}

std::string toStd(const QString &text)
{
    return text.toStdString();
}

QMap<QString, QString> parametersOf(const httplib::Request &request)
{
    QMap<QString, QString> parameters;
    for (const auto &[name, value] : request.params)
        parameters.insert(fromStd(name), fromStd(value));
    return parameters;
}

std::string regexEscaped(const QString &text)
{
    return toStd(QRegularExpression::escape(text));
}

void sendJSON(httplib::Response &response, const QJsonDocument &document, int status = 200)
{
    response.status = status;
    response.set_content(document.toJson(QJsonDocument::Indented).toStdString(), "application/json");
}

void sendError(httplib::Response &response, int status, const QString &message)
{
    sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("error"), message}}), status);
}

// Sends `body` as the reply, or only its first `cutAfter` bytes over a connection that then
// closes (a Content-Length of the whole body announced), or no body at all (`drop`).
void sendBody(httplib::Response &response, const QByteArray &body, const char *contentType,
              std::optional<qint64> cutAfter, bool drop)
{
    if (!cutAfter && !drop) {
        response.set_content(body.constData(), size_t(body.size()), contentType);
        return;
    }
    const qint64 limit = drop ? 0 : std::min<qint64>(*cutAfter, body.size());
    auto bytes = std::make_shared<QByteArray>(body);
    response.set_content_provider(size_t(body.size()), contentType,
                                  [bytes, limit](size_t offset, size_t length, httplib::DataSink &sink) {
                                      if (qint64(offset) >= limit)
                                          return false;
                                      const size_t n = std::min<size_t>(length, size_t(limit - qint64(offset)));
                                      return sink.write(bytes->constData() + offset, n);
                                  });
}

// Sends `body` one byte every `milliseconds`: a service that never stops and never gets anywhere.
void trickleBody(httplib::Response &response, const QByteArray &body, const char *contentType, int milliseconds)
{
    auto bytes = std::make_shared<QByteArray>(body);
    response.set_content_provider(size_t(body.size()), contentType,
                                  [bytes, milliseconds](size_t offset, size_t, httplib::DataSink &sink) {
                                      std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
                                      return sink.write(bytes->constData() + offset, 1);
                                  });
}

struct ByteRange
{
    qint64 first = 0;
    qint64 last = -1;
};

enum class RangeRequest { None, Satisfiable, Unsatisfiable };

// One "bytes=" range, normalised against the file size. Anything else (several ranges, other
// units, malformed text) is ignored and the whole file is sent, as HTTP allows.
RangeRequest parseRange(const std::string &header, qint64 size, ByteRange *range)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*bytes\\s*=\\s*(\\d*)\\s*-\\s*(\\d*)\\s*$"));
    const QRegularExpressionMatch match = pattern.match(fromStd(header));
    if (!match.hasMatch())
        return RangeRequest::None;
    const QString first = match.captured(1);
    const QString last = match.captured(2);
    if (first.isEmpty() && last.isEmpty())
        return RangeRequest::None;
    bool ok = true;
    if (first.isEmpty()) {
        const qint64 suffix = last.toLongLong(&ok);
        if (!ok)
            return RangeRequest::None;
        if (suffix == 0 || size == 0)
            return RangeRequest::Unsatisfiable;
        range->first = std::max<qint64>(0, size - suffix);
        range->last = size - 1;
        return RangeRequest::Satisfiable;
    }
    range->first = first.toLongLong(&ok);
    if (!ok)
        return RangeRequest::None;
    range->last = last.isEmpty() ? std::max<qint64>(range->first, size - 1) : last.toLongLong(&ok);
    if (!ok || range->last < range->first)
        return RangeRequest::None;
    if (range->first >= size)
        return RangeRequest::Unsatisfiable;
    range->last = std::min(range->last, size - 1);
    return RangeRequest::Satisfiable;
}

// The size of a request as it came over the wire: request line, headers, body.
qint64 requestSize(const httplib::Request &request)
{
    qint64 bytes = qint64(request.method.size() + request.target.size() + std::strlen("  HTTP/1.1\r\n\r\n"));
    for (const auto &[name, value] : request.headers)
        bytes += qint64(name.size() + value.size() + 4);
    return bytes + qint64(request.body.size());
}

// The size of a reply's head: the status line, the headers set so far, and those cpp-httplib adds
// (length, type, keep-alive) at about their usual size.
qint64 replyHeadSize(const httplib::Response &response)
{
    qint64 bytes = qint64(std::strlen("HTTP/1.1 200 OK\r\n\r\n")) + 90;
    for (const auto &[name, value] : response.headers)
        bytes += qint64(name.size() + value.size() + 4);
    return bytes;
}

qint64 bodySize(const httplib::Response &response)
{
    return response.content_provider_ ? qint64(response.content_length_) : qint64(response.body.size());
}

} // namespace

// Notes a request as it comes in and, when its handler is done however it ends, its reply's size
// and the service's own time.
class CloudSimServer::Recorder
{
public:
    Recorder(CloudSimServer *server, const httplib::Request &request, const httplib::Response &response)
        : m_server(server), m_response(response), m_start(std::chrono::steady_clock::now())
    {
        RequestRecord entry{fromStd(request.path), parametersOf(request),
                            request.has_header("Range") ? fromStd(request.get_header_value("Range")) : QString()};
        entry.requestBytes = requestSize(request);
        entry.at = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
        m_sequence = server->record(std::move(entry));
    }
    ~Recorder()
    {
        const auto elapsed = std::chrono::steady_clock::now() - m_start;
        m_server->complete(m_sequence, replyHeadSize(m_response) + bodySize(m_response),
                           std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count());
    }

private:
    CloudSimServer *m_server;
    const httplib::Response &m_response;
    std::chrono::steady_clock::time_point m_start;
    quint64 m_sequence = 0;
};

CloudSimServer::CloudSimServer(Options options)
    : m_options(std::move(options))
{
    if (m_options.tlsCertificate.isEmpty())
        m_server = std::make_unique<httplib::Server>();
    else
        m_server = std::make_unique<httplib::SSLServer>(m_options.tlsCertificate.toLocal8Bit().constData(),
                                                        m_options.tlsKey.toLocal8Bit().constData());
    while (m_options.prefix.endsWith(QLatin1Char('/')))
        m_options.prefix.chop(1);
    if (!m_options.prefix.isEmpty() && !m_options.prefix.startsWith(QLatin1Char('/')))
        m_options.prefix.prepend(QLatin1Char('/'));

    // Ranges are applied by the file handler alone, after normalising them: cpp-httplib 0.11.4
    // mishandles ranges past the end and would apply them to the XML replies too.
    m_link.setLink(m_options.link, m_options.linkSeed);
    m_server->set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &) {
        const_cast<httplib::Request &>(request).ranges.clear();
        // The request has come in whole: it reaches the service when the link has carried it.
        if (!isControl(request))
            m_link.requestArrived(requestSize(request));
        return httplib::Server::HandlerResponse::Unhandled;
    });
    // The reply's way back: its latency and its head now; its body piece by piece as it is
    // written, by the file handler's provider or, for bodies given whole, by one made here.
    m_server->set_post_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
        if (isControl(request) || m_link.isLoopback())
            return;
        m_link.replyStarts();
        m_link.send(replyHeadSize(response));
        if (response.content_provider_ || response.body.empty())
            return;
        auto body = std::make_shared<std::string>(std::move(response.body));
        response.body.clear();
        const std::string type = response.get_header_value("Content-Type");
        response.headers.erase("Content-Type");
        response.set_content_provider(body->size(), type.c_str(),
                                      [this, body](size_t offset, size_t length, httplib::DataSink &sink) {
                                          const size_t n = std::min(length, kChunkBytes);
                                          m_link.send(qint64(n));
                                          return sink.write(body->data() + offset, n);
                                      });
    });
    // A reply goes out as headers then body in separate writes; with Nagle's algorithm the body
    // of every request after the first on a kept-alive connection waits for the client's delayed
    // acknowledgement (about 40 ms on Linux), which no real service's latency looks like.
    m_server->set_tcp_nodelay(true);
    if (m_options.verbose) {
        m_server->set_logger([](const httplib::Request &request, const httplib::Response &response) {
            std::cerr << "tintera-cloudsim: " << request.method << ' ' << request.target << " -> " << response.status
                      << std::endl;
        });
    }
    installRoutes();
}

CloudSimServer::~CloudSimServer() = default;

bool CloudSimServer::bind(QString *error)
{
    if (!m_server->is_valid()) {
        if (error)
            *error = QStringLiteral("cannot use the certificate %1 with the key %2").arg(m_options.tlsCertificate, m_options.tlsKey);
        return false;
    }
    const std::string host = toStd(m_options.host);
    if (m_options.port == 0) {
        m_port = m_server->bind_to_any_port(host);
    } else {
        m_port = m_server->bind_to_port(host, m_options.port) ? m_options.port : -1;
    }
    if (m_port <= 0) {
        if (error)
            *error = QStringLiteral("cannot listen on %1:%2").arg(m_options.host).arg(m_options.port);
        return false;
    }
    return true;
}

QString CloudSimServer::baseURL() const
{
    const QLatin1String scheme(m_options.tlsCertificate.isEmpty() ? "http" : "https");
    return QStringLiteral("%1://%2:%3%4").arg(scheme, m_options.host).arg(m_port).arg(m_options.prefix);
}

void CloudSimServer::run()
{
    m_server->listen_after_bind();
}

void CloudSimServer::stop()
{
    m_server->stop();
}

void CloudSimServer::installRoutes()
{
    const std::string prefix = regexEscaped(m_options.prefix);
    for (const QString &endpoint : {kOpenDeviceSession, kCloseDeviceSession, kGetAvailableFiles}) {
        m_server->Get(prefix + "/" + toStd(endpoint), [this, endpoint](const httplib::Request &request,
                                                                     httplib::Response &response) {
            handleEndpoint(endpoint, request, response);
        });
    }
    m_server->Get(prefix + "/files/(.+)", [this](const httplib::Request &request, httplib::Response &response) {
        handleFile(fromStd(request.matches[1].str()), request, response);
    });
    m_server->Get(prefix + "/control/([a-z]+)", [this](const httplib::Request &request, httplib::Response &response) {
        handleControl(fromStd(request.matches[1].str()), request, response);
    });
}

bool CloudSimServer::isControl(const httplib::Request &request) const
{
    return fromStd(request.path).startsWith(m_options.prefix + QStringLiteral("/control/"));
}

quint64 CloudSimServer::record(RequestRecord entry)
{
    std::lock_guard locker(m_stateLock);
    entry.sequence = ++m_requestCounter;
    m_requests.append(std::move(entry));
    if (m_requests.size() > kRequestsKept)
        m_requests.removeFirst();
    return m_requestCounter;
}

void CloudSimServer::complete(quint64 sequence, qint64 responseBytes, qint64 micros)
{
    std::lock_guard locker(m_stateLock);
    for (auto it = m_requests.rbegin(); it != m_requests.rend(); ++it) {
        if (it->sequence == sequence) {
            it->responseBytes = responseBytes;
            it->micros = micros;
            return;
        }
    }
}

void CloudSimServer::countServed(const QString &name, qint64 bytes)
{
    std::lock_guard locker(m_stateLock);
    m_fileStats[name].bytesServed += bytes;
}

QByteArray CloudSimServer::endpointReply(const QString &endpoint, const httplib::Request &request,
                                         const QString &fileBase)
{
    const QMap<QString, QString> parameters = parametersOf(request);
    if (endpoint == kOpenDeviceSession) {
        if (parameters.value(QStringLiteral("deviceID")).isEmpty())
            return CloudSimReplies::status(endpoint, 1, QStringLiteral("The request names no device (deviceID)."));
        if (parameters.value(QStringLiteral("securityKey")).isEmpty())
            return CloudSimReplies::status(endpoint, 2, QStringLiteral("The request carries no security key (securityKey)."));
        QString sessionId;
        {
            std::lock_guard locker(m_stateLock);
            sessionId = QStringLiteral("S%1-%2")
                            .arg(++m_sessionCounter)
                            .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
            m_sessions.insert(sessionId);
        }
        return CloudSimReplies::openSession(sessionId);
    }

    const QString sessionId = parameters.value(QStringLiteral("SessionId"));
    bool known = false;
    {
        std::lock_guard locker(m_stateLock);
        known = m_sessions.contains(sessionId);
        if (known && endpoint == kCloseDeviceSession)
            m_sessions.remove(sessionId);
    }
    if (!known)
        return CloudSimReplies::status(endpoint, 4, QStringLiteral("The session is not open."));
    if (endpoint == kCloseDeviceSession)
        return CloudSimReplies::closeSession();

    QString error;
    const CloudSimCatalog catalog = CloudSimCatalog::load(m_options.catalogFolder, &error);
    if (!error.isEmpty()) {
        std::cerr << "tintera-cloudsim: " << toStd(error) << std::endl;
        return CloudSimReplies::status(endpoint, 5, QStringLiteral("The file catalog is not available."));
    }
    for (const QString &problem : catalog.problems)
        std::cerr << "tintera-cloudsim: " << toStd(problem) << std::endl;
    const QString fileType = parameters.value(QStringLiteral("FileType"));
    QList<CloudSimCatalog::Record> records;
    for (const CloudSimCatalog::Record &record : catalog.records) {
        bool matches = fileType.isEmpty() || fileType == QLatin1String("Any");
        for (const auto &[key, value] : record)
            matches = matches || (key == QLatin1String("FileType") && value == fileType);
        if (matches)
            records.append(record);
    }
    return CloudSimReplies::availableFiles(records, fileBase);
}

void CloudSimServer::handleEndpoint(const QString &endpoint, const httplib::Request &request,
                                    httplib::Response &response)
{
    const Recorder recorder(this, request, response);
    {
        std::lock_guard locker(m_stateLock);
        ++m_endpointCalls[endpoint];
    }
    const std::optional<CloudSimFault> fault = m_faults.take({endpoint});
    if (fault && fault->delayMilliseconds > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(fault->delayMilliseconds));

    QByteArray body;
    const char *contentType = "application/xml; charset=utf-8";
    if (fault && fault->body == QLatin1String("html")) {
        body = CloudSimReplies::htmlPage();
        contentType = "text/html; charset=utf-8";
    } else if (fault && fault->body == QLatin1String("notxml")) {
        body = CloudSimReplies::notXML();
        contentType = "text/plain; charset=utf-8";
    } else if (fault && fault->body == QLatin1String("empty")) {
        body = QByteArray("");
    } else if (fault && fault->body == QLatin1String("tiny")) {
        body = CloudSimReplies::tinyElements(endpoint, kTinyElementsBytes);
    } else if (fault && fault->statusCode) {
        body = CloudSimReplies::status(endpoint, *fault->statusCode, fault->message);
    } else {
        // The files are named under the service's own URL unless a fault lists them elsewhere.
        QString fileBase = baseURL();
        if (fault && fault->fileURL == QLatin1String("http"))
            fileBase.replace(QRegularExpression(QStringLiteral("^https:")), QStringLiteral("http:"));
        else if (fault && fault->fileURL == QLatin1String("file"))
            fileBase = QUrl::fromLocalFile(QFileInfo(m_options.catalogFolder).absoluteFilePath()).toString();
        body = endpointReply(endpoint, request, fileBase);
        if (fault && fault->body == QLatin1String("cdata")) {
            // The same reply, its texts written as CDATA sections as some XML writers do.
            static const QRegularExpression text(QStringLiteral(">([^<>]+)</"));
            body = QString::fromUtf8(body).replace(text, QStringLiteral("><![CDATA[\\1]]></")).toUtf8();
        }
    }
    response.status = fault && fault->httpStatus ? fault->httpStatus : 200;
    if (fault && fault->trickleMilliseconds > 0)
        trickleBody(response, body, contentType, fault->trickleMilliseconds);
    else
        sendBody(response, body, contentType, fault ? fault->cutAfter : std::nullopt, fault && fault->drop);
}

void CloudSimServer::handleFile(const QString &name, const httplib::Request &request, httplib::Response &response)
{
    const Recorder recorder(this, request, response);
    const QString path = CloudSimCatalog::payloadPath(m_options.catalogFolder, name);
    {
        std::lock_guard locker(m_stateLock);
        if (!path.isEmpty())
            ++m_fileStats[name].requests;
    }
    const std::optional<CloudSimFault> fault = m_faults.take({QStringLiteral("files/") + name, QStringLiteral("files")});
    if (fault && fault->delayMilliseconds > 0 && !fault->pauseAt)
        std::this_thread::sleep_for(std::chrono::milliseconds(fault->delayMilliseconds));

    const QFileInfo info(path);
    if (path.isEmpty() || !info.isFile()) {
        response.status = 404;
        response.set_content("Not Found\n", "text/plain");
        return;
    }
    if (fault && fault->httpStatus) {
        response.status = fault->httpStatus;
        response.set_content(toStd(QStringLiteral("HTTP %1\n").arg(fault->httpStatus)), "text/plain");
        return;
    }
    if (fault && (fault->body == QLatin1String("html") || fault->body == QLatin1String("notxml"))) {
        const QByteArray body = fault->body == QLatin1String("html") ? CloudSimReplies::htmlPage() : CloudSimReplies::notXML();
        response.set_content(body.constData(), size_t(body.size()), "text/html");
        return;
    }

    if (fault && fault->body == QLatin1String("entities")) {
        const QByteArray body = CloudSimReplies::amplifyingFandeck(info.size());
        countServed(name, body.size());
        if (fault->trickleMilliseconds > 0)
            trickleBody(response, body, "application/octet-stream", fault->trickleMilliseconds);
        else
            response.set_content(body.constData(), size_t(body.size()), "application/octet-stream");
        return;
    }

    const int descriptor = ::open(path.toLocal8Bit().constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        response.status = 403;
        response.set_content("Forbidden\n", "text/plain");
        return;
    }
    auto file = std::shared_ptr<int>(new int(descriptor), [](int *fd) {
        ::close(*fd);
        delete fd;
    });
    const qint64 size = ::lseek(descriptor, 0, SEEK_END);
    // The file's version as the fault says: an entity tag, its time of change, or nothing at all
    // (a range is then served whatever the file has become since).
    const QString validatorKind = fault && !fault->validator.isEmpty() ? fault->validator : QStringLiteral("etag");
    QString validator;
    if (validatorKind == QLatin1String("etag"))
        validator = QStringLiteral("\"%1-%2\"").arg(size).arg(info.lastModified().toMSecsSinceEpoch());
    else if (validatorKind == QLatin1String("lastmodified"))
        validator = QLocale::c().toString(info.lastModified().toUTC(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));

    ByteRange range{0, size - 1};
    RangeRequest ranged = RangeRequest::None;
    // A service that gives no validator does not know If-Range either: it serves the range.
    const bool validatorMatches = validator.isEmpty() || !request.has_header("If-Range")
                               || fromStd(request.get_header_value("If-Range")) == validator;
    if (request.has_header("Range") && validatorMatches)
        ranged = parseRange(request.get_header_value("Range"), size, &range);
    if (ranged == RangeRequest::Unsatisfiable) {
        response.status = 416;
        response.set_header("Content-Range", toStd(QStringLiteral("bytes */%1").arg(size)));
        response.set_content("Requested Range Not Satisfiable\n", "text/plain");
        return;
    }
    response.set_header("Accept-Ranges", "bytes");
    if (validatorKind == QLatin1String("etag"))
        response.set_header("ETag", toStd(validator));
    else if (validatorKind == QLatin1String("lastmodified"))
        response.set_header("Last-Modified", toStd(validator));
    if (fault && !fault->filename.isEmpty())
        response.set_header("Content-Disposition", toStd(QStringLiteral("attachment; filename=\"%1\"").arg(fault->filename)));
    if (ranged == RangeRequest::Satisfiable) {
        response.status = 206;
        response.set_header("Content-Range",
                            toStd(QStringLiteral("bytes %1-%2/%3").arg(range.first).arg(range.last).arg(size)));
    }

    const qint64 length = range.last - range.first + 1;
    if (fault && (fault->extra || fault->length)) {
        // A body that does not fit the file or its own announcement, held in memory (test files are small).
        std::string body(size_t(length), '\0');
        const ssize_t got = ::pread(*file, body.data(), body.size(), off_t(range.first));
        body.resize(size_t(std::max<ssize_t>(got, 0)));
        body.append(size_t(fault->extra.value_or(0)), 'X');
        countServed(name, qint64(body.size()));
        if (fault->noLength) {
            auto shared = std::make_shared<std::string>(std::move(body));
            response.set_chunked_content_provider("application/octet-stream",
                                                  [shared](size_t offset, httplib::DataSink &sink) {
                                                      if (offset >= shared->size()) {
                                                          sink.done();
                                                          return true;
                                                      }
                                                      const size_t n = std::min<size_t>(kChunkBytes, shared->size() - offset);
                                                      return sink.write(shared->data() + offset, n);
                                                  });
            return;
        }
        if (!fault->length) {
            response.set_content(body, "application/octet-stream");
            return;
        }
        // The announcement goes first, before the one cpp-httplib adds (clients take the first);
        // since no client can know where such a body ends, the connection closes after it.
        response.set_header("Content-Length", std::to_string(*fault->length));
        auto shared = std::make_shared<std::string>(std::move(body));
        response.set_content_provider(shared->size() + 1, "application/octet-stream",
                                      [shared](size_t offset, size_t, httplib::DataSink &sink) {
                                          if (offset >= shared->size())
                                              return false;
                                          return sink.write(shared->data() + offset, shared->size() - offset);
                                      });
        return;
    }
    const qint64 limit = fault && fault->drop ? 0 : (fault && fault->cutAfter ? std::min(*fault->cutAfter, length) : length);
    const qint64 start = range.first;
    const qint64 pauseAt = fault && fault->pauseAt ? *fault->pauseAt : -1;
    const int pauseMilliseconds = fault ? fault->delayMilliseconds : 0;
    const int trickleMilliseconds = fault ? fault->trickleMilliseconds : 0;
    auto provide = [this, file, name, start, limit, pauseAt, pauseMilliseconds,
                    trickleMilliseconds](size_t offset, size_t wanted, httplib::DataSink &sink) {
        if (qint64(offset) >= limit)
            return false; // the fault: close the connection here
        if (qint64(offset) == pauseAt && pauseMilliseconds > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(pauseMilliseconds));
        if (trickleMilliseconds > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(trickleMilliseconds));
        size_t chunk = std::min<size_t>({wanted, kChunkBytes, size_t(limit - qint64(offset))});
        if (trickleMilliseconds > 0)
            chunk = 1;
        if (qint64(offset) < pauseAt)
            chunk = std::min<size_t>(chunk, size_t(pauseAt - qint64(offset)));
        std::string buffer(chunk, '\0');
        const ssize_t got = ::pread(*file, buffer.data(), buffer.size(), off_t(start + qint64(offset)));
        if (got > 0)
            m_link.send(got);
        // Never report success without bytes: cpp-httplib would ask again forever.
        if (got <= 0 || !sink.write(buffer.data(), size_t(got)))
            return false;
        countServed(name, got);
        return true;
    };
    if (fault && fault->noLength) {
        response.set_chunked_content_provider("application/octet-stream",
                                              [provide, length](size_t offset, httplib::DataSink &sink) {
                                                  if (qint64(offset) >= length) {
                                                      sink.done();
                                                      return true;
                                                  }
                                                  return provide(offset, size_t(length - qint64(offset)), sink);
                                              });
    } else {
        response.set_content_provider(size_t(length), "application/octet-stream", provide);
    }
}

void CloudSimServer::handleControl(const QString &command, const httplib::Request &request, httplib::Response &response)
{
    const QMap<QString, QString> parameters = parametersOf(request);
    if (command == QLatin1String("fault")) {
        const QString target = parameters.value(QStringLiteral("target"));
        if (!cloudSimIsKnownFaultTarget(target))
            return sendError(response, 400, QStringLiteral("unknown target \"%1\"").arg(target));
        QString error;
        const std::optional<CloudSimFault> fault = cloudSimFaultFromItems(parameters, &error);
        if (!fault)
            return sendError(response, 400, error);
        m_faults.set(target, *fault);
        return sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("target"), target},
                                                            {QStringLiteral("fault"), fault->description()}}));
    }
    if (command == QLatin1String("clear")) {
        m_faults.clear(parameters.value(QStringLiteral("target")));
        return sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("cleared"), true}}));
    }
    if (command == QLatin1String("reset")) {
        m_faults.clear();
        std::lock_guard locker(m_stateLock);
        m_fileStats.clear();
        m_endpointCalls.clear();
        m_requests.clear();
        m_sessions.clear();
        return sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("reset"), true}}));
    }
    if (command == QLatin1String("stats")) {
        QJsonObject files;
        QJsonObject endpoints;
        QJsonObject faults;
        qint64 openSessions = 0;
        {
            std::lock_guard locker(m_stateLock);
            for (auto it = m_fileStats.constBegin(); it != m_fileStats.constEnd(); ++it)
                files.insert(it.key(), QJsonObject{{QStringLiteral("bytesServed"), it->bytesServed},
                                                   {QStringLiteral("requests"), it->requests}});
            for (auto it = m_endpointCalls.constBegin(); it != m_endpointCalls.constEnd(); ++it)
                endpoints.insert(it.key(), it.value());
            openSessions = m_sessions.size();
        }
        const QMap<QString, CloudSimFault> active = m_faults.all();
        for (auto it = active.constBegin(); it != active.constEnd(); ++it)
            faults.insert(it.key(), it->description());
        return sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("files"), files},
                                                            {QStringLiteral("endpoints"), endpoints},
                                                            {QStringLiteral("faults"), faults},
                                                            {QStringLiteral("openSessions"), openSessions}}));
    }
    if (command == QLatin1String("requests")) {
        QJsonArray list;
        std::lock_guard locker(m_stateLock);
        for (const RequestRecord &entry : m_requests) {
            QJsonObject params;
            for (auto it = entry.parameters.constBegin(); it != entry.parameters.constEnd(); ++it)
                params.insert(it.key(), it.value());
            QJsonObject item{{QStringLiteral("path"), entry.path},
                             {QStringLiteral("parameters"), params},
                             {QStringLiteral("requestBytes"), entry.requestBytes},
                             {QStringLiteral("responseBytes"), entry.responseBytes},
                             {QStringLiteral("micros"), entry.micros},
                             {QStringLiteral("at"), entry.at}};
            if (!entry.range.isEmpty())
                item.insert(QStringLiteral("range"), entry.range);
            list.append(item);
        }
        return sendJSON(response, QJsonDocument(list));
    }
    if (command == QLatin1String("link")) {
        if (parameters.contains(QStringLiteral("profile"))) {
            const std::optional<LinkProfile> profile = LinkProfile::named(parameters.value(QStringLiteral("profile")));
            if (!profile)
                return sendError(response, 400, QStringLiteral("unknown link \"%1\" (known: %2)")
                                                    .arg(parameters.value(QStringLiteral("profile")),
                                                         LinkProfile::names().join(QStringLiteral(", "))));
            bool ok = true;
            const quint64 seed = parameters.contains(QStringLiteral("seed"))
                                   ? parameters.value(QStringLiteral("seed")).toULongLong(&ok)
                                   : m_link.seed();
            if (!ok)
                return sendError(response, 400, QStringLiteral("the seed is a number"));
            m_link.setLink(*profile, seed);
        }
        const LinkProfile link = m_link.link();
        return sendJSON(response, QJsonDocument(QJsonObject{{QStringLiteral("profile"), link.name},
                                                            {QStringLiteral("description"), link.description()},
                                                            {QStringLiteral("seed"), qint64(m_link.seed())}}));
    }
    sendError(response, 404, QStringLiteral("unknown control command \"%1\"").arg(command));
}
