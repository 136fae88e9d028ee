#include "CloudSimFaults.h"

#include <QStringList>
#include <QUrl>

namespace {

const QStringList kEndpoints = {QStringLiteral("OpenDeviceSession"), QStringLiteral("CloseDeviceSession"),
                                QStringLiteral("GetAvailableFiles")};

bool readNumber(const QString &text, qint64 *value)
{
    bool ok = false;
    *value = text.toLongLong(&ok);
    return ok;
}

bool readFlag(const QString &text)
{
    return text.isEmpty() || text == QLatin1String("1") || text == QLatin1String("true") || text == QLatin1String("yes");
}

} // namespace

bool cloudSimIsKnownFaultTarget(const QString &target)
{
    if (kEndpoints.contains(target) || target == QLatin1String("files"))
        return true;
    return target.startsWith(QLatin1String("files/")) && target.size() > 6 && !target.mid(6).contains(QLatin1Char('/'));
}

QString CloudSimFault::description() const
{
    QStringList parts;
    if (httpStatus)
        parts << QStringLiteral("http=%1").arg(httpStatus);
    if (!body.isEmpty())
        parts << QStringLiteral("body=%1").arg(body);
    if (statusCode)
        parts << QStringLiteral("statuscode=%1").arg(*statusCode);
    if (!message.isEmpty())
        parts << QStringLiteral("message=%1").arg(message);
    if (delayMilliseconds)
        parts << QStringLiteral("delay=%1").arg(delayMilliseconds);
    if (trickleMilliseconds)
        parts << QStringLiteral("trickle=%1").arg(trickleMilliseconds);
    if (pauseAt)
        parts << QStringLiteral("pauseat=%1").arg(*pauseAt);
    if (cutAfter)
        parts << QStringLiteral("cut=%1").arg(*cutAfter);
    if (drop)
        parts << QStringLiteral("drop");
    if (!filename.isEmpty())
        parts << QStringLiteral("filename=%1").arg(filename);
    if (noLength)
        parts << QStringLiteral("nolength");
    if (extra)
        parts << QStringLiteral("extra=%1").arg(*extra);
    if (length)
        parts << QStringLiteral("length=%1").arg(*length);
    if (!validator.isEmpty())
        parts << QStringLiteral("validator=%1").arg(validator);
    if (!fileURL.isEmpty())
        parts << QStringLiteral("fileurl=%1").arg(fileURL);
    if (times >= 0)
        parts << QStringLiteral("times=%1").arg(times);
    return parts.join(QLatin1Char(','));
}

std::optional<CloudSimFault> cloudSimFaultFromItems(const QMap<QString, QString> &items, QString *error)
{
    CloudSimFault fault;
    for (auto it = items.constBegin(); it != items.constEnd(); ++it) {
        const QString &key = it.key();
        const QString &value = it.value();
        qint64 number = 0;
        const bool isNumber = readNumber(value, &number);
        auto bad = [&] {
            if (error)
                *error = QStringLiteral("bad value \"%1\" for \"%2\"").arg(value, key);
            return std::nullopt;
        };
        if (key == QLatin1String("http")) {
            if (!isNumber || number < 100 || number > 599)
                return bad();
            fault.httpStatus = int(number);
        } else if (key == QLatin1String("body")) {
            if (value != QLatin1String("html") && value != QLatin1String("notxml") && value != QLatin1String("empty")
                && value != QLatin1String("cdata") && value != QLatin1String("tiny") && value != QLatin1String("entities"))
                return bad();
            fault.body = value;
        } else if (key == QLatin1String("statuscode")) {
            if (!isNumber)
                return bad();
            fault.statusCode = number;
        } else if (key == QLatin1String("message")) {
            fault.message = value;
        } else if (key == QLatin1String("delay")) {
            if (!isNumber || number < 0 || number > 600000)
                return bad();
            fault.delayMilliseconds = int(number);
        } else if (key == QLatin1String("trickle")) {
            if (!isNumber || number < 1 || number > 600000)
                return bad();
            fault.trickleMilliseconds = int(number);
        } else if (key == QLatin1String("pauseat")) {
            if (!isNumber || number < 0)
                return bad();
            fault.pauseAt = number;
        } else if (key == QLatin1String("cut")) {
            if (!isNumber || number < 0)
                return bad();
            fault.cutAfter = number;
        } else if (key == QLatin1String("drop")) {
            fault.drop = readFlag(value);
        } else if (key == QLatin1String("filename")) {
            fault.filename = value;
        } else if (key == QLatin1String("nolength")) {
            fault.noLength = readFlag(value);
        } else if (key == QLatin1String("extra")) {
            if (!isNumber || number < 0 || number > (qint64(1) << 30))
                return bad();
            fault.extra = number;
        } else if (key == QLatin1String("length")) {
            if (!isNumber)
                return bad();
            fault.length = number;
        } else if (key == QLatin1String("validator")) {
            if (value != QLatin1String("etag") && value != QLatin1String("lastmodified") && value != QLatin1String("none"))
                return bad();
            fault.validator = value;
        } else if (key == QLatin1String("fileurl")) {
            if (value != QLatin1String("http") && value != QLatin1String("file"))
                return bad();
            fault.fileURL = value;
        } else if (key == QLatin1String("times")) {
            if (!isNumber || number < 0)
                return bad();
            fault.times = int(number);
        } else if (key != QLatin1String("target")) {
            if (error)
                *error = QStringLiteral("unknown fault \"%1\"").arg(key);
            return std::nullopt;
        }
    }
    return fault;
}

std::optional<CloudSimFault> cloudSimFaultFromSpec(const QString &spec, QString *error)
{
    QMap<QString, QString> items;
    for (const QString &part : spec.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const qsizetype equals = part.indexOf(QLatin1Char('='));
        const QString key = (equals < 0 ? part : part.left(equals)).trimmed();
        const QString value = equals < 0 ? QString() : QUrl::fromPercentEncoding(part.mid(equals + 1).toUtf8());
        items.insert(key, value);
    }
    return cloudSimFaultFromItems(items, error);
}

void CloudSimFaultTable::set(const QString &target, const CloudSimFault &fault)
{
    std::lock_guard locker(m_lock);
    m_faults.insert(target, fault);
}

void CloudSimFaultTable::clear(const QString &target)
{
    std::lock_guard locker(m_lock);
    if (target.isEmpty())
        m_faults.clear();
    else
        m_faults.remove(target);
}

std::optional<CloudSimFault> CloudSimFaultTable::take(std::initializer_list<QString> targets)
{
    std::lock_guard locker(m_lock);
    for (const QString &target : targets) {
        auto it = m_faults.find(target);
        if (it == m_faults.end())
            continue;
        if (it->times == 0) {
            m_faults.erase(it);
            continue;
        }
        CloudSimFault fault = it.value();
        if (it->times > 0 && --it->times == 0)
            m_faults.erase(it);
        return fault;
    }
    return std::nullopt;
}

QMap<QString, CloudSimFault> CloudSimFaultTable::all() const
{
    std::lock_guard locker(m_lock);
    return m_faults;
}
