#include "DevsimFixture.h"

#include "TestSupport.h"

#include <QTest>

#include <csignal>

namespace {
const QString kDevsim = QStringLiteral("tools/devsim/tintera-devsim");
}

ScopedDeviceFolder::ScopedDeviceFolder()
    : m_previous(qgetenv("KALVEX_DEVICE_DIR"))
    , m_hadPrevious(qEnvironmentVariableIsSet("KALVEX_DEVICE_DIR"))
{
    qputenv("KALVEX_DEVICE_DIR", m_dir.path().toUtf8());
}

ScopedDeviceFolder::~ScopedDeviceFolder()
{
    if (m_hadPrevious)
        qputenv("KALVEX_DEVICE_DIR", m_previous);
    else
        qunsetenv("KALVEX_DEVICE_DIR");
}

DevsimProcess::DevsimProcess()
    : m_previousDeviceDir(qgetenv("KALVEX_DEVICE_DIR"))
    , m_hadDeviceDir(qEnvironmentVariableIsSet("KALVEX_DEVICE_DIR"))
{
    qputenv("KALVEX_DEVICE_DIR", deviceFolder().toUtf8());
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
}

DevsimProcess::~DevsimProcess()
{
    stop();
    if (m_hadDeviceDir)
        qputenv("KALVEX_DEVICE_DIR", m_previousDeviceDir);
    else
        qunsetenv("KALVEX_DEVICE_DIR");
}

int DevsimProcess::run(const QString &verb, const QStringList &arguments, QByteArray *output) const
{
    QProcess process;
    process.start(tinteraBuiltProgram(kDevsim), QStringList{verb, QStringLiteral("--state"), stateFolder()} + arguments);
    if (!process.waitForFinished(30000))
        return -1;
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

int DevsimProcess::addDevice(const QString &serial, const QStringList &extra) const
{
    return run(QStringLiteral("add-device"), QStringList{QStringLiteral("--serial"), serial} + extra);
}

void DevsimProcess::fault(const QString &serial, const QStringList &arguments) const
{
    ASSERT_EQ(run(QStringLiteral("fault"), QStringList{QStringLiteral("--serial"), serial} + arguments), 0);
}

void DevsimProcess::start(const QStringList &extra)
{
    m_process.start(tinteraBuiltProgram(kDevsim),
                    QStringList{QStringLiteral("serve"), QStringLiteral("--state"), stateFolder(),
                                QStringLiteral("--device-dir"), deviceFolder()}
                        + extra);
    ASSERT_TRUE(m_process.waitForStarted(10000)) << m_process.errorString().toStdString();
    QByteArray seen;
    ASSERT_TRUE(waitUntil([&] {
        seen += m_process.readAllStandardOutput();
        return seen.contains("tintera-devsim: ready") || m_process.state() == QProcess::NotRunning;
    })) << seen.constData();
    ASSERT_TRUE(seen.contains("tintera-devsim: ready")) << seen.constData() << m_process.readAllStandardError().constData();
}

void DevsimProcess::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    ::kill(pid_t(m_process.processId()), SIGKILL);
    m_process.waitForFinished(10000);
}

void DevsimProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(10000))
        kill();
}

ObservedDevices::ObservedDevices(const QString &name)
    : observer(name)
{
    observer.setDeviceArrivalBlock([this](const KDDevicePtr &device) { arrived.append(device); });
    observer.setDeviceUpdateBlock([this](const KDDevicePtr &device) {
        updated.append(device);
        updateStates.append({device->isAvailable(), device->isConnected()});
    });
    observer.setDeviceRemovalBlock([this](const KDDevicePtr &device) { removed.append(device); });
}

KDDevicePtr ObservedDevices::waitForDevice(const QString &serial, int milliseconds)
{
    KDDevicePtr found;
    waitUntil(
        [&] {
            for (const KDDevicePtr &device : observer.devices()) {
                if (device->serialNumber() == serial && device->isAvailable())
                    found = device;
            }
            return !found.isNull();
        },
        milliseconds);
    return found;
}

CommandResult sendAndWait(const KDDevicePtr &device, const KDCommandPtr &command, int milliseconds)
{
    auto result = std::make_shared<CommandResult>();
    device->sendCommand(command, [result](const KDCommandResponsePtr &response) {
        result->response = response;
        ++result->answers;
    });
    waitUntil([&] { return result->answers > 0; }, milliseconds);
    return *result;
}

QList<QVariantMap> decodeFileInventory(const QByteArray &data)
{
    QList<QVariantMap> files;
    KXDataRef bytes = KXDataCreateWithBytes(data.constData(), uint32_t(data.size()));
    auto array = static_cast<KXArrayRef>(KXCoderCopyDecodedObjectFromData(bytes));
    for (KXIndex i = 0; i < KXArrayGetCount(array); ++i) {
        auto dictionary = static_cast<KXDictionaryRef>(KXArrayGetValueAtIndex(array, i));
        KXArrayRef keys = KXDictionaryCopyAllKeys(dictionary);
        QVariantMap file;
        for (KXIndex k = 0; k < KXArrayGetCount(keys); ++k) {
            KXTypeRef key = KXArrayGetValueAtIndex(keys, k);
            file.insert(KDType::objectForKXType(key).toString(),
                        KDType::objectForKXType(KXDictionaryGetObjectForKey(dictionary, key)));
        }
        KXRelease(keys);
        files.append(file);
    }
    KXRelease(array);
    KXRelease(bytes);
    return files;
}

bool waitUntil(const std::function<bool()> &condition, int milliseconds)
{
    return QTest::qWaitFor(condition, milliseconds);
}
