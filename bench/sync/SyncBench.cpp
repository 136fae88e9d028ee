// The whole demo sync as the application runs it (the preliminary run, then the full sync), from a
// fresh data folder and a freshly seeded device each iteration, with emulated reboots taking no
// time. In the same iteration, the floor: the raw transfers of the same bytes, that is the catalog
// files the sync downloaded fetched by one curl from the same running service emulator, and the
// files the sync installed on the device copied through a bare local socket into files beside the
// emulator's store. Goal: the sync takes at most 1.5x the floor.
//
// The reported time is the sync alone; counters: sync_ms, floor_ms (curl_ms + socket_ms), ratio
// (sync / floor), downloaded_kB and uploaded_kB. With TINTERA_BENCH_STEPS set, the average time of
// each step goes to standard error.

#include "KDDeviceObserver.h"
#include "TinteraDemoEnvironment.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMap>
#include <QProcess>
#include <QSemaphore>
#include <QSet>
#include <QThread>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr double kGoalRatio = 1.5;

// Sleeps in the event loop until done() holds or the time is up. The deadline timer wakes the
// loop, so nothing spins: the emulators share the machine's cores with this process.
bool spinUntil(const std::function<bool()> &done, int milliseconds)
{
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(milliseconds);
    while (!done()) {
        if (!deadline.isActive())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// Waits for the ends of runs; everything else the manager says is of no interest here.
class FinishWaiter : public VLSyncManagerDelegate
{
public:
    void syncManagerChangedImage(VLSyncManager *, const QImage &) override {}
    void syncManagerDidBeginSync(VLSyncManager *) override {}
    void syncManagerDidFinishSync(VLSyncManager *) override { ++finishes; }
    void networkConnectionError() override { ++finishes; }
    void syncManagerStatusDidChange(VLSyncManager *manager) override
    {
        if (steps.isEmpty() || steps.last().first != manager->status())
            steps.append({manager->status(), clock.nsecsElapsed()});
    }
    void syncManagerSyncDidFailWithError(VLSyncManager *, const VLError &) override {}
    void syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *) override {}
    void syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *) override { ++finishes; }
    void syncManagerDownloadingDidBegin(VLSyncManager *) override {}
    void syncManagerDownloadingDidFinish(VLSyncManager *) override {}
    void syncManagerDownloadDidUpdateAmount(VLSyncManager *, double) override {}

    bool waitForFinish(int count) { return spinUntil([&] { return finishes >= count; }, 120000); }
    int finishes = 0;
    QElapsedTimer clock;
    QList<QPair<qint32, qint64>> steps; // each status entered, with when
};

// One demo environment with its device arrived and a manager for it.
class DemoRun
{
public:
    bool start(QString *failure)
    {
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = 0;
        VLError error;
        if (!environment.start(options, &error)) {
            *failure = error.description();
            return false;
        }
        serial = environment.serialNumbers().first();
        observer = std::make_unique<KDDeviceObserver>(QStringLiteral("Velmora"), environment.deviceFolder());
        observer->setDeviceArrivalBlock([this](const KDDevicePtr &arrived) {
            if (arrived->serialNumber() == serial)
                device = arrived;
        });
        if (!spinUntil([this] { return !device.isNull(); }, 15000)) {
            *failure = QStringLiteral("the emulated device did not arrive");
            return false;
        }
        manager = VLSyncManager::syncManagerWithDevice(device);
        manager->updateDevice(device);
        manager->setDelegate(&waiter);
        manager->deviceBecameAvailable();
        return true;
    }

    // Ends the run and waits until the framework has seen the device go, so that the next
    // iteration's observer is not offered this one.
    void stop()
    {
        if (manager) {
            manager->setDelegate(nullptr);
            manager->deviceBecameUnavailable();
        }
        environment.stop();
        spinUntil([this] { return !device || !device->isConnected(); }, 10000);
        observer.reset();
        device.reset();
    }

    bool sync(QString *failure)
    {
        manager->gatherPrelimiaryInfo();
        if (!waiter.waitForFinish(1)) {
            *failure = QStringLiteral("the preliminary run did not finish");
            return false;
        }
        manager->startSync();
        if (!waiter.waitForFinish(2)) {
            *failure = QStringLiteral("the sync did not finish");
            return false;
        }
        QStringList errors;
        for (const VLError &error : manager->errors())
            errors << error.description();
        if (!errors.isEmpty()) {
            *failure = QStringLiteral("the sync reported errors: ") + errors.join(QStringLiteral("; "));
            return false;
        }
        return true;
    }

    QString storedFilesFolder() const
    {
        return environment.devsimStateFolder() + QStringLiteral("/devices/") + serial + QStringLiteral("/files");
    }

    QStringList storedFiles() const { return QDir(storedFilesFolder()).entryList(QDir::Files, QDir::Name); }

    // The catalog files the service served, by name.
    QStringList servedFiles()
    {
        QByteArray reply;
        VLError error;
        if (!environment.cloudsimControl(QStringLiteral("stats"), &reply, &error))
            return {};
        const QJsonObject files = QJsonDocument::fromJson(reply).object().value(QStringLiteral("files")).toObject();
        QStringList served;
        for (auto it = files.constBegin(); it != files.constEnd(); ++it) {
            if (it.value().toObject().value(QStringLiteral("bytesServed")).toInteger() > 0)
                served << it.key();
        }
        return served;
    }

    TinteraDemoEnvironment environment;
    QString serial;
    std::unique_ptr<KDDeviceObserver> observer;
    KDDevicePtr device;
    VLSyncManager *manager = nullptr;
    FinishWaiter waiter;
};

// Adds how long each step took, named "prelim N" or "sync N", to the totals.
void addStepTimes(const QList<QPair<qint32, qint64>> &steps, qint64 end, QMap<QString, double> *totals)
{
    bool full = false;
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const qint32 status = steps.at(i).first;
        if (status == 0) {
            full = true;
            continue;
        }
        const qint64 until = i + 1 < steps.size() ? steps.at(i + 1).second : end;
        const QString name = QStringLiteral("%1 %2").arg(full ? QStringLiteral("sync") : QStringLiteral("prelim"))
                                 .arg(status, 2, 10, QLatin1Char('0'));
        (*totals)[name] += double(until - steps.at(i).second) / 1e6;
    }
}

qint64 totalSize(const QString &folder, const QStringList &names)
{
    qint64 bytes = 0;
    for (const QString &name : names)
        bytes += QFileInfo(folder + QLatin1Char('/') + name).size();
    return bytes;
}

// All the files in one curl, so that one connection carries them as the sync's downloads share one.
bool curlFiles(const QString &serviceURL, const QStringList &names, const QString &into, QString *failure)
{
    QStringList arguments{QStringLiteral("-s"), QStringLiteral("-f")};
    for (const QString &name : names)
        arguments << QStringLiteral("-o") << into + QLatin1Char('/') + name << serviceURL + QStringLiteral("/files/") + name;
    QProcess curl;
    curl.start(QStringLiteral("curl"), arguments);
    if (!curl.waitForFinished(60000) || curl.exitStatus() != QProcess::NormalExit || curl.exitCode() != 0) {
        *failure = QStringLiteral("curl failed: ") + QString::fromUtf8(curl.readAllStandardError());
        return false;
    }
    return true;
}

// Receives one file per connection into the target folder, as the device stores an upload.
class BareReceiver : public QThread
{
public:
    BareReceiver(const QString &socketPath, const QString &targetFolder, int files)
        : m_socketPath(socketPath), m_targetFolder(targetFolder), m_files(files)
    {
    }

    void run() override
    {
        QLocalServer server;
        QLocalServer::removeServer(m_socketPath);
        server.listen(m_socketPath);
        ready.release();
        QByteArray buffer(1024 * 1024, Qt::Uninitialized);
        int received = 0;
        QObject::connect(&server, &QLocalServer::newConnection, [&] {
            while (QLocalSocket *socket = server.nextPendingConnection()) {
                auto *file = new QFile(m_targetFolder + QStringLiteral("/bare-%1").arg(received++), socket);
                file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
                auto drain = [socket, file, &buffer] {
                    qint64 n = 0;
                    while ((n = socket->read(buffer.data(), buffer.size())) > 0)
                        file->write(buffer.constData(), n);
                };
                QObject::connect(socket, &QLocalSocket::readyRead, drain);
                QObject::connect(socket, &QLocalSocket::disconnected, [this, socket, drain] {
                    drain();
                    socket->deleteLater();
                    if (++m_closed == m_files)
                        quit();
                });
            }
        });
        exec();
    }

    QSemaphore ready;

private:
    QString m_socketPath;
    QString m_targetFolder;
    int m_files;
    int m_closed = 0;
};

bool sendFile(const QString &socketPath, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    if (!socket.waitForConnected(5000))
        return false;
    if (socket.write(bytes) != bytes.size())
        return false;
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(5000))
            return false;
    }
    socket.disconnectFromServer();
    return true;
}

bool copyThroughSocket(const QString &sourceFolder, const QStringList &names, const QString &targetFolder,
                       QString *failure)
{
    const QString socketPath = targetFolder + QStringLiteral("/bare.sock");
    BareReceiver receiver(socketPath, targetFolder, int(names.size()));
    receiver.start();
    receiver.ready.acquire();
    bool sent = true;
    for (const QString &name : names)
        sent = sent && sendFile(socketPath, sourceFolder + QLatin1Char('/') + name);
    if (!sent) {
        receiver.quit();
        *failure = QStringLiteral("the bare socket copy failed");
    }
    receiver.wait();
    return sent;
}

void BM_DemoSyncAgainstRawTransfers(benchmark::State &state)
{
    double syncMilliseconds = 0;
    double curlMilliseconds = 0;
    double socketMilliseconds = 0;
    double downloadedBytes = 0;
    double uploadedBytes = 0;
    QMap<QString, double> stepMilliseconds;
    for (auto _ : state) {
        DemoRun run;
        QString failure;
        if (!run.start(&failure)) {
            run.stop();
            state.SkipWithError(qPrintable(failure));
            return;
        }
        const QStringList seeded = run.storedFiles();

        QElapsedTimer clock;
        clock.start();
        run.waiter.clock.start();
        const bool synced = run.sync(&failure);
        const double syncTime = double(clock.nsecsElapsed()) / 1e6;
        addStepTimes(run.waiter.steps, run.waiter.clock.nsecsElapsed(), &stepMilliseconds);
        if (!synced) {
            run.stop();
            state.SkipWithError(qPrintable(failure));
            return;
        }

        const QStringList downloaded = run.servedFiles();
        QStringList uploaded = run.storedFiles();
        for (const QString &name : seeded)
            uploaded.removeAll(name);
        const QString fetched = run.environment.folder() + QStringLiteral("/curl");
        const QString copied = run.environment.devsimStateFolder() + QStringLiteral("/bare");
        QDir().mkpath(fetched);
        QDir().mkpath(copied);

        clock.restart();
        const bool curled = curlFiles(run.environment.serviceURL(), downloaded, fetched, &failure);
        const double curlTime = double(clock.nsecsElapsed()) / 1e6;
        clock.restart();
        const bool socketed = curled && copyThroughSocket(run.storedFilesFolder(), uploaded, copied, &failure);
        const double socketTime = double(clock.nsecsElapsed()) / 1e6;
        downloadedBytes += double(totalSize(fetched, downloaded));
        uploadedBytes += double(totalSize(copied, QDir(copied).entryList(QDir::Files)));
        run.stop();
        if (!socketed) {
            state.SkipWithError(qPrintable(failure));
            return;
        }

        state.SetIterationTime(syncTime / 1000.0);
        syncMilliseconds += syncTime;
        curlMilliseconds += curlTime;
        socketMilliseconds += socketTime;
    }
    const double n = double(state.iterations());
    // Where the time goes, for whoever looks into a miss.
    if (qEnvironmentVariableIsSet("TINTERA_BENCH_STEPS")) {
        for (auto it = stepMilliseconds.constBegin(); it != stepMilliseconds.constEnd(); ++it)
            std::fprintf(stderr, "%s: %.1f ms\n", qPrintable(it.key()), it.value() / n);
    }
    const double floor = (curlMilliseconds + socketMilliseconds) / n;
    state.counters["sync_ms"] = syncMilliseconds / n;
    state.counters["curl_ms"] = curlMilliseconds / n;
    state.counters["socket_ms"] = socketMilliseconds / n;
    state.counters["floor_ms"] = floor;
    state.counters["ratio"] = floor > 0 ? syncMilliseconds / n / floor : 0;
    state.counters["downloaded_kB"] = downloadedBytes / n / 1024;
    state.counters["uploaded_kB"] = uploadedBytes / n / 1024;
}
BENCHMARK(BM_DemoSyncAgainstRawTransfers)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

class GoalReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            const auto ratio = run.counters.find("ratio");
            if (run.run_type == Run::RT_Iteration && !run.error_occurred && ratio != run.counters.end())
                m_ratio = ratio->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        if (m_ratio > 0)
            std::printf("sync / raw transfers of the same bytes: %.2fx (goal <= %.1fx): %s\n", m_ratio, kGoalRatio,
                        m_ratio <= kGoalRatio ? "met" : "NOT MET");
    }

private:
    double m_ratio = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    GoalReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
