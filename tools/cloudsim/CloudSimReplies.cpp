#include "CloudSimReplies.h"

#include <QXmlStreamWriter>

#include <functional>

namespace {

QByteArray reply(const QString &endpoint, qint64 statusCode, const QString &message,
                 const std::function<void(QXmlStreamWriter &)> &fields = {})
{
    QByteArray bytes;
    QXmlStreamWriter writer(&bytes);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(endpoint + QStringLiteral("Response"));
    writer.writeTextElement(QStringLiteral("StatusCode"), QString::number(statusCode));
    writer.writeTextElement(QStringLiteral("StatusMessage"), message);
    if (fields)
        fields(writer);
    writer.writeEndElement();
    writer.writeEndDocument();
    return bytes;
}

} // namespace

namespace CloudSimReplies {

QByteArray openSession(const QString &sessionId)
{
    return reply(QStringLiteral("OpenDeviceSession"), 0, QStringLiteral("OK"), [&](QXmlStreamWriter &writer) {
        writer.writeTextElement(QStringLiteral("SessionId"), sessionId);
    });
}

QByteArray closeSession()
{
    return reply(QStringLiteral("CloseDeviceSession"), 0, QStringLiteral("OK"));
}

QByteArray availableFiles(const QList<CloudSimCatalog::Record> &records, const QString &baseURL)
{
    return reply(QStringLiteral("GetAvailableFiles"), 0, QStringLiteral("OK"), [&](QXmlStreamWriter &writer) {
        writer.writeStartElement(QStringLiteral("Files"));
        for (const CloudSimCatalog::Record &record : records) {
            writer.writeStartElement(QStringLiteral("File"));
            for (const auto &[key, value] : record) {
                if (key == QLatin1String("FileURL"))
                    writer.writeTextElement(key, baseURL + QLatin1Char('/') + value);
                else
                    writer.writeTextElement(key, value);
            }
            writer.writeEndElement();
        }
        writer.writeEndElement();
    });
}

QByteArray status(const QString &endpoint, qint64 statusCode, const QString &message)
{
    return reply(endpoint, statusCode, message);
}

QByteArray htmlPage()
{
    return "<!DOCTYPE html>\n<html><head><title>503 Service Unavailable</title></head>\n"
           "<body><h1>Service Unavailable</h1><p>The server is temporarily unable to service your request.</p>"
           "</body></html>\n";
}

QByteArray notXML()
{
    return "Service temporarily unavailable {\"retry\": true}\n";
}

} // namespace CloudSimReplies
