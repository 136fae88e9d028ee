#pragma once

#include "CloudSimCatalog.h"

#include <QByteArray>
#include <QString>

// XML bodies of the emulated service. Every reply is "<?xml ...?>" and one root element named
// after the endpoint plus "Response", holding "StatusCode" and "StatusMessage" leaves and the
// endpoint's own fields:
//   OpenDeviceSessionResponse:  StatusCode, StatusMessage, SessionId
//   CloseDeviceSessionResponse: StatusCode, StatusMessage
//   GetAvailableFilesResponse:  StatusCode, StatusMessage, Files/File* with the record's leaves
namespace CloudSimReplies {

QByteArray openSession(const QString &sessionId);
QByteArray closeSession();
// `baseURL` turns each record's relative "FileURL" into "<baseURL>/files/<name>".
QByteArray availableFiles(const QList<CloudSimCatalog::Record> &records, const QString &baseURL);
QByteArray status(const QString &endpoint, qint64 statusCode, const QString &message);

QByteArray htmlPage();
QByteArray notXML();
// A well-formed reply of `bytes` bytes that is almost all empty elements.
QByteArray tinyElements(const QString &endpoint, qint64 bytes);
// A CxF3 document of exactly `bytes` bytes (at least a few kilobytes) whose colours reference
// an entity: each reference stands for 10 KB, the whole for hundreds of megabytes.
QByteArray amplifyingFandeck(qint64 bytes);

} // namespace CloudSimReplies
