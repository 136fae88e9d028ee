// tintera-devctl: a small client of the device framework, for people and tests.
//
//   tintera-devctl [--device-dir DIR] [--wait MS] list
//   tintera-devctl [--device-dir DIR] [--wait MS] send SERIAL COMMAND [key=value ...] [--data FILE] [--out FILE]
//
// "list" prints one line per device: serial number, name, state and attributes, tab-separated.
// "send" prints the answer: "error: ..." or "ok", the data (as a property list when it decodes as
// one), and the measurements. Exit status: 0 answered without error, 1 answered with an error,
// 2 usage, 3 no such device.

#include "KDDeviceCenter.h"
#include "KalvexDevice.h"
#include "VLPropertyList.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

#include <algorithm>

namespace {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

int fail(const QString &message, int code)
{
    QTextStream(stderr) << "tintera-devctl: " << message << Qt::endl;
    return code;
}

QString stateText(const KDDevicePtr &device)
{
    return device->isAvailable() ? QStringLiteral("available") : device->isConnected() ? QStringLiteral("busy")
                                                                                       : QStringLiteral("gone");
}

// Runs the event loop until the device folder has been looked through (or the time is up), so
// that every device present has introduced itself.
void waitUntilSettled(int milliseconds)
{
    KDDeviceCenter *center = KDDeviceCenter::defaultCenter();
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    auto settle = [&loop] { QTimer::singleShot(0, &loop, &QEventLoop::quit); };
    QObject::connect(center, &KDDeviceCenter::settled, &loop, settle);
    if (center->isSettled())
        settle();
    loop.exec();
    QCoreApplication::processEvents(); // observer callbacks queued behind the last introduction
}

int list(KDDeviceObserver &observer, int wait)
{
    observer.setDeviceArrivalBlock([](const KDDevicePtr &) {});
    waitUntilSettled(wait);
    QList<KDDevicePtr> devices = observer.devices();
    std::sort(devices.begin(), devices.end(),
              [](const KDDevicePtr &a, const KDDevicePtr &b) { return a->serialNumber() < b->serialNumber(); });
    for (const KDDevicePtr &device : std::as_const(devices)) {
        out() << device->serialNumber() << '\t' << device->name() << '\t' << stateText(device);
        const QVariantMap attributes = device->attributes();
        for (auto it = attributes.constBegin(); it != attributes.constEnd(); ++it)
            out() << '\t' << it.key() << '=' << it.value().toString();
        out() << Qt::endl;
    }
    return 0;
}

void printResponse(const KDCommandResponsePtr &response, const QString &outPath)
{
    out() << (response->error().isNull() ? QStringLiteral("ok") : QStringLiteral("error: ") + response->error().description())
          << Qt::endl;
    const QByteArray &data = response->data();
    if (!data.isNull()) {
        out() << "data: " << data.size() << " bytes" << Qt::endl;
        VLError error;
        const QVariant decoded = data.isEmpty() ? QVariant() : VLPropertyList::fromData(data, &error);
        if (error.isNull() && decoded.isValid())
            out() << VLPropertyList::toXml(decoded);
        if (!outPath.isEmpty()) {
            QFile file(outPath);
            if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
                fail(QStringLiteral("cannot write %1").arg(outPath), 1);
        }
    }
    if (!response->measurements().isEmpty()) {
        out() << "measurements: " << response->measurements().size() << Qt::endl;
        for (const KDMeasurementPtr &measurement : response->measurements())
            out() << VLPropertyList::toXml(measurement->dictionary());
    }
}

int send(KDDeviceObserver &observer, int wait, const QStringList &positional, const QString &dataPath, const QString &outPath)
{
    const QString serial = positional.value(1);
    const QString name = positional.value(2);
    if (serial.isEmpty() || name.isEmpty())
        return fail(QStringLiteral("send needs SERIAL and COMMAND"), 2);
    QVariantMap arguments;
    for (const QString &pair : positional.mid(3)) {
        const qsizetype equals = pair.indexOf(QLatin1Char('='));
        if (equals <= 0)
            return fail(QStringLiteral("arguments are key=value, not \"%1\"").arg(pair), 2);
        arguments.insert(pair.left(equals), pair.mid(equals + 1));
    }

    KDDevicePtr device;
    QEventLoop finding;
    QTimer::singleShot(wait, &finding, &QEventLoop::quit);
    auto consider = [&](const KDDevicePtr &candidate) {
        if (!device && candidate->serialNumber() == serial && candidate->isAvailable()) {
            device = candidate;
            finding.quit();
        }
    };
    observer.setDeviceArrivalBlock(consider);
    observer.setDeviceUpdateBlock(consider);
    finding.exec();
    if (!device)
        return fail(QStringLiteral("no device %1").arg(serial), 3);

    const KDCommandPtr command = dataPath.isEmpty()
        ? KDCommand::initWithNameArguments(name, arguments)
        : KDCommand::initWithNameArgumentsDataURL(name, arguments, QUrl::fromLocalFile(dataPath));
    int status = 1;
    QEventLoop answering;
    device->sendCommand(command, [&](const KDCommandResponsePtr &response) {
        printResponse(response, outPath);
        status = response->error().isNull() ? 0 : 1;
        answering.quit();
    });
    answering.exec();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera-devctl"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Lists devices and sends them commands."));
    parser.addHelpOption();
    QCommandLineOption deviceDir(QStringLiteral("device-dir"), QStringLiteral("Device socket folder."), QStringLiteral("DIR"));
    QCommandLineOption wait(QStringLiteral("wait"), QStringLiteral("How long to wait for devices (ms, default 3000)."),
                            QStringLiteral("MS"), QStringLiteral("3000"));
    QCommandLineOption name(QStringLiteral("name"), QStringLiteral("Only devices of this name."), QStringLiteral("NAME"));
    QCommandLineOption data(QStringLiteral("data"), QStringLiteral("send: file whose bytes are the payload."), QStringLiteral("FILE"));
    QCommandLineOption outFile(QStringLiteral("out"), QStringLiteral("send: write the answer's data here."), QStringLiteral("FILE"));
    parser.addOptions({deviceDir, wait, name, data, outFile});
    parser.addPositionalArgument(QStringLiteral("list|send"), QStringLiteral("What to do."));
    parser.process(application);

    const QStringList positional = parser.positionalArguments();
    const int waitMilliseconds = parser.value(wait).toInt();
    KDDeviceObserver observer(parser.value(name), parser.value(deviceDir));
    if (positional.value(0) == QStringLiteral("list"))
        return list(observer, waitMilliseconds);
    if (positional.value(0) == QStringLiteral("send"))
        return send(observer, waitMilliseconds, positional, parser.value(data), parser.value(outFile));
    return fail(QStringLiteral("usage: tintera-devctl [--device-dir DIR] list | send SERIAL COMMAND [key=value ...] [--data FILE]"), 2);
}
