#include "DevsimFaults.h"

#include "VLPropertyList.h"

#include <QFile>

namespace {

const QString kCommand = QStringLiteral("Command");
const QString kKind = QStringLiteral("Kind");
const QString kCode = QStringLiteral("Code");
const QString kMessage = QStringLiteral("Message");
const QString kMilliseconds = QStringLiteral("Milliseconds");
const QString kTimes = QStringLiteral("Times");
const QString kWhen = QStringLiteral("When");
const QString kAfter = QStringLiteral("After");

} // namespace

QString DevsimFault::kindName(Kind kind)
{
    switch (kind) {
    case Kind::Error:
        return QStringLiteral("error");
    case Kind::Delay:
        return QStringLiteral("delay");
    case Kind::Disconnect:
        return QStringLiteral("disconnect");
    case Kind::NoAnswer:
        return QStringLiteral("no-answer");
    case Kind::Garbage:
        return QStringLiteral("garbage");
    case Kind::NulKey:
        return QStringLiteral("nul-key");
    case Kind::HugeNumbers:
        return QStringLiteral("huge-numbers");
    case Kind::Trickle:
        return QStringLiteral("trickle");
    }
    return {};
}

std::optional<DevsimFault::Kind> DevsimFault::kindFromName(const QString &name)
{
    for (Kind kind : {Kind::Error, Kind::Delay, Kind::Disconnect, Kind::NoAnswer, Kind::Garbage, Kind::NulKey,
                      Kind::HugeNumbers, Kind::Trickle}) {
        if (kindName(kind) == name)
            return kind;
    }
    return std::nullopt;
}

namespace DevsimFaults {

QList<DevsimFault> load(const QString &path)
{
    QList<DevsimFault> faults;
    if (!QFile::exists(path))
        return faults;
    const QVariantList list = VLPropertyList::readFile(path).toList();
    for (const QVariant &item : list) {
        const QVariantMap map = item.toMap();
        const std::optional<DevsimFault::Kind> kind = DevsimFault::kindFromName(map.value(kKind).toString());
        if (!kind || map.value(kCommand).toString().isEmpty())
            continue;
        DevsimFault fault;
        fault.command = map.value(kCommand).toString();
        fault.kind = *kind;
        fault.code = map.value(kCode).toLongLong();
        fault.message = map.value(kMessage).toString();
        fault.milliseconds = map.value(kMilliseconds).toInt();
        fault.times = map.value(kTimes, 1).toInt();
        fault.after = map.value(kAfter, 0).toInt();
        const QString when = map.value(kWhen).toString();
        if (when.indexOf(QLatin1Char('=')) > 0) {
            fault.argumentKey = when.section(QLatin1Char('='), 0, 0);
            fault.argumentValue = when.section(QLatin1Char('='), 1);
        }
        faults.append(fault);
    }
    return faults;
}

bool save(const QString &path, const QList<DevsimFault> &faults, VLError *error)
{
    if (faults.isEmpty())
        return !QFile::exists(path) || QFile::remove(path);
    QVariantList list;
    for (const DevsimFault &fault : faults) {
        QVariantMap item{{kCommand, fault.command},
                         {kKind, DevsimFault::kindName(fault.kind)},
                         {kCode, fault.code},
                         {kMessage, fault.message},
                         {kMilliseconds, fault.milliseconds},
                         {kTimes, fault.times}};
        if (fault.after > 0)
            item.insert(kAfter, fault.after);
        if (!fault.argumentKey.isEmpty())
            item.insert(kWhen, fault.argumentKey + QLatin1Char('=') + fault.argumentValue);
        list.append(item);
    }
    return VLPropertyList::writeXml(path, list, error);
}

bool add(const QString &path, const DevsimFault &fault, VLError *error)
{
    QList<DevsimFault> faults = load(path);
    faults.append(fault);
    return save(path, faults, error);
}

std::optional<DevsimFault> take(const QString &path, const QString &command, const QVariantMap &arguments)
{
    QList<DevsimFault> faults = load(path);
    for (qsizetype i = 0; i < faults.size(); ++i) {
        if (faults.at(i).command != command)
            continue;
        if (!faults.at(i).argumentKey.isEmpty()
            && arguments.value(faults.at(i).argumentKey).toString() != faults.at(i).argumentValue)
            continue;
        if (faults.at(i).after > 0) {
            --faults[i].after;
            save(path, faults);
            return std::nullopt;
        }
        const DevsimFault fault = faults.at(i);
        if (fault.times > 0) {
            if (fault.times == 1)
                faults.removeAt(i);
            else
                --faults[i].times;
            save(path, faults);
        }
        return fault;
    }
    return std::nullopt;
}

} // namespace DevsimFaults
