// tintera-devsim: emulated TINTERA devices for the demo and the tests.
//
//   tintera-devsim serve      --state DIR [--device-dir DIR] [--devices N] [--exit-with-parent]
//                             [--link PROFILE] [--link-seed N] [--reboot-ms MS]
//   tintera-devsim add-device --state DIR --serial SERIAL [--name NAME] [--chip-id ID] [--firmware VERSION]
//                             [--capacity BYTES] [--reboot-ms MS]
//   tintera-devsim capture    --state DIR --serial SERIAL (--lab L,a,b | --spectrum START,STEP,v1,v2,...)
//                             [--tag TEXT] [--audio FILE.wav] [--date SECONDS]
//   tintera-devsim add-captures --state DIR --serial SERIAL N [--seed N]
//                             (N captures of colours spread over the gamut, one every ten minutes back
//                              from now, every third tagged)
//   tintera-devsim fault      --state DIR --serial SERIAL --command NAME
//                             (--error CODE [--message TEXT] | --delay MS | --disconnect | --no-answer | --garbage
//                              | --nul-key | --huge-numbers | --trickle MS)
//                             [--times N] [--when KEY=VALUE] [--after N]
//   tintera-devsim fault      --state DIR --serial SERIAL --clear
//   tintera-devsim unplug|plug --state DIR --serial SERIAL
//   tintera-devsim link       --state DIR [--serial SERIAL] [--profile PROFILE] [--seed N] [--reboot-ms MS]
//                             (a running server takes it at once; without --serial, every device)
//   tintera-devsim show       --state DIR [--serial SERIAL]

#include "DevsimCapture.h"
#include "DevsimFaults.h"
#include "DevsimLink.h"
#include "DevsimServer.h"
#include "DevsimStore.h"
#include "KDDeviceDirectory.h"
#include "VLPropertyList.h"
#include "VLTerminationSignals.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QTextStream>

#include <csignal>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

constexpr int kUsage = 2;
// A command asked for its help printed it and did nothing else: that is a success.
bool helpShown = false;
constexpr qint64 kDefaultCapacity = qint64(1) << 30;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

int fail(const QString &message, int code = 1)
{
    err() << "tintera-devsim: " << message << Qt::endl;
    return code;
}

QString defaultSerial(int index)
{
    return QStringLiteral("VL%1").arg(index, 6, 10, QLatin1Char('0'));
}

QVariantMap defaultIdentity(const QString &serial)
{
    const QByteArray hash = QCryptographicHash::hash(serial.toUtf8(), QCryptographicHash::Sha1).toHex().left(8).toUpper();
    return {{DevsimKey::SerialNumber, serial},
            {DevsimKey::Name, QStringLiteral("Velmora")},
            {DevsimKey::ChipId, QStringLiteral("0x") + QString::fromLatin1(hash)},
            {DevsimKey::Firmware, QStringLiteral("1.0")},
            {DevsimKey::Capacity, kDefaultCapacity},
            {DevsimKey::RebootMilliseconds, 500},
            {DevsimKey::NextDeviceFileID, 1},
            {DevsimKey::SyncMode, false},
            {DevsimKey::ClockOffset, 0.0},
            {DevsimKey::Files, QVariantList()}};
}

struct Command
{
    QCommandLineParser parser;
    QCommandLineOption state{QStringLiteral("state"), QStringLiteral("Emulator state folder."), QStringLiteral("DIR")};
    QCommandLineOption serial{QStringLiteral("serial"), QStringLiteral("Device serial number."), QStringLiteral("SERIAL")};

    explicit Command(const QString &description)
    {
        parser.setApplicationDescription(description);
        parser.addHelpOption();
        parser.addOption(state);
    }
    bool parse(const QStringList &arguments, bool needsSerial)
    {
        if (!parser.parse(arguments)) {
            fail(parser.errorText(), kUsage);
            return false;
        }
        if (parser.isSet(QStringLiteral("help"))) {
            out() << parser.helpText();
            helpShown = true;
            return false;
        }
        if (!parser.isSet(state) || (needsSerial && !parser.isSet(serial))) {
            fail(QStringLiteral("--state%1 is required").arg(needsSerial ? QStringLiteral(" and --serial are") : QStringLiteral(" is")),
                 kUsage);
            return false;
        }
        return true;
    }
    QString stateFolder() const { return parser.value(state); }
    DevsimStore store() const { return DevsimStore(parser.value(state), parser.value(serial)); }
};

// --link PROFILE, --link-seed N (or --seed N) and --reboot-ms MS, over `link`.
bool parseLink(const QCommandLineParser &parser, const QString &profileOption, const QString &seedOption,
               DevsimLink *link)
{
    if (parser.isSet(profileOption)) {
        const std::optional<LinkProfile> profile = LinkProfile::named(parser.value(profileOption));
        if (!profile) {
            fail(QStringLiteral("unknown link \"%1\" (known: %2)")
                     .arg(parser.value(profileOption), LinkProfile::names().join(QStringLiteral(", "))),
                 kUsage);
            return false;
        }
        link->profile = *profile;
    }
    bool ok = true;
    if (parser.isSet(seedOption))
        link->seed = parser.value(seedOption).toULongLong(&ok);
    if (ok && parser.isSet(QStringLiteral("reboot-ms"))) {
        const int milliseconds = parser.value(QStringLiteral("reboot-ms")).toInt(&ok);
        ok = ok && milliseconds >= 0;
        link->rebootMilliseconds = milliseconds;
    }
    if (!ok)
        fail(QStringLiteral("the seed and --reboot-ms take numbers"), kUsage);
    return ok;
}

bool requireDevice(const DevsimStore &store)
{
    if (store.exists())
        return true;
    fail(QStringLiteral("no device %1 in the state folder").arg(store.serialNumber()));
    return false;
}

int serve(const QStringList &arguments)
{
    Command command(QStringLiteral("Serves the emulated devices of the state folder."));
    QCommandLineOption deviceDir(QStringLiteral("device-dir"), QStringLiteral("Device socket folder."), QStringLiteral("DIR"));
    QCommandLineOption devices(QStringLiteral("devices"), QStringLiteral("Create devices up to this number."), QStringLiteral("N"));
    QCommandLineOption exitWithParent(QStringLiteral("exit-with-parent"),
                                      QStringLiteral("End when the process that started this one ends (Linux)."));
    QCommandLineOption link(QStringLiteral("link"), QStringLiteral("The link devices sit on: %1.").arg(LinkProfile::names().join(QStringLiteral(", "))),
                            QStringLiteral("PROFILE"));
    QCommandLineOption linkSeed(QStringLiteral("link-seed"), QStringLiteral("Seed of the link's jitter."), QStringLiteral("N"));
    QCommandLineOption reboot(QStringLiteral("reboot-ms"), QStringLiteral("Time a reboot takes, for every device."),
                              QStringLiteral("MS"));
    command.parser.addOptions({deviceDir, devices, exitWithParent, link, linkSeed, reboot});
    if (!command.parse(arguments, false))
        return kUsage;
    DevsimLink defaultLink;
    if (!parseLink(command.parser, link.names().first(), linkSeed.names().first(), &defaultLink))
        return kUsage;
    const QString stateFolder = command.stateFolder();
    const int wanted = std::max(command.parser.isSet(devices) ? command.parser.value(devices).toInt() : 1,
                                DevsimStore::serialNumbers(stateFolder).isEmpty() ? 1 : 0);
    for (int index = 1; DevsimStore::serialNumbers(stateFolder).size() < wanted; ++index) {
        DevsimStore store(stateFolder, defaultSerial(index));
        VLError error;
        if (!store.exists() && !store.create(defaultIdentity(store.serialNumber()), &error))
            return fail(error.localizedDescription());
    }
#ifdef __linux__
    // A demo or test that is killed cannot stop its emulators: they go with it.
    if (command.parser.isSet(exitWithParent))
        prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
    VLError folderError;
    const QString directory = command.parser.isSet(deviceDir) ? command.parser.value(deviceDir) : kdDeviceDirectory(&folderError);
    if (directory.isEmpty())
        return fail(folderError.localizedDescription());
    DevsimServer server(stateFolder, directory, defaultLink);
    QObject::connect(&server, &DevsimServer::announcement, [](const QString &line) {
        out() << "tintera-devsim: " << line << Qt::endl;
    });
    VLError error;
    if (!server.start(&error))
        return fail(error.localizedDescription());
    out() << "tintera-devsim: ready" << Qt::endl;
    vlQuitOnTerminationSignals(QCoreApplication::instance());
    const int status = QCoreApplication::exec();
    server.stop();
    return status;
}

int addDevice(const QStringList &arguments)
{
    Command command(QStringLiteral("Adds an emulated device."));
    QCommandLineOption name(QStringLiteral("name"), QStringLiteral("Device name."), QStringLiteral("NAME"));
    QCommandLineOption chipId(QStringLiteral("chip-id"), QStringLiteral("\"ChipId\" attribute."), QStringLiteral("ID"));
    QCommandLineOption firmware(QStringLiteral("firmware"), QStringLiteral("\"Firmware\" attribute."), QStringLiteral("VERSION"));
    QCommandLineOption capacity(QStringLiteral("capacity"), QStringLiteral("Storage in bytes."), QStringLiteral("BYTES"));
    QCommandLineOption reboot(QStringLiteral("reboot-ms"), QStringLiteral("Time a reboot takes."), QStringLiteral("MS"));
    command.parser.addOptions({command.serial, name, chipId, firmware, capacity, reboot});
    if (!command.parse(arguments, true))
        return kUsage;
    QVariantMap identity = defaultIdentity(command.parser.value(command.serial));
    if (command.parser.isSet(name))
        identity.insert(DevsimKey::Name, command.parser.value(name));
    if (command.parser.isSet(chipId))
        identity.insert(DevsimKey::ChipId, command.parser.value(chipId));
    if (command.parser.isSet(firmware))
        identity.insert(DevsimKey::Firmware, command.parser.value(firmware));
    bool ok = true;
    if (command.parser.isSet(capacity))
        identity.insert(DevsimKey::Capacity, command.parser.value(capacity).toLongLong(&ok));
    if (ok && command.parser.isSet(reboot))
        identity.insert(DevsimKey::RebootMilliseconds, command.parser.value(reboot).toInt(&ok));
    if (!ok)
        return fail(QStringLiteral("--capacity and --reboot-ms take numbers"), kUsage);
    VLError error;
    if (!command.store().create(identity, &error))
        return fail(error.localizedDescription());
    out() << "tintera-devsim: added " << command.parser.value(command.serial) << Qt::endl;
    return 0;
}

bool parseNumbers(const QString &text, QList<double> *numbers)
{
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString &part : parts) {
        bool ok = false;
        numbers->append(part.trimmed().toDouble(&ok));
        if (!ok)
            return false;
    }
    return true;
}

int capture(const QStringList &arguments)
{
    Command command(QStringLiteral("Captures a colour on an emulated device and prints the measurement record."));
    QCommandLineOption lab(QStringLiteral("lab"), QStringLiteral("CIELAB values (D65, 10 degree)."), QStringLiteral("L,a,b"));
    QCommandLineOption spectrum(QStringLiteral("spectrum"), QStringLiteral("Start and step in nm, then reflectances (1.0 = 100 %)."),
                                QStringLiteral("START,STEP,v1,..."));
    QCommandLineOption tag(QStringLiteral("tag"), QStringLiteral("Text tag."), QStringLiteral("TEXT"));
    QCommandLineOption audio(QStringLiteral("audio"), QStringLiteral("Audio note (WAV)."), QStringLiteral("FILE"));
    QCommandLineOption date(QStringLiteral("date"), QStringLiteral("Capture time, seconds since 1970."), QStringLiteral("SECONDS"));
    command.parser.addOptions({command.serial, lab, spectrum, tag, audio, date});
    if (!command.parse(arguments, true))
        return kUsage;
    const DevsimStore store = command.store();
    if (!requireDevice(store))
        return 1;
    DevsimCaptureRequest request;
    QList<double> numbers;
    if (command.parser.isSet(lab)) {
        if (!parseNumbers(command.parser.value(lab), &numbers) || numbers.size() != 3)
            return fail(QStringLiteral("--lab takes three numbers"), kUsage);
        request.lab = DevsimLab{numbers[0], numbers[1], numbers[2]};
    } else if (command.parser.isSet(spectrum)) {
        if (!parseNumbers(command.parser.value(spectrum), &numbers) || numbers.size() < 3)
            return fail(QStringLiteral("--spectrum takes a start, a step and at least one value"), kUsage);
        request.spectrumStart = int(numbers[0]);
        request.spectrumIncrement = int(numbers[1]);
        request.spectrum = numbers.mid(2);
    } else {
        return fail(QStringLiteral("--lab or --spectrum is required"), kUsage);
    }
    request.textTag = command.parser.value(tag);
    request.audioFile = command.parser.value(audio);
    if (command.parser.isSet(date)) {
        bool ok = false;
        request.dateSince1970 = command.parser.value(date).toDouble(&ok);
        if (!ok)
            return fail(QStringLiteral("--date takes a number"), kUsage);
    }
    VLError error;
    const QVariantMap record = devsimCapture(store, request, &error);
    if (record.isEmpty())
        return fail(error.localizedDescription());
    out() << VLPropertyList::toXml(record);
    return 0;
}

// Many captures at once, for trying the library, the Measurements window and the benches at size.
int addCaptures(const QStringList &arguments)
{
    Command command(QStringLiteral("Captures N colours on an emulated device, spread over the gamut, one every ten minutes "
                                   "back from now; every third carries a tag."));
    QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("Varies the colours and tags (default 1)."), QStringLiteral("N"),
                            QStringLiteral("1"));
    command.parser.addOptions({command.serial, seed});
    command.parser.addPositionalArgument(QStringLiteral("N"), QStringLiteral("How many captures (1 to 100000)."));
    if (!command.parse(arguments, true))
        return kUsage;
    bool ok = false;
    const int count = command.parser.positionalArguments().value(0).toInt(&ok);
    const int variant = command.parser.value(seed).toInt();
    if (!ok || count < 1 || count > 100000 || command.parser.positionalArguments().size() != 1)
        return fail(QStringLiteral("add-captures takes one number from 1 to 100000"), kUsage);
    const DevsimStore store = command.store();
    if (!requireDevice(store))
        return 1;
    static const QStringList kTags = {QStringLiteral("kitchen"), QStringLiteral("hallway"), QStringLiteral("client quote"),
                                      QStringLiteral("bedroom wall"), QStringLiteral("front door")};
    const double now = double(QDateTime::currentSecsSinceEpoch());
    QList<DevsimCaptureRequest> requests;
    requests.reserve(count);
    for (int k = 0; k < count; ++k) {
        const int n = k + variant * 7919;
        DevsimCaptureRequest request;
        request.lab = DevsimLab{20.0 + (n * 37) % 71, double((n * 53) % 121 - 60), double((n * 71) % 121 - 60)};
        request.dateSince1970 = now - 600.0 * (k + 1);
        if (k % 3 == 0)
            request.textTag = QStringLiteral("%1 %2").arg(kTags.at((n / 3) % kTags.size())).arg(k / 3 + 1);
        requests.append(request);
    }
    VLError error;
    if (devsimCaptureMany(store, requests, &error).isEmpty())
        return fail(error.localizedDescription());
    out() << count << " captures added" << Qt::endl;
    return 0;
}

int fault(const QStringList &arguments)
{
    Command command(QStringLiteral("Injects a fault for a command of an emulated device."));
    QCommandLineOption name(QStringLiteral("command"), QStringLiteral("Command name."), QStringLiteral("NAME"));
    QCommandLineOption error(QStringLiteral("error"), QStringLiteral("Answer with this error code."), QStringLiteral("CODE"));
    QCommandLineOption message(QStringLiteral("message"), QStringLiteral("Error text."), QStringLiteral("TEXT"));
    QCommandLineOption delay(QStringLiteral("delay"), QStringLiteral("Answer this much later."), QStringLiteral("MS"));
    QCommandLineOption disconnect(QStringLiteral("disconnect"), QStringLiteral("Drop the connection when the command arrives."));
    QCommandLineOption noAnswer(QStringLiteral("no-answer"), QStringLiteral("Never answer."));
    QCommandLineOption garbage(QStringLiteral("garbage"), QStringLiteral("Answer with bytes that are no frame."));
    QCommandLineOption nulKey(QStringLiteral("nul-key"),
                              QStringLiteral("Answer (or greet, for the command Hello) with a header whose key holds a NUL."));
    QCommandLineOption hugeNumbers(QStringLiteral("huge-numbers"),
                                   QStringLiteral("Answer with numbers beyond any integer or date (GetFiles, GetMeasurements)."));
    QCommandLineOption trickle(QStringLiteral("trickle"), QStringLiteral("Answer one byte every MS milliseconds."),
                               QStringLiteral("MS"));
    QCommandLineOption times(QStringLiteral("times"), QStringLiteral("Commands hit (0: all; default 1)."), QStringLiteral("N"));
    QCommandLineOption clear(QStringLiteral("clear"), QStringLiteral("Remove every fault."));
    QCommandLineOption when(QStringLiteral("when"), QStringLiteral("Only commands with this argument (e.g. FileType=Fandeck)."),
                            QStringLiteral("KEY=VALUE"));
    QCommandLineOption after(QStringLiteral("after"), QStringLiteral("Let this many matching commands pass first."),
                             QStringLiteral("N"));
    command.parser.addOptions({command.serial, name, error, message, delay, disconnect, noAnswer, garbage, nulKey, hugeNumbers,
                               trickle, times, clear, when, after});
    if (!command.parse(arguments, true))
        return kUsage;
    const DevsimStore store = command.store();
    if (!requireDevice(store))
        return 1;
    if (command.parser.isSet(clear))
        return DevsimFaults::save(store.faultsPath(), {}) ? 0 : fail(QStringLiteral("cannot clear the faults"));
    DevsimFault injected;
    injected.command = command.parser.value(name);
    bool ok = true;
    const int kinds = int(command.parser.isSet(error)) + int(command.parser.isSet(delay)) + int(command.parser.isSet(disconnect))
                    + int(command.parser.isSet(noAnswer)) + int(command.parser.isSet(garbage))
                    + int(command.parser.isSet(nulKey)) + int(command.parser.isSet(hugeNumbers))
                    + int(command.parser.isSet(trickle));
    if (injected.command.isEmpty() || kinds != 1)
        return fail(QStringLiteral("--command and exactly one kind of fault are required"), kUsage);
    if (command.parser.isSet(error)) {
        injected.kind = DevsimFault::Kind::Error;
        injected.code = command.parser.value(error).toLongLong(&ok);
        injected.message = command.parser.value(message);
    } else if (command.parser.isSet(delay)) {
        injected.kind = DevsimFault::Kind::Delay;
        injected.milliseconds = command.parser.value(delay).toInt(&ok);
    } else if (command.parser.isSet(disconnect)) {
        injected.kind = DevsimFault::Kind::Disconnect;
    } else if (command.parser.isSet(noAnswer)) {
        injected.kind = DevsimFault::Kind::NoAnswer;
    } else if (command.parser.isSet(trickle)) {
        injected.kind = DevsimFault::Kind::Trickle;
        injected.milliseconds = command.parser.value(trickle).toInt(&ok);
        ok = ok && injected.milliseconds > 0;
    } else if (command.parser.isSet(nulKey)) {
        injected.kind = DevsimFault::Kind::NulKey;
    } else if (command.parser.isSet(hugeNumbers)) {
        injected.kind = DevsimFault::Kind::HugeNumbers;
    } else {
        injected.kind = DevsimFault::Kind::Garbage;
    }
    if (ok && command.parser.isSet(times))
        injected.times = command.parser.value(times).toInt(&ok);
    if (ok && command.parser.isSet(after))
        injected.after = command.parser.value(after).toInt(&ok);
    if (!ok || injected.times < 0 || injected.after < 0)
        return fail(QStringLiteral("--error, --delay, --trickle, --times and --after take numbers"), kUsage);
    if (command.parser.isSet(when)) {
        const QString condition = command.parser.value(when);
        const qsizetype equals = condition.indexOf(QLatin1Char('='));
        if (equals <= 0)
            return fail(QStringLiteral("--when takes KEY=VALUE"), kUsage);
        injected.argumentKey = condition.left(equals);
        injected.argumentValue = condition.mid(equals + 1);
    }
    VLError saveError;
    if (!DevsimFaults::add(store.faultsPath(), injected, &saveError))
        return fail(saveError.localizedDescription());
    return 0;
}

int plug(const QStringList &arguments, bool plugIn)
{
    Command command(plugIn ? QStringLiteral("Plugs an emulated device back in.") : QStringLiteral("Unplugs an emulated device."));
    command.parser.addOption(command.serial);
    if (!command.parse(arguments, true))
        return kUsage;
    const DevsimStore store = command.store();
    if (!requireDevice(store))
        return 1;
    if (plugIn)
        return QFile::remove(store.unpluggedMarkerPath()) || !QFile::exists(store.unpluggedMarkerPath()) ? 0 : 1;
    QFile marker(store.unpluggedMarkerPath());
    return marker.open(QIODevice::WriteOnly) ? 0 : fail(marker.errorString());
}

int setLink(const QStringList &arguments)
{
    Command command(QStringLiteral("Puts emulated devices on another link, or changes their reboot time; a running "
                                   "server takes it at once."));
    QCommandLineOption profile(QStringLiteral("profile"), QStringLiteral("The link: %1.").arg(LinkProfile::names().join(QStringLiteral(", "))),
                               QStringLiteral("PROFILE"));
    QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("Seed of the link's jitter."), QStringLiteral("N"));
    QCommandLineOption reboot(QStringLiteral("reboot-ms"), QStringLiteral("Time a reboot takes."), QStringLiteral("MS"));
    command.parser.addOptions({command.serial, profile, seed, reboot});
    if (!command.parse(arguments, false))
        return kUsage;
    const QStringList serials = command.parser.isSet(command.serial) ? QStringList{command.parser.value(command.serial)}
                                                                     : DevsimStore::serialNumbers(command.stateFolder());
    for (const QString &serial : serials) {
        const DevsimStore store(command.stateFolder(), serial);
        if (!requireDevice(store))
            return 1;
        DevsimLink link = DevsimLink::load(store.linkPath(), DevsimLink());
        if (!parseLink(command.parser, profile.names().first(), seed.names().first(), &link))
            return kUsage;
        VLError error;
        if (!DevsimLink::save(store.linkPath(), link, &error))
            return fail(error.localizedDescription());
    }
    return 0;
}

int show(const QStringList &arguments)
{
    Command command(QStringLiteral("Prints the state of emulated devices."));
    command.parser.addOption(command.serial);
    if (!command.parse(arguments, false))
        return kUsage;
    const QStringList serials = command.parser.isSet(command.serial) ? QStringList{command.parser.value(command.serial)}
                                                                     : DevsimStore::serialNumbers(command.stateFolder());
    for (const QString &serial : serials) {
        const DevsimStore store(command.stateFolder(), serial);
        if (!requireDevice(store))
            return 1;
        QVariantMap state = store.load();
        state.insert(QStringLiteral("Measurements"), store.measurementRecords());
        state.insert(QStringLiteral("Unplugged"), QFile::exists(store.unpluggedMarkerPath()));
        out() << VLPropertyList::toXml(state);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera-devsim"));
    QStringList arguments = QCoreApplication::arguments();
    const QString verb = arguments.value(1);
    arguments.removeAt(1 < arguments.size() ? 1 : 0);
    const QString usage =
        QStringLiteral("usage: tintera-devsim serve|add-device|capture|add-captures|fault|plug|unplug|link|show --state DIR ...\n"
                       "\"tintera-devsim COMMAND --help\" lists the options of a command.");
    if (verb == QStringLiteral("--help") || verb == QStringLiteral("-h")) {
        out() << usage << '\n';
        return 0;
    }
    int status = kUsage;
    if (verb == QStringLiteral("serve"))
        status = serve(arguments);
    else if (verb == QStringLiteral("add-device"))
        status = addDevice(arguments);
    else if (verb == QStringLiteral("capture"))
        status = capture(arguments);
    else if (verb == QStringLiteral("add-captures"))
        status = addCaptures(arguments);
    else if (verb == QStringLiteral("fault"))
        status = fault(arguments);
    else if (verb == QStringLiteral("plug") || verb == QStringLiteral("unplug"))
        status = plug(arguments, verb == QStringLiteral("plug"));
    else if (verb == QStringLiteral("show"))
        status = show(arguments);
    else if (verb == QStringLiteral("link"))
        status = setLink(arguments);
    else
        return fail(usage, kUsage);
    return helpShown ? 0 : status;
}
