// A 200 MB download from the service emulator: VLFileDownload against curl on the same file,
// in the same run. Goals: at least 80% of curl's throughput, resident memory flat (the body goes
// to disk as it arrives). Reports rss_growth_MB: the peak resident size during the download
// minus the size before it.
#include "VLFileDownload.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include "ResidentMemory.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr qint64 kFileBytes = 200LL * 1024 * 1024;

struct Emulator
{
    Emulator()
    {
        const QString catalog = folder.filePath("catalog");
        QDir(catalog).mkpath("files");
        QFile payload(QDir(catalog).filePath("files/big.bin"));
        if (!payload.open(QIODevice::WriteOnly))
            return;
        QByteArray block(1024 * 1024, Qt::Uninitialized);
        for (qsizetype i = 0; i < block.size(); ++i)
            block[i] = char((i * 7919) >> 3);
        for (qint64 written = 0; written < kFileBytes; written += block.size())
            payload.write(block);
        payload.close();
        QFile index(QDir(catalog).filePath("index.json"));
        if (index.open(QIODevice::WriteOnly))
            index.write(QJsonDocument(QJsonObject{{"edition", 1}, {"files", QJsonArray()}}).toJson());
        index.close();

        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(TINTERA_BINARY_DIR "/tools/cloudsim/tintera-cloudsim"),
                      {catalog, "--exit-with-parent"});
        process.waitForStarted(10000);
        while (!process.canReadLine() && process.state() == QProcess::Running)
            process.waitForReadyRead(10000);
        url = QString::fromUtf8(process.readLine()).trimmed() + "/files/big.bin";
    }
    ~Emulator()
    {
        process.terminate();
        process.waitForFinished(5000);
    }

    QTemporaryDir folder;
    QProcess process;
    QString url;
};

Emulator &emulator()
{
    static Emulator instance;
    return instance;
}

void BM_CurlDownload(benchmark::State &state)
{
    Emulator &server = emulator();
    QTemporaryDir destination;
    const QString output = destination.filePath("big.bin");
    for (auto _ : state) {
        const int exitCode = QProcess::execute("curl", {"-s", "-f", "-o", output, server.url});
        if (exitCode != 0 || QFileInfo(output).size() != kFileBytes) {
            state.SkipWithError("curl failed");
            return;
        }
        state.PauseTiming();
        QFile::remove(output);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}
BENCHMARK(BM_CurlDownload)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

class Waiter : public QObject, public VLFileDownloadDelegate
{
public:
    void fileDownloadDidFinish(VLFileDownload *) override { done = true; }
    void fileDownloadDidFailWithError(VLFileDownload *, const VLError &error) override
    {
        done = true;
        failed = error.description();
    }
    bool done = false;
    QString failed;
};

void BM_VLFileDownload(benchmark::State &state)
{
    Emulator &server = emulator();
    QTemporaryDir destination;
    double worstGrowth = 0;
    for (auto _ : state) {
        Waiter waiter;
        const auto download = VLFileDownload::initWithURLDestinationFolder(QUrl(server.url), destination.path());
        download->setDelegate(&waiter);
        const qint64 before = bench::residentBytes("VmRSS");
        bench::resetPeakResident();
        download->start();
        while (!waiter.done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const qint64 peak = bench::residentBytes("VmHWM");
        worstGrowth = std::max(worstGrowth, double(peak - before) / (1024.0 * 1024.0));
        if (!waiter.failed.isEmpty() || QFileInfo(destination.filePath("big.bin")).size() != kFileBytes) {
            state.SkipWithError(("download failed: " + waiter.failed).toStdString().c_str());
            return;
        }
        state.PauseTiming();
        QFile::remove(destination.filePath("big.bin"));
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
    state.counters["rss_growth_MB"] = worstGrowth;
}
BENCHMARK(BM_VLFileDownload)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
