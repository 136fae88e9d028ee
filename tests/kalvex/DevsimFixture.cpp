#include "DevsimFixture.h"

#include "KDDeviceCenter.h"

#include <QTest>

DevsimProcess::DevsimProcess()
{
    TinteraDemoEnvironment::Options options;
    options.service = false;
    options.devices = 0;
    VLError error;
    EXPECT_TRUE(m_environment.start(options, &error)) << qPrintable(error.description());
}

int DevsimProcess::run(const QString &verb, const QStringList &arguments, QByteArray *output) const
{
    QString out;
    const int status = TinteraDemoEnvironment::runTool(
        QStringLiteral("tintera-devsim"), QStringList{verb, QStringLiteral("--state"), stateFolder()} + arguments, &out);
    if (output)
        *output = out.toUtf8();
    return status;
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
    // The framework keeps devices process-wide: the last test's go before this one's come.
    waitUntil([] { return KDDeviceCenter::defaultCenter()->devices().isEmpty(); }, 5000);
    VLError error;
    ASSERT_TRUE(m_environment.startDeviceEmulator(extra, &error)) << qPrintable(error.description());
}

ObservedDevices::ObservedDevices(const QString &name)
    : observer(name)
{
    observer.setDeviceArrivalBlock([this](const KDDevicePtr &device) { arrived.append(device); });
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
