// A 256 MB "Upload" to the device emulator (framed, from the mapped file, stored by the emulator)
// against the same bytes copied through a bare local socket into a file beside the emulator's
// store, and to a reader that drops them, in the same run. Goal: the upload reaches at least 90%
// of the bare copy into a file. Also reports rss_growth_MB: the client's peak resident size during
// the upload minus the size before it, for a 32 MB and the 256 MB upload: it must not grow with
// the file.

#include "KalvexDevice.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include "ResidentMemory.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <unistd.h>

namespace {

constexpr qint64 kFileBytes = 256LL * 1024 * 1024;
constexpr qint64 kSmallFileBytes = 32LL * 1024 * 1024;
constexpr qint64 kPiece = 1024 * 1024;
constexpr qint64 kHighWater = 4 * kPiece;

bool runDevsim(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(TINTERA_BINARY_DIR "/tools/devsim/tintera-devsim"), arguments);
    return process.waitForFinished(30000) && process.exitCode() == 0;
}

// The emulator with one roomy device, and the file to upload.
struct Setup
{
    Setup()
    {
        qputenv("KALVEX_DEVICE_DIR", deviceFolder().toUtf8());
        QByteArray block(kPiece, Qt::Uninitialized);
        for (qsizetype i = 0; i < block.size(); ++i)
            block[i] = char((i * 7919) >> 3);
        for (qint64 bytes : {kFileBytes, kSmallFileBytes}) {
            QFile file(payloadPath(bytes));
            if (!file.open(QIODevice::WriteOnly))
                return;
            for (qint64 written = 0; written < bytes; written += block.size())
                file.write(block);
        }
        const QString state = folder.filePath(QStringLiteral("state"));
        if (!runDevsim({QStringLiteral("add-device"), QStringLiteral("--state"), state, QStringLiteral("--serial"),
                        QStringLiteral("VL000001"), QStringLiteral("--capacity"), QString::number(4 * kFileBytes)}))
            return;
        devsim.start(QStringLiteral(TINTERA_BINARY_DIR "/tools/devsim/tintera-devsim"),
                     {QStringLiteral("serve"), QStringLiteral("--state"), state, QStringLiteral("--device-dir"), deviceFolder()});
        devsim.waitForStarted();
        observer = new KDDeviceObserver(QStringLiteral("Velmora"), deviceFolder());
        QEventLoop loop;
        observer->setDeviceArrivalBlock([&](const KDDevicePtr &arrived) {
            device = arrived;
            loop.quit();
        });
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        loop.exec();
    }
    ~Setup()
    {
        delete observer;
        devsim.terminate();
        devsim.waitForFinished();
    }
    QString deviceFolder() const { return folder.filePath(QStringLiteral("dev")); }
    QString payloadPath(qint64 bytes = kFileBytes) const
    {
        return folder.filePath(QStringLiteral("payload-%1.bin").arg(bytes));
    }

    QTemporaryDir folder;
    QProcess devsim;
    KDDeviceObserver *observer = nullptr;
    KDDevicePtr device;
};

Setup &setup()
{
    static Setup instance;
    return instance;
}

void BM_DeviceUpload(benchmark::State &state)
{
    Setup &s = setup();
    if (!s.device) {
        state.SkipWithError("the emulated device did not arrive");
        return;
    }
    const qint64 bytes = state.range(0) * 1024 * 1024;
    const QVariantMap arguments{{QStringLiteral("FileType"), QStringLiteral("Firmware")},
                                {QStringLiteral("FileID"), QStringLiteral("bench")},
                                {QStringLiteral("ByteLength"), QString::number(bytes)}};
    qint64 growth = 0;
    for (auto _ : state) {
        const KDCommandPtr upload = KDCommand::initWithNameArgumentsDataURL(QStringLiteral("Upload"), arguments,
                                                                            QUrl::fromLocalFile(s.payloadPath(bytes)));
        bench::resetPeakResident();
        const qint64 before = bench::residentBytes("VmRSS");
        QEventLoop loop;
        VLError error;
        s.device->sendCommand(upload, [&](const KDCommandResponsePtr &response) {
            error = response->error();
            loop.quit();
        });
        loop.exec();
        growth = std::max(growth, bench::residentBytes("VmHWM") - before);
        if (!error.isNull()) {
            state.SkipWithError(error.description().toStdString().c_str());
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["rss_growth_MB"] = double(growth) / (1024 * 1024);
}
BENCHMARK(BM_DeviceUpload)->Arg(kSmallFileBytes >> 20)->Arg(kFileBytes >> 20)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(6);

// A reader on its own thread that writes what it reads to a file (as the device stores an
// upload) or drops it, as fast as its event loop lets it.
class BareReader : public QThread
{
public:
    BareReader(const QString &path, const QString &target) : m_path(path), m_target(target) {}
    void run() override
    {
        QLocalServer server;
        QLocalServer::removeServer(m_path);
        server.listen(m_path);
        QFile file(m_target);
        if (!m_target.isEmpty())
            file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
        ready.release();
        QLocalSocket *socket = nullptr;
        QByteArray buffer(kPiece, Qt::Uninitialized);
        QObject::connect(&server, &QLocalServer::newConnection, [&] {
            socket = server.nextPendingConnection();
            QObject::connect(socket, &QLocalSocket::readyRead, [&] {
                qint64 n = 0;
                while ((n = socket->read(buffer.data(), buffer.size())) > 0) {
                    if (file.isOpen())
                        file.write(buffer.constData(), n);
                }
            });
            QObject::connect(socket, &QLocalSocket::disconnected, [this] { quit(); });
        });
        exec();
    }
    QSemaphore ready;

private:
    QString m_path;
    QString m_target;
};

// The same bytes through a bare local socket, into a file beside the emulator's store
// (the same job as the upload, without the framework) or dropped.
void bareCopy(benchmark::State &state, bool toFile)
{
    Setup &s = setup();
    const QString path = s.folder.filePath(QStringLiteral("bare.sock"));
    for (auto _ : state) {
        // Mapped afresh each time, as each upload maps its file.
        QFile file(s.payloadPath());
        const uchar *bytes = file.open(QIODevice::ReadOnly) ? file.map(0, kFileBytes) : nullptr;
        if (!bytes) {
            state.SkipWithError("no payload");
            return;
        }
        const QString target = toFile ? s.folder.filePath(QStringLiteral("state/copy.bin")) : QString();
        BareReader reader(path, target);
        reader.start();
        reader.ready.acquire();
        QLocalSocket socket;
        socket.connectToServer(path);
        socket.waitForConnected();
        qint64 sent = 0;
        QEventLoop loop;
        auto pump = [&] {
            while (sent < kFileBytes && socket.bytesToWrite() < kHighWater) {
                const qint64 n = socket.write(reinterpret_cast<const char *>(bytes) + sent, std::min(kPiece, kFileBytes - sent));
                if (n <= 0)
                    break;
                sent += n;
            }
            if (sent == kFileBytes && socket.bytesToWrite() == 0)
                loop.quit();
        };
        QObject::connect(&socket, &QLocalSocket::bytesWritten, &loop, pump);
        QTimer::singleShot(0, &loop, pump);
        loop.exec();
        socket.disconnectFromServer();
        reader.wait();
        if (toFile)
            QFile::remove(target);
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void BM_BareLocalSocketCopy(benchmark::State &state)
{
    bareCopy(state, true);
}
BENCHMARK(BM_BareLocalSocketCopy)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(6);

void BM_BareLocalSocketDrop(benchmark::State &state)
{
    bareCopy(state, false);
}
BENCHMARK(BM_BareLocalSocketDrop)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(6);

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter()
        : ConsoleReporter(isatty(fileno(stdout)) ? OO_Defaults : OO_Tabular)
    {
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const std::string name = run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
            m_times[name] = run.GetAdjustedRealTime();
            const auto growth = run.counters.find("rss_growth_MB");
            if (growth != run.counters.end())
                m_growth[name] = growth->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const auto upload = m_times.find("BM_DeviceUpload/" + std::to_string(kFileBytes >> 20));
        const auto copy = m_times.find("BM_BareLocalSocketCopy");
        const auto drop = m_times.find("BM_BareLocalSocketDrop");
        if (upload == m_times.end() || upload->second <= 0)
            return;
        if (copy != m_times.end()) {
            const double ratio = copy->second / upload->second;
            std::printf("upload throughput / bare socket copy into a file: %.0f%% (goal >= 90%%): %s\n", ratio * 100,
                        ratio >= 0.9 ? "met" : "NOT MET");
        }
        if (drop != m_times.end())
            std::printf("upload throughput / bare socket into nothing: %.0f%%\n", drop->second / upload->second * 100);
        for (const auto &[name, growth] : m_growth)
            std::printf("resident growth of the client during %s MB: %.1f MB\n", name.substr(name.find('/') + 1).c_str(), growth);
    }

private:
    std::map<std::string, double> m_times;
    std::map<std::string, double> m_growth;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
