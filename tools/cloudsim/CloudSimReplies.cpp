#include "CloudSimReplies.h"

#include <QXmlStreamWriter>

#include <algorithm>
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

QByteArray tinyElements(const QString &endpoint, qint64 bytes)
{
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<" + endpoint.toUtf8() +
                            "Response><StatusCode>0</StatusCode><StatusMessage></StatusMessage><Files>";
    const QByteArray tail = "</Files></" + endpoint.toUtf8() + "Response>\n";
    const qint64 room = std::max<qint64>(bytes - head.size() - tail.size(), 0);
    return head + QByteArray("<F/>").repeated(room / 4) + QByteArray(room % 4, ' ') + tail;
}

QByteArray amplifyingFandeck(qint64 bytes)
{
    // m1 stands for 10 KB, as much as libxml2 lets one entity stand for.
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE cc:CxF [<!ENTITY m0 \"" +
                            QByteArray("0.5 ").repeated(250) + "\"><!ENTITY m1 \"" + QByteArray("&m0;").repeated(10) +
                            "\">]>\n<cc:CxF xmlns:cc=\"http://colorexchangeformat.com/CxF3-core\"><cc:Resources>"
                            "<cc:ObjectCollection>";
    const QByteArray tail = "</cc:ObjectCollection></cc:Resources></cc:CxF>\n";
    QByteArray objects;
    // Some 40,000 references (about 400 MB) at most, whatever the size.
    for (int i = 0; i < 100 && head.size() + objects.size() + tail.size() + 2000 < bytes; ++i) {
        objects += "<cc:Object ObjectType=\"Standard\" Name=\"C" + QByteArray::number(i) + "\" Id=\"c" +
                   QByteArray::number(i) + "\"><cc:ColorValues><cc:ReflectanceSpectrum ColorSpecification=\"s\" "
                   "StartWL=\"400\" Increment=\"10\">" + QByteArray("&m1;").repeated(400) +
                   "</cc:ReflectanceSpectrum></cc:ColorValues></cc:Object>";
    }
    QByteArray document = head + objects + tail;
    if (document.size() + 7 <= bytes)
        document += "<!--" + QByteArray(bytes - document.size() - 7, ' ') + "-->";
    document.append(QByteArray(std::max<qint64>(bytes - document.size(), 0), '\n'));
    return document;
}

} // namespace CloudSimReplies
