#include "TinteraJson.h"

#include "TinteraCommandLine.h"

#include <QJsonDocument>

#include <algorithm>

#include <cmath>

QJsonObject tinteraErrorJson(const VLError &error)
{
    return {{QStringLiteral("code"), error.code()},
            {QStringLiteral("domain"), error.domain()},
            {QStringLiteral("message"), error.localizedDescription()}};
}

QJsonValue tinteraDateJson(const QDateTime &date)
{
    if (!date.isValid())
        return QJsonValue::Null;
    return date.toUTC().toString(Qt::ISODate);
}

QJsonValue tinteraBytesJson(const QString &bytes)
{
    bool ok = false;
    const double value = bytes.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0 || value > 9.0e15)
        return QJsonValue::Null;
    return double(std::llround(value));
}

QJsonValue tinteraTextJson(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonObject tinteraMatchRowJson(const TinteraMatchRow &row)
{
    QJsonValue lab = QJsonValue::Null;
    if (row.hasLab)
        lab = QJsonObject{{QStringLiteral("L"), row.L}, {QStringLiteral("a"), row.a}, {QStringLiteral("b"), row.b}};
    return {{QStringLiteral("colorId"), row.colorID},
            {QStringLiteral("fandeck"), row.fandeck},
            {QStringLiteral("lab"), lab},
            {QStringLiteral("tag"), tinteraTextJson(row.tag)},
            {QStringLiteral("audioNote"), tinteraTextJson(row.audioNote)}};
}

TinteraJsonEvents::TinteraJsonEvents(const TinteraInvocation &invocation)
    : m_invocation(invocation)
{
}

QJsonObject TinteraJsonEvents::event(const char *name) const
{
    return {{QStringLiteral("event"), QLatin1String(name)}, {QStringLiteral("run"), m_run}};
}

void TinteraJsonEvents::runBegan(Run run, int totalSteps, const QString &staleMessage)
{
    m_run = run == Run::Preliminary ? QStringLiteral("preliminary") : QStringLiteral("sync");
    m_totalSteps = totalSteps;
    m_step = 0;
    m_message = staleMessage;
    m_percent = -1;
    QJsonObject begun = event("run");
    begun.insert(QStringLiteral("totalSteps"), totalSteps);
    m_invocation.printJson(begun);
}

void TinteraJsonEvents::stepChanged(int step, const QString &message)
{
    m_step = step;
    // The manager moves to the next step before it names it: one event per new message, so that
    // no step is reported under the previous step's message.
    if (message.isEmpty() || message == m_message)
        return;
    m_message = message;
    m_percent = -1;
    QJsonObject changed = event("step");
    changed.insert(QStringLiteral("step"), step);
    changed.insert(QStringLiteral("totalSteps"), m_totalSteps);
    changed.insert(QStringLiteral("message"), message);
    m_invocation.printJson(changed);
}

void TinteraJsonEvents::downloadProgress(double fraction)
{
    if (!std::isfinite(fraction))
        return;
    const int percent = int(std::floor(std::clamp(fraction, 0.0, 1.0) * 100));
    if (percent == m_percent)
        return;
    m_percent = percent;
    QJsonObject progress = event("download");
    progress.insert(QStringLiteral("step"), m_step);
    progress.insert(QStringLiteral("percent"), percent);
    m_invocation.printJson(progress);
}

void TinteraJsonEvents::downloadFinished()
{
    m_percent = -1;
}

void TinteraJsonEvents::errorCollected(const VLError &error)
{
    this->error(error, false);
}

void TinteraJsonEvents::syncFailed(const VLError &error)
{
    this->error(error, true);
}

void TinteraJsonEvents::error(const VLError &error, bool fatal)
{
    QJsonObject reported = event("error");
    reported.insert(QStringLiteral("step"), m_step);
    reported.insert(QStringLiteral("fatal"), fatal);
    const QJsonObject details = tinteraErrorJson(error);
    for (auto it = details.begin(); it != details.end(); ++it)
        reported.insert(it.key(), it.value());
    m_invocation.printJson(reported);
}

void TinteraJsonEvents::stalled(int seconds, int step, const QString &message, bool givingUp)
{
    QJsonObject stall = event("stalled");
    stall.insert(QStringLiteral("step"), step);
    stall.insert(QStringLiteral("message"), message);
    stall.insert(QStringLiteral("seconds"), seconds);
    stall.insert(QStringLiteral("givingUp"), givingUp);
    m_invocation.printJson(stall);
}

QJsonArray tinteraFilesJson(const QList<VLSyncRunReport::File> &files)
{
    QJsonArray array;
    for (const VLSyncRunReport::File &file : files)
        array.append(QJsonObject{{QStringLiteral("type"), file.fileType},
                                 {QStringLiteral("sku"), tinteraTextJson(file.SKU)},
                                 {QStringLiteral("description"), tinteraTextJson(file.description)},
                                 {QStringLiteral("version"), tinteraTextJson(file.versionString)}});
    return array;
}
