// Loading a 2,000-colour fandeck with 31-band spectra against a bare libxml2 parse of the same
// bytes, in the same run; the goal is that loading takes at most twice the bare parse. Also the
// indexed look-up the match export relies on.

#include <Catalog.h>
#include <HBColorDocument.h>

#include <libxml/parser.h>

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <malloc.h>
#include <unistd.h>
#include <map>
#include <string>

namespace {

constexpr int kColours = 2000;

const QByteArray &fandeckBytes()
{
    static const QByteArray bytes = largeFandeckData(kColours);
    return bytes;
}

void BM_BareLibxml2Parse(benchmark::State &state)
{
    const QByteArray &bytes = fandeckBytes();
    for (auto _ : state) {
        xmlDoc *document = xmlReadMemory(bytes.constData(), int(bytes.size()), nullptr, nullptr, XML_PARSE_NONET);
        benchmark::DoNotOptimize(document);
        xmlFreeDoc(document);
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_BareLibxml2Parse)->Unit(benchmark::kMillisecond);

void BM_LoadFandeckDocument(benchmark::State &state)
{
    const QByteArray &bytes = fandeckBytes();
    for (auto _ : state) {
        HBColorDocumentPtr document = HBColorDocument::initWithData(bytes, nullptr, nullptr);
        if (!document || document->colors().size() != kColours)
            state.SkipWithError("the fandeck did not load");
        benchmark::DoNotOptimize(document);
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_LoadFandeckDocument)->Unit(benchmark::kMillisecond);

// Every colour of the fandeck looked up once by number, as an export of that many matches would.
void BM_LookUpEveryColourByNumber(benchmark::State &state)
{
    HBColorDocumentPtr document = HBColorDocument::initWithData(fandeckBytes(), nullptr, nullptr);
    QList<QVariantMap> queries;
    for (const HBColorPtr &color : document->colors())
        queries << QVariantMap{{HBColorNumberAttributeKey, color->attributeForKey(HBColorNumberAttributeKey)}};
    for (auto _ : state) {
        qsizetype found = 0;
        for (const QVariantMap &query : queries)
            found += document->colorsWithAttributes(query).size();
        if (found != kColours)
            state.SkipWithError("look-ups missed colours");
    }
    state.SetItemsProcessed(state.iterations() * queries.size());
}
BENCHMARK(BM_LookUpEveryColourByNumber)->Unit(benchmark::kMillisecond);

// What a loaded fandeck holds on the heap per colour, with the look-up index the export builds:
// the peak of an export, and what the tray holds while its preferences window is open (it lets
// the fandecks go at rest).
void BM_HeapHeldPerColour(benchmark::State &state)
{
    const QByteArray &bytes = fandeckBytes();
    for (auto _ : state) {
        malloc_trim(0);
        const size_t before = mallinfo2().uordblks;
        HBColorDocumentPtr document = HBColorDocument::initWithData(bytes, nullptr, nullptr);
        document->colorsWithAttributes({{HBColorNumberAttributeKey, QStringLiteral("0")}});
        const size_t after = mallinfo2().uordblks;
        state.counters["heap_bytes_per_colour"] = double(after - before) / kColours;
        benchmark::DoNotOptimize(document);
    }
}
BENCHMARK(BM_HeapHeldPerColour)->Unit(benchmark::kMillisecond)->Iterations(3);

// Prints the load-to-parse ratio under the usual table.
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
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                m_times[run.run_name.function_name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const auto parse = m_times.find("BM_BareLibxml2Parse");
        const auto load = m_times.find("BM_LoadFandeckDocument");
        if (parse != m_times.end() && load != m_times.end() && parse->second.first > 0 && parse->second.second > 0) {
            const double real = load->second.first / parse->second.first;
            const double cpu = load->second.second / parse->second.second;
            std::printf("load / bare parse: %.2f real time, %.2f CPU time (goal <= 2.00): %s\n", real, cpu,
                        cpu <= 2.0 ? "met" : "NOT MET");
        }
    }

private:
    std::map<std::string, std::pair<double, double>> m_times;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    std::printf("fandeck: %d colours, %lld bytes\n", kColours, static_cast<long long>(fandeckBytes().size()));
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
