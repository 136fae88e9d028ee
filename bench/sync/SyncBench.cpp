// The whole demo sync as the application runs it (the preliminary run, then the full sync), from a
// fresh data folder and a freshly seeded device each iteration, with the device and the service
// behind link models: loopback, usb-full-speed+dsl, usb-high-speed+dsl and usb-high-speed+mobile.
//
// In the same run, the floor of that sync under the same links: every operation of the sync
// happens one after the other, so the floor is the sum, over the device commands and service
// requests the emulators served during the sync (their traffic logs), of each one's bytes over
// the link's bandwidth each way plus its round trip, plus the emulator's own time for it,
// measured inside the emulator. Emulated reboots take no time here (TINTERA_BENCH_REBOOT_MS sets
// another), so that the floor is what the links and the emulators cost and nothing hides in a
// long wait.
//
// Goal: under usb-full-speed+dsl and usb-high-speed+dsl the sync takes at most 1.10x its floor.
// Printed per row: the ratio, where the time goes (the device's exchanges, the service's, the
// product's own CPU time from getrusage, and the rest: waits on timers or on nothing), and the
// product's CPU time per sync. Under valgrind --tool=callgrind --instr-atstart=no only the syncs
// are counted (TINTERA_BENCH_ITERATIONS=1 makes that quicker); likewise under
// perf record -D -1 --control fifo:CTL when TINTERA_BENCH_PERF_CTL names that fifo, so that the
// emulators' start and seeding stay out of the profile. With TINTERA_BENCH_STEPS set, the average
// time of each step goes to standard error; with TINTERA_BENCH_TRAFFIC set, every exchange of the
// first sync of each row, in order, with its bytes and the emulator's own time.

#include "DevsimTraffic.h"
#include "KDDeviceObserver.h"
#include "LinkProfile.h"
#include "TinteraDemoEnvironment.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define SYNC_BENCH_CALLGRIND 1
#endif

namespace {

constexpr double kGoalRatio = 1.10;

struct Row
{
    const char *link;
    bool hasGoal;
    int iterations;
};
const Row kRows[] = {
    {"loopback", false, 5},
    {"usb-full-speed+dsl", true, 3},
    {"usb-high-speed+dsl", true, 3},
    {"usb-high-speed+mobile", false, 2},
};

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

// Switches perf's sampling on and off around the syncs when it runs with a control fifo.
void perfControl(const char *command)
{
    static FILE *const fifo = [] {
        const QByteArray path = qgetenv("TINTERA_BENCH_PERF_CTL");
        return path.isEmpty() ? nullptr : std::fopen(path.constData(), "w");
    }();
    if (fifo) {
        std::fprintf(fifo, "%s\n", command);
        std::fflush(fifo);
    }
}

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
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

    bool waitForFinish(int count) { return spinUntil([&] { return finishes >= count; }, 600000); }
    int finishes = 0;
    QElapsedTimer clock;
    QList<QPair<qint32, qint64>> steps; // each status entered, with when
};

// One demo environment with its device arrived and a manager for it.
class DemoRun
{
public:
    bool start(const LinkSetting &link, QString *failure)
    {
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = qEnvironmentVariableIntValue("TINTERA_BENCH_REBOOT_MS");
        options.link = link;
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

    QList<DevsimTrafficEntry> deviceTraffic() const
    {
        return DevsimTraffic::read(environment.deviceTrafficLog(serial));
    }

    QJsonArray serviceTraffic()
    {
        QByteArray reply;
        VLError error;
        environment.cloudsimControl(QStringLiteral("requests"), &reply, &error);
        return QJsonDocument::fromJson(reply).array();
    }

    TinteraDemoEnvironment environment;
    QString serial;
    std::unique_ptr<KDDeviceObserver> observer;
    KDDevicePtr device;
    VLSyncManager *manager = nullptr;
    FinishWaiter waiter;
};

// What the sync cannot go below: each exchange's transfers and round trip on its link, plus the
// emulator's own time for it. An introduction after a reboot travels one way only.
struct Floor
{
    double deviceMs = 0;
    double serviceMs = 0;
    int deviceExchanges = 0;
    int serviceExchanges = 0;
    qint64 deviceBytes = 0;
    qint64 serviceBytes = 0;
    double emulatorMs = 0; // of the above, the emulators' own time
    QList<QPair<qint64, double>> exchanges; // when each came in (us since 1970), its floor in ms
    double totalMs() const { return deviceMs + serviceMs; }
};

Floor floorOf(const LinkSetting &link, const QList<DevsimTrafficEntry> &device, const QJsonArray &service,
              qsizetype firstRequest)
{
    Floor floor;
    for (const DevsimTrafficEntry &entry : device) {
        qint64 micros = entry.micros;
        if (entry.command == QLatin1String("hello"))
            micros += link.device.oneWayMicros() + LinkProfile::transferMicros(entry.bytesOut, link.device.downBytesPerSecond);
        else
            micros += link.device.exchangeMicros(entry.bytesIn, entry.bytesOut);
        floor.deviceMs += double(micros) / 1000.0;
        floor.exchanges.append({entry.at, double(micros) / 1000.0});
        floor.emulatorMs += double(entry.micros) / 1000.0;
        floor.deviceBytes += entry.bytesIn + entry.bytesOut;
        ++floor.deviceExchanges;
    }
    for (qsizetype i = firstRequest; i < service.size(); ++i) {
        const QJsonObject request = service.at(i).toObject();
        const qint64 up = request.value(QStringLiteral("requestBytes")).toInteger();
        const qint64 down = request.value(QStringLiteral("responseBytes")).toInteger();
        const qint64 own = request.value(QStringLiteral("micros")).toInteger();
        const double ms = double(link.service.exchangeMicros(up, down) + own) / 1000.0;
        floor.serviceMs += ms;
        floor.exchanges.append({request.value(QStringLiteral("at")).toInteger(), ms});
        floor.emulatorMs += double(own) / 1000.0;
        floor.serviceBytes += up + down;
        ++floor.serviceExchanges;
    }
    return floor;
}

void printTraffic(const char *link, const QList<DevsimTrafficEntry> &device, const QJsonArray &service,
                  qsizetype firstRequest)
{
    QList<QPair<qint64, QString>> lines;
    for (const DevsimTrafficEntry &entry : device)
        lines.append({entry.at, QStringLiteral("device  %1 in %2 B, out %3 B, %4 us")
                                    .arg(entry.command).arg(entry.bytesIn).arg(entry.bytesOut).arg(entry.micros)});
    for (qsizetype i = firstRequest; i < service.size(); ++i) {
        const QJsonObject request = service.at(i).toObject();
        lines.append({request.value(QStringLiteral("at")).toInteger(),
                      QStringLiteral("service %1 up %2 B, down %3 B, %4 us")
                          .arg(request.value(QStringLiteral("path")).toString())
                          .arg(request.value(QStringLiteral("requestBytes")).toInteger())
                          .arg(request.value(QStringLiteral("responseBytes")).toInteger())
                          .arg(request.value(QStringLiteral("micros")).toInteger())});
    }
    std::stable_sort(lines.begin(), lines.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    for (const auto &[at, line] : lines)
        std::fprintf(stderr, "%s %.3f %s\n", link, double(at - lines.first().first) / 1000.0, qPrintable(line));
}

// Adds how long each step took, named "prelim N" or "sync N", to the totals, and how much longer
// than the floor of the exchanges that came in during it to the excesses.
void addStepTimes(const QList<QPair<qint32, qint64>> &steps, qint64 end, qint64 startMicros, const Floor &floor,
                  QMap<QString, double> *totals, QMap<QString, double> *excesses)
{
    QList<double> floorOfStep(steps.size(), 0.0);
    for (const auto &[at, ms] : floor.exchanges) {
        qsizetype step = -1;
        for (qsizetype i = 0; i < steps.size() && startMicros + steps.at(i).second / 1000 <= at; ++i)
            step = i;
        if (step >= 0)
            floorOfStep[step] += ms;
    }
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
        (*excesses)[name] += double(until - steps.at(i).second) / 1e6 - floorOfStep.at(i);
    }
}

struct RowResult
{
    QString link;
    bool hasGoal = false;
    double syncMs = 0;
    double minSyncMs = 0;
    double maxSyncMs = 0;
    double floorMs = 0;
    double deviceMs = 0;
    double serviceMs = 0;
    double emulatorMs = 0;
    double cpuMs = 0;
    QList<QPair<double, QString>> worstSteps; // the steps most above their floor, ms over
    double ratio() const { return floorMs > 0 ? syncMs / floorMs : 0; }
};
std::vector<RowResult> g_results;

void BM_DemoSyncAgainstLinkFloor(benchmark::State &state, const Row &row)
{
    QString failure;
    const std::optional<LinkSetting> link = LinkSetting::parse(QString::fromLatin1(row.link), &failure);
    if (!link) {
        state.SkipWithError(qPrintable(failure));
        return;
    }
    RowResult result{QString::fromLatin1(row.link), row.hasGoal};
    Floor total;
    double syncMilliseconds = 0;
    double cpuMilliseconds = 0;
    QMap<QString, double> stepMilliseconds;
    QMap<QString, double> stepExcess;
    for (auto _ : state) {
        DemoRun run;
        if (!run.start(*link, &failure)) {
            run.stop();
            state.SkipWithError(qPrintable(failure));
            return;
        }
        const qsizetype deviceBefore = run.deviceTraffic().size();
        const qsizetype serviceBefore = run.serviceTraffic().size();

        QElapsedTimer clock;
        const double cpuBefore = cpuSeconds();
#ifdef SYNC_BENCH_CALLGRIND
        CALLGRIND_START_INSTRUMENTATION;
#endif
        perfControl("enable");
        clock.start();
        run.waiter.clock.start();
        const qint64 startMicros = DevsimTraffic::now();
        const bool synced = run.sync(&failure);
        const double syncTime = double(clock.nsecsElapsed()) / 1e6;
        perfControl("disable");
#ifdef SYNC_BENCH_CALLGRIND
        CALLGRIND_STOP_INSTRUMENTATION;
#endif
        const double cpuTime = (cpuSeconds() - cpuBefore) * 1000.0;
        const qint64 end = run.waiter.clock.nsecsElapsed();
        if (!synced) {
            run.stop();
            state.SkipWithError(qPrintable(failure));
            return;
        }
        const Floor floor = floorOf(*link, run.deviceTraffic().mid(deviceBefore), run.serviceTraffic(), serviceBefore);
        if (qEnvironmentVariableIsSet("TINTERA_BENCH_TRAFFIC") && syncMilliseconds == 0)
            printTraffic(row.link, run.deviceTraffic().mid(deviceBefore), run.serviceTraffic(), serviceBefore);
        addStepTimes(run.waiter.steps, end, startMicros, floor, &stepMilliseconds, &stepExcess);
        run.stop();

        state.SetIterationTime(syncTime / 1000.0);
        syncMilliseconds += syncTime;
        cpuMilliseconds += cpuTime;
        result.minSyncMs = result.minSyncMs == 0 ? syncTime : std::min(result.minSyncMs, syncTime);
        result.maxSyncMs = std::max(result.maxSyncMs, syncTime);
        total.deviceMs += floor.deviceMs;
        total.serviceMs += floor.serviceMs;
        total.emulatorMs += floor.emulatorMs;
        total.deviceExchanges += floor.deviceExchanges;
        total.serviceExchanges += floor.serviceExchanges;
        total.deviceBytes += floor.deviceBytes;
        total.serviceBytes += floor.serviceBytes;
    }
    const double n = double(state.iterations());
    if (qEnvironmentVariableIsSet("TINTERA_BENCH_STEPS")) {
        for (auto it = stepMilliseconds.constBegin(); it != stepMilliseconds.constEnd(); ++it)
            std::fprintf(stderr, "%s %s: %.1f ms\n", row.link, qPrintable(it.key()), it.value() / n);
    }
    result.syncMs = syncMilliseconds / n;
    result.deviceMs = total.deviceMs / n;
    result.serviceMs = total.serviceMs / n;
    result.floorMs = result.deviceMs + result.serviceMs;
    result.emulatorMs = total.emulatorMs / n;
    result.cpuMs = cpuMilliseconds / n;
    for (auto it = stepExcess.constBegin(); it != stepExcess.constEnd(); ++it)
        result.worstSteps.append({it.value() / n, it.key()});
    std::sort(result.worstSteps.begin(), result.worstSteps.end(), std::greater<>());
    result.worstSteps = result.worstSteps.mid(0, 6);
    g_results.push_back(result);

    state.counters["sync_ms"] = result.syncMs;
    state.counters["floor_ms"] = result.floorMs;
    state.counters["ratio"] = result.ratio();
    state.counters["cpu_ms"] = result.cpuMs;
    state.counters["device_cmds"] = total.deviceExchanges / n;
    state.counters["service_reqs"] = total.serviceExchanges / n;
    state.counters["device_kB"] = double(total.deviceBytes) / n / 1024;
    state.counters["service_kB"] = double(total.serviceBytes) / n / 1024;
}

class GoalReporter : public benchmark::ConsoleReporter
{
public:
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\n%-24s %9s %9s %7s  %-8s | %9s %9s %9s %9s | %8s\n", "links", "sync ms", "floor ms", "ratio",
                    "goal", "device", "service", "cpu", "rest", "emulator");
        for (const RowResult &row : g_results) {
            const double rest = row.syncMs - row.deviceMs - row.serviceMs - row.cpuMs;
            const char *verdict = !row.hasGoal ? "-" : row.ratio() <= kGoalRatio ? "met" : "NOT MET";
            std::printf("%-24s %9.1f %9.1f %6.2fx  %-8s | %9.1f %9.1f %9.1f %9.1f | %8.1f\n", qPrintable(row.link),
                        row.syncMs, row.floorMs, row.ratio(), verdict, row.deviceMs, row.serviceMs, row.cpuMs, rest,
                        row.emulatorMs);
        }
        std::printf("sync: wall time of the preliminary run and the full sync (range per row: min..max below)\n");
        for (const RowResult &row : g_results)
            std::printf("  %-24s %.1f .. %.1f ms\n", qPrintable(row.link), row.minSyncMs, row.maxSyncMs);
        std::printf("steps most above the floor of their exchanges (ms over):\n");
        for (const RowResult &row : g_results) {
            std::printf("  %-24s", qPrintable(row.link));
            for (const auto &[over, step] : row.worstSteps)
                std::printf("  %s %+.1f", qPrintable(step), over);
            std::printf("\n");
        }
        std::printf("floor = device + service: the exchanges' transfers and round trips on their links plus the\n"
                    "emulators' own time (emulator column); cpu: the product's CPU time per sync (all its threads);\n"
                    "rest = sync - floor - cpu: time spent waiting on timers or nothing (negative: CPU overlapped\n"
                    "the waits). Goal: sync <= %.2fx floor under usb-full-speed+dsl and usb-high-speed+dsl.\n",
                    kGoalRatio);
    }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const Row &row : kRows) {
        benchmark::RegisterBenchmark((std::string("BM_DemoSync/") + row.link).c_str(), BM_DemoSyncAgainstLinkFloor, row)
            ->Unit(benchmark::kMillisecond)
            ->UseManualTime()
            ->Iterations(qEnvironmentVariableIntValue("TINTERA_BENCH_ITERATIONS") > 0
                             ? qEnvironmentVariableIntValue("TINTERA_BENCH_ITERATIONS")
                             : row.iterations);
    }
    GoalReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
