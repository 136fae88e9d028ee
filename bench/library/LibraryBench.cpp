// The measurement library and the Measurements window with 10,000 captures. Goals: the library
// takes 10,000 captures (one sync's read) in at most 1 s; the filter answers over 10,000 in at most
// 50 ms; the window opens with 10,000 in at most 300 ms and adds at most 20 MB resident memory.
//
//   library_bench [benchmark options]          (QT_QPA_PLATFORM=offscreen, or under a display)
//   library_bench --shot FILE.png [--library PATH] [--filter TEXT] [--history]
//       the window with the library at PATH (default: 10,000 generated captures), filtered, or its
//       History tab, as a picture: QT_SCALE_FACTOR=2 for high-density screens.

#include "HBColorimetry.h"
#include "HBConstants.h"
#include "ResidentMemory.h"
#include "VLCaptureTableModel.h"
#include "VLMeasurementLibrary.h"
#include "VLMeasurementsWindow.h"

#include <QApplication>
#include <QLineEdit>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

constexpr int kCaptures = 10000;

// Colours over the gamut with names, tags on every third, one capture every ten minutes.
VLMatchesRead generatedRead(int count)
{
    static const QStringList kNames = {"Nordic Garden", "Arctic Stone", "Desert Dune", "Harbour Mist", "Copper Leaf",
                                       "Quiet Linen", "Sage Field", "Midnight Ink", "Coral Reef", "Old Brick"};
    static const QStringList kFandecks = {"Velmora Interiors", "Velmora Exteriors", "Heritage Classics", "Accent Brights"};
    static const QStringList kTags = {"kitchen", "hallway", "client quote", "bedroom wall", "front door"};
    VLMatchesRead read{QStringLiteral("VL000001"), {}, {}, QString(), true};
    const qint64 now = 1795000000000; // fixed: a second read of the same device finds the same captures
    for (int k = 0; k < count; ++k) {
        VLMatchRecord r;
        r.colorNumber = QStringLiteral("VX %1").arg(k % 997, 3, 10, QLatin1Char('0'));
        r.colorName = kNames.at(k % kNames.size());
        r.colorID = r.colorNumber;
        r.fandeck = kFandecks.at(k % kFandecks.size());
        r.deviceFileID = QStringLiteral("D-%1").arg(k % kFandecks.size());
        r.L = 20 + (k * 37) % 71;
        r.a = (k * 53) % 121 - 60;
        r.b = (k * 71) % 121 - 60;
        const HBRGB8 rgb = hbLabToSRGB8({r.L, r.a, r.b}, HBObserverTypeCIE1964TenDegree);
        r.red = rgb.r;
        r.green = rgb.g;
        r.blue = rgb.b;
        if (k % 3 == 0)
            r.textTag = QStringLiteral("%1 %2").arg(kTags.at((k / 3) % kTags.size())).arg(k / 3 + 1);
        r.captureDate = QDateTime::fromMSecsSinceEpoch(now - qint64(k + 1) * 600000, Qt::UTC);
        for (int band = 0; band < 36; ++band)
            r.spectrum.append(0.2 + 0.01 * ((k + band) % 50));
        r.spectrumStart = 380;
        r.spectrumIncrement = 10;
        read.capturesOnDevice.append(*vlCaptureKey(r));
        read.records.append(r);
    }
    return read;
}

// A library of 10,000 captures, written once for the benchmarks that read it.
struct FilledLibrary
{
    FilledLibrary()
    {
        VLMeasurementLibrary library(path());
        VLError error;
        if (!library.open(&error) || !library.addMatchesRead(generatedRead(kCaptures), &error))
            qFatal("%s", qPrintable(error.description()));
    }
    QString path() const { return folder.filePath(QStringLiteral("Library/Measurements.sqlite")); }
    QTemporaryDir folder;
};

FilledLibrary &filled()
{
    static FilledLibrary *instance = new FilledLibrary;
    return *instance;
}

void BM_LibraryTakesOneSyncsCaptures(benchmark::State &state)
{
    const VLMatchesRead read = generatedRead(int(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir folder;
        VLMeasurementLibrary library(folder.filePath(QStringLiteral("Library/Measurements.sqlite")));
        VLError error;
        library.open(&error);
        state.ResumeTiming();
        if (!library.addMatchesRead(read, &error))
            state.SkipWithError(qPrintable(error.description()));
    }
}
BENCHMARK(BM_LibraryTakesOneSyncsCaptures)->Arg(kCaptures)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same read again: every capture known, updated and seen once more.
void BM_LibraryTakesTheSameSyncAgain(benchmark::State &state)
{
    const VLMatchesRead read = generatedRead(kCaptures);
    VLMeasurementLibrary library(filled().path());
    VLError error;
    library.open(&error);
    for (auto _ : state) {
        if (!library.addMatchesRead(read, &error))
            state.SkipWithError(qPrintable(error.description()));
    }
}
BENCHMARK(BM_LibraryTakesTheSameSyncAgain)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FilterOverCaptures(benchmark::State &state)
{
    VLMeasurementLibrary library(filled().path());
    VLError error;
    library.open(&error);
    VLCaptureTableModel model;
    model.setCaptures(library.captures(&error));
    VLCaptureFilterModel filter;
    filter.setSourceModel(&model);
    filter.setSortRole(VLCaptureTableModel::SortRole);
    filter.sort(VLCaptureTableModel::DateColumn, Qt::DescendingOrder);
    const QStringList searches = {"kitchen", "kitchen 1", "arctic", "vx 01", ""};
    int i = 0;
    for (auto _ : state) {
        filter.setSearch(searches.at(i++ % searches.size()));
        benchmark::DoNotOptimize(filter.rowCount());
    }
    state.counters["captures"] = double(model.rowCount());
}
BENCHMARK(BM_FilterOverCaptures)->Unit(benchmark::kMillisecond)->UseRealTime();

// Opening: reading the library, building the model, sorting by date and painting the first screen.
void BM_WindowOpens(benchmark::State &state)
{
    const QString path = filled().path();
    qint64 added = 0;
    for (auto _ : state) {
        const qint64 before = bench::residentBytes("VmRSS");
        auto *window = new VLMeasurementsWindow(path);
        window->showWindow();
        QApplication::processEvents();
        window->repaint();
        state.PauseTiming();
        added = std::max(added, bench::residentBytes("VmRSS") - before);
        delete window;
        QApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["added MB"] = double(added) / 1e6;
}
BENCHMARK(BM_WindowOpens)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

int takeShot(const QStringList &arguments)
{
    const QString file = arguments.value(arguments.indexOf(QStringLiteral("--shot")) + 1);
    const qsizetype libraryAt = arguments.indexOf(QStringLiteral("--library"));
    const qsizetype filterAt = arguments.indexOf(QStringLiteral("--filter"));
    VLMeasurementsWindow window(libraryAt > 0 ? arguments.value(libraryAt + 1) : filled().path());
    window.showWindow();
    if (filterAt > 0)
        window.filterField()->setText(arguments.value(filterAt + 1));
    window.table()->selectRow(1);
    if (arguments.contains(QStringLiteral("--history")))
        window.tabs()->setCurrentWidget(window.historyTable());
    for (int i = 0; i < 20; ++i)
        QApplication::processEvents();
    return window.grab().save(file) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.contains(QStringLiteral("--shot")))
        return takeShot(arguments);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
