#include "TinteraDemoEnvironment.h"

#include "HBColorDocument.h"
#include "TinteraEmulatorHttp.h"
#include "TSLogger.h"
#include "VLPrivateFolder.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QUrl>
#include <QtEndian>

#include <algorithm>
#include <cmath>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#endif

namespace {

const QString kDomain = QStringLiteral("TinteraDemoDomain");
// The fandeck the emulated device already holds when the demo starts, and colours captured with it.
const QString kSeedFandeckSKU = QStringLiteral("VLM-FD-EXT");
struct SeedCapture
{
    int colourIndex;
    const char *tag;
    bool withAudio;
};
const SeedCapture kSeedCaptures[] = {
    {12, "Front door", true},
    {140, "Garden shed", false},
    {377, "Window frames", true},
};

VLError demoError(const QString &text)
{
    return VLError(kDomain, 1, text);
}

void endProcess(QProcess *process)
{
    if (!process || process->state() == QProcess::NotRunning)
        return;
    process->terminate();
    if (!process->waitForFinished(5000)) {
        process->kill();
        process->waitForFinished(2000);
    }
}

} // namespace

TinteraDemoEnvironment::TinteraDemoEnvironment(QObject *parent)
    : QObject(parent)
{
}

TinteraDemoEnvironment::~TinteraDemoEnvironment()
{
    stop();
}

QString TinteraDemoEnvironment::toolPath(const QString &toolName)
{
    const QString configured = qEnvironmentVariable("TINTERA_TOOLS_DIR");
    QStringList candidates;
    if (!configured.isEmpty())
        candidates << configured + QLatin1Char('/') + toolName;
    const QString here = QCoreApplication::applicationDirPath();
    const QString folderName = toolName.section(QLatin1Char('-'), 1); // tintera-devsim -> devsim
    candidates << here + QLatin1Char('/') + toolName;
    // In the build tree programs live in src/<front>/, tests/<layer>/ or tools/<tool>/.
    for (const char *up : {"/../..", "/../../..", "/.."}) {
        candidates << QDir::cleanPath(here + QLatin1String(up) + QStringLiteral("/tools/") + folderName + QLatin1Char('/')
                                      + toolName);
        if (folderName == QLatin1String("devctl"))
            candidates << QDir::cleanPath(here + QLatin1String(up) + QStringLiteral("/tools/devsim/") + toolName);
        if (folderName == QLatin1String("reply"))
            candidates << QDir::cleanPath(here + QLatin1String(up) + QStringLiteral("/tools/cloudsim/") + toolName);
    }
    for (const QString &candidate : std::as_const(candidates)) {
        if (QFileInfo(candidate).isExecutable())
            return candidate;
    }
    const QString onPath = QStandardPaths::findExecutable(toolName);
    return onPath.isEmpty() ? toolName : onPath;
}

QByteArray TinteraDemoEnvironment::spokenNoteWav(int tone)
{
    // 0.4 s of a sine tone, 16-bit mono at 16 kHz: a real RIFF/WAVE file the device accepts.
    const int rate = 16000;
    const int samples = rate * 2 / 5;
    QByteArray pcm(samples * 2, Qt::Uninitialized);
    for (int i = 0; i < samples; ++i) {
        const double envelope = std::sin(M_PI * i / samples);
        const auto value = qint16(9000.0 * envelope * std::sin(2.0 * M_PI * (330.0 + 110.0 * tone) * i / rate));
        qToLittleEndian(value, pcm.data() + 2 * i);
    }
    QByteArray wav;
    auto put32 = [&wav](quint32 v) { char b[4]; qToLittleEndian(v, b); wav.append(b, 4); };
    auto put16 = [&wav](quint16 v) { char b[2]; qToLittleEndian(v, b); wav.append(b, 2); };
    wav.append("RIFF");
    put32(quint32(36 + pcm.size()));
    wav.append("WAVEfmt ");
    put32(16);
    put16(1);
    put16(1);
    put32(rate);
    put32(rate * 2);
    put16(2);
    put16(16);
    wav.append("data");
    put32(quint32(pcm.size()));
    return wav + pcm;
}

QProcess *TinteraDemoEnvironment::launch(const QString &tool, const QStringList &arguments)
{
    auto *process = new QProcess(this);
    process->setProcessChannelMode(QProcess::SeparateChannels);
#ifdef Q_OS_LINUX
    // Emulators must not outlive the program that started them, even if it dies abruptly.
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
#endif
    process->start(toolPath(tool), arguments);
    return process;
}

int TinteraDemoEnvironment::runTool(const QString &tool, const QStringList &arguments, QString *output, QString *errors,
                                    int timeout)
{
    QProcess process;
    process.start(toolPath(tool), arguments);
    if (!process.waitForStarted(10000) || !process.waitForFinished(timeout)) {
        process.kill();
        process.waitForFinished(1000);
        if (errors)
            *errors = QStringLiteral("%1 did not run: %2").arg(tool, process.errorString());
        return -1;
    }
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput());
    if (errors)
        *errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool TinteraDemoEnvironment::run(const QString &tool, const QStringList &arguments, QString *output, VLError *error,
                                 int timeout)
{
    QString out;
    QString errors;
    const int status = runTool(tool, arguments, &out, &errors, timeout);
    if (output)
        *output = out;
    if (status != 0 && error)
        *error = demoError(QStringLiteral("%1 %2 failed: %3 %4")
                               .arg(tool, arguments.join(QLatin1Char(' ')), out.trimmed(), errors.trimmed()));
    return status == 0;
}

bool TinteraDemoEnvironment::start(const Options &options, VLError *error)
{
    m_options = options;
    if (options.folder.isEmpty()) {
        m_temporary = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/tintera-demo-XXXXXX"));
        m_temporary->setAutoRemove(!options.keep);
        m_folder = m_temporary->path();
    } else {
        m_folder = QDir(options.folder).absolutePath();
    }
    m_catalogFolder = options.catalog.isEmpty() ? m_folder + QStringLiteral("/catalog") : options.catalog;
    // The user's alone, as the program wants its data and device folders.
    for (const QString &sub : {catalogFolder(), dataFolder(), deviceFolder(), devsimStateFolder()})
        vlPreparePrivateFolder(sub, VLWiderPermissions::Tighten);
    setEnvironment("TINTERA_DATA_DIR", dataFolder());
    setEnvironment("KALVEX_DEVICE_DIR", deviceFolder());

    // The service serves the catalog, and the device's seed comes from it.
    const bool needsCatalog = options.service || (options.devices > 0 && options.seedDevice);
    if (options.catalog.isEmpty() && needsCatalog && !writeCatalog(options.edition, error))
        return false;
    if (options.service && !startServiceEmulator(options, error))
        return false;
    if (options.devices <= 0)
        return true;

    for (int i = 1; i <= options.devices; ++i) {
        const QString serial = QStringLiteral("VL%1").arg(i, 6, 10, QLatin1Char('0'));
        if (!devsim({QStringLiteral("add-device"), QStringLiteral("--serial"), serial, QStringLiteral("--reboot-ms"),
                     QString::number(options.rebootMilliseconds)},
                    nullptr, error))
            return false;
        m_serials << serial;
    }
    if (!startDeviceEmulator({}, error))
        return false;
    if (options.seedDevice) {
        for (const QString &serial : std::as_const(m_serials)) {
            if (!seedDevice(serial, error))
                return false;
        }
    }
    return true;
}

bool TinteraDemoEnvironment::startServiceEmulator(const Options &options, VLError *error)
{
    QStringList arguments{catalogFolder(), QStringLiteral("--exit-with-parent"), QStringLiteral("--link"),
                          options.link.service.name, QStringLiteral("--link-seed"), QString::number(options.linkSeed)};
    if (!options.tlsCertificate.isEmpty()) {
        arguments << QStringLiteral("--tls") << options.tlsCertificate << options.tlsKey;
        QFile presented(options.tlsCertificate);
        if (presented.open(QIODevice::ReadOnly))
            m_serviceCertificate = presented.readAll();
    }
    m_cloudsim = launch(QStringLiteral("tintera-cloudsim"), arguments + options.cloudsimArguments);
    if (!m_cloudsim->waitForStarted(10000)
        || !(m_cloudsim->canReadLine() || (m_cloudsim->waitForReadyRead(15000) && m_cloudsim->canReadLine()))) {
        if (error)
            *error = demoError(QStringLiteral("The service emulator did not start: %1 %2")
                                   .arg(m_cloudsim->errorString(), QString::fromUtf8(m_cloudsim->readAllStandardError())));
        return false;
    }
    m_serviceURL = QString::fromUtf8(m_cloudsim->readLine()).trimmed();
    setEnvironment("TINTERA_SERVICE_URL", m_serviceURL);
    // The demo's files are signed by the catalog's own key, and no other key is trusted here.
    setEnvironment("TINTERA_TRUSTED_KEYS", catalogFolder() + QStringLiteral("/trusted-keys"));
    return true;
}

bool TinteraDemoEnvironment::startDeviceEmulator(const QStringList &arguments, VLError *error)
{
    QStringList serve{QStringLiteral("serve"), QStringLiteral("--state"), devsimStateFolder(),
                      QStringLiteral("--device-dir"), deviceFolder(), QStringLiteral("--exit-with-parent")};
    if (!m_options.link.device.isLoopback())
        serve << QStringLiteral("--link") << m_options.link.device.name << QStringLiteral("--link-seed")
              << QString::number(m_options.linkSeed);
    m_devsim = launch(QStringLiteral("tintera-devsim"), serve + arguments);
    QByteArray announced;
    while (!announced.contains("tintera-devsim: ready") && m_devsim->waitForReadyRead(15000))
        announced += m_devsim->readAllStandardOutput();
    if (!announced.contains("tintera-devsim: ready")) {
        if (error)
            *error = demoError(QStringLiteral("The device emulator did not start: %1 %2")
                                   .arg(m_devsim->errorString(), QString::fromUtf8(m_devsim->readAllStandardError())));
        return false;
    }
    return true;
}

void TinteraDemoEnvironment::stopDeviceEmulator()
{
    endProcess(m_devsim);
}

void TinteraDemoEnvironment::setEnvironment(const char *name, const QString &value)
{
    if (!m_options.exportEnvironment)
        return;
    const bool saved = std::any_of(m_previousEnvironment.cbegin(), m_previousEnvironment.cend(),
                                   [name](const auto &previous) { return qstrcmp(previous.first, name) == 0; });
    if (!saved)
        m_previousEnvironment.append({name, qgetenv(name)});
    qputenv(name, value.toUtf8());
}

void TinteraDemoEnvironment::stop()
{
    endProcess(m_devsim);
    endProcess(m_cloudsim);
    for (const auto &[name, previous] : std::as_const(m_previousEnvironment)) {
        if (previous.isNull())
            qunsetenv(name);
        else
            qputenv(name, previous);
    }
    m_previousEnvironment.clear();
}

bool TinteraDemoEnvironment::writeCatalog(int edition, VLError *error)
{
    return run(QStringLiteral("tintera-catalog"),
               {QStringLiteral("write"), catalogFolder(), QStringLiteral("--edition"), QString::number(edition)}, nullptr,
               error);
}

bool TinteraDemoEnvironment::deviceCommand(const QString &serial, const QStringList &arguments, QString *output,
                                           VLError *error)
{
    return run(QStringLiteral("tintera-devctl"),
               QStringList{QStringLiteral("--device-dir"), deviceFolder(), QStringLiteral("send"), serial} + arguments,
               output, error);
}

bool TinteraDemoEnvironment::devsim(const QStringList &arguments, QString *output, VLError *error)
{
    QStringList full = arguments;
    full.insert(1, QStringLiteral("--state"));
    full.insert(2, devsimStateFolder());
    return run(QStringLiteral("tintera-devsim"), full, output, error);
}

bool TinteraDemoEnvironment::capture(const QString &serial, double L, double a, double b, const QString &tag,
                                     const QString &audioFile, VLError *error)
{
    QStringList arguments{QStringLiteral("capture"), QStringLiteral("--serial"), serial, QStringLiteral("--lab"),
                          QStringLiteral("%1,%2,%3").arg(L, 0, 'f', 3).arg(a, 0, 'f', 3).arg(b, 0, 'f', 3)};
    if (!tag.isEmpty())
        arguments << QStringLiteral("--tag") << tag;
    if (!audioFile.isEmpty())
        arguments << QStringLiteral("--audio") << audioFile;
    return devsim(arguments, nullptr, error);
}

bool TinteraDemoEnvironment::cloudsimControl(const QString &pathAndQuery, QByteArray *reply, VLError *error)
{
    const TinteraHttpReply answer =
        tinteraHttpGet(QUrl(m_serviceURL + QStringLiteral("/control/") + pathAndQuery), {}, m_serviceCertificate);
    if (answer.status != 200 && error)
        *error = demoError(QStringLiteral("The service emulator refused control/%1: %2")
                               .arg(pathAndQuery, answer.status ? QString::number(answer.status) : answer.error));
    if (reply)
        *reply = answer.body;
    return answer.status == 200;
}

QJsonObject TinteraDemoEnvironment::serviceStatistics(VLError *error)
{
    QByteArray reply;
    if (!cloudsimControl(QStringLiteral("stats"), &reply, error))
        return {};
    const QJsonObject statistics = QJsonDocument::fromJson(reply).object();
    if (!statistics.value(QStringLiteral("files")).isObject()) {
        if (error)
            *error = demoError(QStringLiteral("The service emulator's statistics list no files: %1")
                                   .arg(QString::fromUtf8(reply.left(200))));
        return {};
    }
    return statistics;
}

qint64 TinteraDemoEnvironment::served(const char *figure, const QString &fileName)
{
    const QJsonObject statistics = serviceStatistics();
    if (statistics.isEmpty())
        return -1;
    const QJsonObject files = statistics.value(QStringLiteral("files")).toObject();
    if (!fileName.isEmpty())
        return files.value(fileName).toObject().value(QLatin1String(figure)).toInteger();
    qint64 total = 0;
    for (auto it = files.begin(); it != files.end(); ++it)
        total += it->toObject().value(QLatin1String(figure)).toInteger();
    return total;
}

QVariantMap TinteraDemoEnvironment::catalogRecord(const QString &sku) const
{
    QFile index(catalogFolder() + QStringLiteral("/index.json"));
    if (!index.open(QIODevice::ReadOnly))
        return {};
    const QJsonArray files = QJsonDocument::fromJson(index.readAll()).object().value(QStringLiteral("files")).toArray();
    for (const QJsonValue &file : files) {
        if (file.toObject().value(QStringLiteral("SKU")).toString() == sku)
            return file.toObject().toVariantMap();
    }
    return {};
}

QString TinteraDemoEnvironment::catalogFileName(const QString &sku) const
{
    return catalogRecord(sku).value(QStringLiteral("FileURL")).toString().section(QLatin1Char('/'), -1);
}

QVariantList TinteraDemoEnvironment::deviceInventory(const QString &serial, VLError *error)
{
    QTemporaryDir scratch(m_folder + QStringLiteral("/inventory-XXXXXX"));
    const QString path = scratch.filePath(QStringLiteral("inventory.plist"));
    if (!deviceCommand(serial, {QStringLiteral("GetFiles"), QStringLiteral("--out"), path}, nullptr, error))
        return {};
    return VLPropertyList::readFile(path).toList();
}

QVariantMap TinteraDemoEnvironment::deviceState(const QString &serial) const
{
    return VLPropertyList::readDictionary(devsimStateFolder() + QStringLiteral("/devices/") + serial
                                          + QStringLiteral("/device.plist"));
}

bool TinteraDemoEnvironment::setLink(const LinkSetting &link, int rebootMilliseconds, VLError *error)
{
    QStringList arguments{QStringLiteral("link"), QStringLiteral("--profile"), link.device.name};
    if (rebootMilliseconds >= 0)
        arguments << QStringLiteral("--reboot-ms") << QString::number(rebootMilliseconds);
    return devsim(arguments, nullptr, error)
        && cloudsimControl(QStringLiteral("link?profile=") + link.service.name, nullptr, error);
}

QString TinteraDemoEnvironment::deviceTrafficLog(const QString &serial) const
{
    return devsimStateFolder() + QStringLiteral("/devices/") + serial + QStringLiteral("/traffic.log");
}

bool TinteraDemoEnvironment::killDeviceEmulator()
{
    if (!m_devsim || m_devsim->state() == QProcess::NotRunning)
        return false;
    m_devsim->kill();
    return m_devsim->waitForFinished(5000);
}

// A device that has been in use: one fandeck installed and enabled, and colours captured with it,
// some with a spoken note.
bool TinteraDemoEnvironment::seedDevice(const QString &serial, VLError *error)
{
    const QVariantMap record = catalogRecord(kSeedFandeckSKU);
    if (record.isEmpty()) {
        if (error)
            *error = demoError(QStringLiteral("The catalog has no fandeck %1").arg(kSeedFandeckSKU));
        return false;
    }
    const QString payload = catalogFolder() + QLatin1Char('/') + record.value(QStringLiteral("FileURL")).toString();
    QStringList upload{QStringLiteral("Upload")};
    for (const char *key : {"FileType", "FileID", "SKU", "Description", "VersionString", "ByteLength"})
        upload << QString::fromLatin1(key) + QLatin1Char('=') + record.value(QString::fromLatin1(key)).toString();
    upload << QStringLiteral("--data") << payload;
    if (!deviceCommand(serial, upload, nullptr, error))
        return false;

    QString deviceFileID;
    for (const QVariant &file : deviceInventory(serial, error)) {
        if (file.toMap().value(QStringLiteral("SKU")).toString() == kSeedFandeckSKU)
            deviceFileID = file.toMap().value(QStringLiteral("DeviceFileID")).toString();
    }
    if (deviceFileID.isEmpty()
        || !deviceCommand(serial, {QStringLiteral("EnableFandeck"), QStringLiteral("DeviceFileID=") + deviceFileID},
                          nullptr, error))
        return false;

    const HBColorDocumentPtr fandeck = HBColorDocument::initWithFile(payload, nullptr, error);
    if (!fandeck)
        return false;
    int note = 0;
    for (const SeedCapture &seed : kSeedCaptures) {
        if (seed.colourIndex >= fandeck->colors().size())
            continue;
        const HBColorPtr colour = fandeck->colors().at(seed.colourIndex);
        HBColorRepresentationPtr lab;
        const auto spectra = colour->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
        if (!spectra.isEmpty())
            lab = spectra.last()->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, nullptr);
        else if (!colour->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).isEmpty())
            lab = colour->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).last();
        if (!lab)
            continue;
        QString audio;
        if (seed.withAudio) {
            audio = m_folder + QStringLiteral("/note-%1.wav").arg(++note);
            QFile wav(audio);
            if (!wav.open(QIODevice::WriteOnly) || wav.write(spokenNoteWav(note)) < 0)
                audio.clear();
        }
        // A real capture is never exactly the reference colour.
        if (!capture(serial, lab->L() + 0.4, lab->a() - 0.3, lab->b() + 0.2, QString::fromUtf8(seed.tag), audio, error))
            return false;
    }
    return true;
}
