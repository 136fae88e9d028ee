// "tintera measurements": the captures kept in the measurement library, without a device.

#include "TinteraCommandLine.h"
#include "TinteraCommands.h"
#include "TinteraJson.h"
#include "VLCaptureFilter.h"
#include "VLFormat.h"
#include "VLMeasurementLibrary.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

QString dash(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QString captureTable(const VLCaptureList &captures)
{
    QList<QStringList> cells = {{tr("Captured"), tr("Colour"), tr("Name"), tr("Fandeck"), tr("L*"), tr("a*"), tr("b*"),
                                 tr("sRGB"), tr("Tag"), tr("On device")}};
    for (const VLCapture &capture : captures) {
        cells.append({capture.capturedAt.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")), dash(capture.colorNumber),
                      dash(capture.colorName), dash(capture.fandeck), vlFormat("%.2f", capture.L), vlFormat("%.2f", capture.a),
                      vlFormat("%.2f", capture.b), capture.hexColor(), dash(capture.tag),
                      capture.onDevice ? tr("yes") : tr("no")});
    }
    QList<qsizetype> widths(cells.first().size(), 0);
    for (const QStringList &line : cells) {
        for (qsizetype column = 0; column < line.size(); ++column)
            widths[column] = std::max(widths[column], line.at(column).size());
    }
    QString text;
    for (const QStringList &line : cells) {
        QStringList padded;
        for (qsizetype column = 0; column < line.size(); ++column) {
            const bool number = column >= 4 && column <= 6;
            padded << (number ? line.at(column).rightJustified(widths.at(column)) : line.at(column).leftJustified(widths.at(column)));
        }
        text += padded.join(QStringLiteral("  ")).trimmed() + QLatin1Char('\n');
    }
    return text;
}

QJsonObject captureJson(const VLCapture &capture)
{
    return {{QStringLiteral("deviceSerialNumber"), capture.deviceSerialNumber},
            {QStringLiteral("capturedAt"), tinteraDateJson(capture.capturedAt)},
            {QStringLiteral("colorNumber"), tinteraTextJson(capture.colorNumber)},
            {QStringLiteral("colorName"), tinteraTextJson(capture.colorName)},
            {QStringLiteral("fandeck"), tinteraTextJson(capture.fandeck)},
            {QStringLiteral("fandeckId"), capture.deviceFileID},
            {QStringLiteral("lab"), QJsonObject{{QStringLiteral("L"), capture.L}, {QStringLiteral("a"), capture.a},
                                                {QStringLiteral("b"), capture.b}}},
            {QStringLiteral("srgb"), capture.hexColor()},
            {QStringLiteral("tag"), tinteraTextJson(capture.tag)},
            {QStringLiteral("audioNote"), tinteraTextJson(capture.audioNotePath)},
            {QStringLiteral("onDevice"), capture.onDevice},
            {QStringLiteral("firstSeen"), tinteraDateJson(capture.firstSeen)},
            {QStringLiteral("lastSeen"), tinteraDateJson(capture.lastSeen)}};
}

} // namespace

int tinteraMeasurementsCommand(TinteraInvocation &invocation)
{
    if (!invocation.positional().isEmpty()) {
        invocation.fail(tr("usage: tintera measurements [--search TEXT] [--since DATE] [--fandeck ID] [--json]"));
        return TinteraExitUsage;
    }
    VLCaptureFilter filter;
    filter.search = invocation.parser.value(QStringLiteral("search"));
    filter.fandeck = invocation.parser.value(QStringLiteral("fandeck"));
    if (invocation.parser.isSet(QStringLiteral("since"))) {
        filter.since = vlCaptureFilterDate(invocation.parser.value(QStringLiteral("since")));
        if (!filter.since.isValid()) {
            invocation.fail(vlFormat(tr("--since takes a date such as 2026-11-22 or 2026-11-22T08:00:00Z, not \"%@\"."),
                                     invocation.parser.value(QStringLiteral("since"))));
            return TinteraExitUsage;
        }
    }

    // A library nobody has written yet is empty; reading it does not create one.
    const QString path = VLMeasurementLibrary::defaultPath();
    VLCaptureList captures;
    if (QFileInfo::exists(path)) {
        VLMeasurementLibrary library(path);
        VLError error;
        if (!library.open(&error) || (captures = library.captures(&error), !error.isNull())) {
            invocation.fail(error.localizedDescription());
            return TinteraExitFailure;
        }
    }
    const qsizetype total = captures.size();
    captures.removeIf([&filter](const VLCapture &capture) { return !filter.matches(capture); });

    if (invocation.json) {
        QJsonArray list;
        for (const VLCapture &capture : std::as_const(captures))
            list.append(captureJson(capture));
        invocation.printJson({{QStringLiteral("library"), path},
                              {QStringLiteral("total"), int(total)},
                              {QStringLiteral("measurements"), list}});
        return TinteraExitSuccess;
    }
    if (total == 0) {
        invocation.println(tr("The library holds no captures yet: a sync or an export with the device keeps them."));
        return TinteraExitSuccess;
    }
    if (!captures.isEmpty())
        invocation.print(captureTable(captures));
    invocation.println(vlFormat(tr("%d of %d captures in %@"), int(captures.size()), int(total), path));
    return TinteraExitSuccess;
}
