#pragma once

#include <QMap>
#include <QString>

#include <mutex>
#include <optional>

// One misbehaviour of the emulated service, for an endpoint or for files.
struct CloudSimFault
{
    int httpStatus = 0;                 // "http": answer with this HTTP status
    QString body;                       // "body": "html", "notxml" or "empty" instead of the reply, or
                                        // "cdata": the reply with every text in a CDATA section, or
                                        // "tiny": a reply of 60 MiB of tiny elements, or for a file
                                        // "entities": a CxF3 document of the file's size whose
                                        // nested entities expand to hundreds of megabytes
    std::optional<qint64> statusCode;   // "statuscode": a reply carrying only this "StatusCode"...
    QString message;                    // "message": ...and this "StatusMessage"
    int delayMilliseconds = 0;          // "delay": wait before answering
    int trickleMilliseconds = 0;        // "trickle": send the body one byte every this many ms
    std::optional<qint64> pauseAt;      // "pauseat": a file's body stops after this many bytes for
                                        // the "delay" instead (a transfer caught in the middle)
    std::optional<qint64> cutAfter;     // "cut": send the headers and this many body bytes, then close
    bool drop = false;                  // "drop": send the headers, then close without a body
    QString filename;                   // "filename": propose this name (Content-Disposition)
    bool noLength = false;              // "nolength": send the body without Content-Length
    std::optional<qint64> extra;        // "extra": send this many bytes more than the file holds
    std::optional<qint64> length;       // "length": announce this Content-Length (any number) first,
                                        // whatever the body is; the connection closes after the body
    QString validator;                  // "validator": a file's version as "etag" (the default),
                                        // "lastmodified" (Last-Modified only) or "none" (neither)
    QString fileURL;                    // "fileurl": the file list names its files by "http" URLs
                                        // (the service's host and port) or "file" URLs (the catalog)
    int times = -1;                     // "times": how many requests it applies to (-1: all)

    QString description() const;
};

// Parses "key=value,key=value" (values percent-decoded) or a list of query items. Unknown keys
// and bad numbers give an error text.
std::optional<CloudSimFault> cloudSimFaultFromItems(const QMap<QString, QString> &items, QString *error);
std::optional<CloudSimFault> cloudSimFaultFromSpec(const QString &spec, QString *error);

// The faults in force, by target: "OpenDeviceSession", "CloseDeviceSession", "GetAvailableFiles",
// "files" (every file) or "files/<name>" (one file). Shared by the server's worker threads.
class CloudSimFaultTable
{
public:
    void set(const QString &target, const CloudSimFault &fault);
    void clear(const QString &target = QString());
    // The fault for the first of the targets that has one, counted as used once.
    std::optional<CloudSimFault> take(std::initializer_list<QString> targets);
    QMap<QString, CloudSimFault> all() const;

private:
    mutable std::mutex m_lock;
    QMap<QString, CloudSimFault> m_faults;
};

bool cloudSimIsKnownFaultTarget(const QString &target);
