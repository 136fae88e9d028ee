// Exports captured matches against 50 loaded fandecks of 2,000 colours each. The goal: 10,000
// matches in under half a second, growing linearly with the number of matches. Loading the
// fandecks, which the export step does first, is measured on its own.

#include "Catalog.h"
#include "HBColorDocument.h"
#include "KDMeasurement.h"
#include "KDScriptedDevice.h"
#include "VLMatchRecord.h"
#include "VLSyncManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

constexpr int kFandecks = 50;
constexpr int kColours = 2000;

struct ExportSetup
{
    ExportSetup()
    {
        qputenv("TINTERA_DATA_DIR", folder.path().toUtf8());
        device.plugIn();
        manager = VLSyncManager::syncManagerWithDevice(device.device());
        manager->deviceBecameAvailable();

        const QByteArray fandeck = largeFandeckData(kColours);
        VLSyncFileList local, onDevice;
        for (int i = 0; i < kFandecks; ++i) {
            const QString id = QStringLiteral("FD-%1").arg(i);
            const QString packageFolder = manager->pathForGlobalFandecksFolder() + QLatin1Char('/') + id;
            QDir().mkpath(packageFolder);
            QFile payload(packageFolder + QStringLiteral("/payload.cxf"));
            payload.open(QIODevice::WriteOnly);
            payload.write(fandeck);
            const QVariantMap record{{"FileType", "Fandeck"}, {"FileID", id}, {"SKU", id}, {"VersionString", "1.0"}};
            local << VLSyncFileInfo::initWithDictionary(record);
            QVariantMap deviceRecord = record;
            deviceRecord.insert("DeviceFileID", QStringLiteral("D-%1").arg(i));
            onDevice << VLSyncFileInfo::initWithDictionary(deviceRecord);
        }
        manager->syncInfo()->setLocalFiles(local);
        manager->syncInfo()->setDeviceFiles(onDevice);
        manager->loadFandecksIntoMemory();

        QStringList numbers;
        for (const HBColorPtr &colour : manager->memoryFandecks().first()->colors())
            numbers << colour->attributeForKey(HBColorNumberAttributeKey).toString();
        for (int k = 0; k < 10000; ++k) {
            const QVariantMap attributes{
                {"ColorId", numbers.at((k * 7919) % numbers.size())},
                {"DeviceFileID", QStringLiteral("D-%1").arg(k % kFandecks)},
                {"DateSince1970", 1.7e9 + k},
                {"TextTag", QStringLiteral("match %1").arg(k)},
            };
            matches << KDMeasurement::initWithDictionary(KDScriptedDevice::measurementRecord(attributes, {50, 10, 10}));
        }
    }

    QTemporaryDir folder;
    KDScriptedDevice device{QStringLiteral("SN-BENCH")};
    VLSyncManager *manager = nullptr;
    QList<KDMeasurementPtr> matches;
};

ExportSetup &setup()
{
    static ExportSetup *instance = new ExportSetup;
    return *instance;
}

void BM_ExportMatches(benchmark::State &state)
{
    ExportSetup &s = setup();
    const VLSyncManager::VLExportParameters parameters{s.matches.mid(0, state.range(0)),
                                                       s.folder.filePath(QStringLiteral("export.cxf")), false};
    for (auto _ : state)
        s.manager->exportMatches(parameters);
    state.SetComplexityN(state.range(0));
    state.counters["file bytes"] = double(QFileInfo(parameters.path).size());
}
BENCHMARK(BM_ExportMatches)->Arg(1000)->Arg(2500)->Arg(5000)->Arg(10000)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

// The export step's other half: loading every installed fandeck (here 50 of 2,000 colours).
void BM_LoadFandecks(benchmark::State &state)
{
    ExportSetup &s = setup();
    for (auto _ : state)
        s.manager->loadFandecksIntoMemory();
    state.counters["fandecks"] = double(s.manager->memoryFandecks().size());
}
BENCHMARK(BM_LoadFandecks)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
