// Decoding a large "GetAvailableFiles" reply against libxml2's bare parse of the same bytes.
// Goal: the full decode takes at most 1.5 times the bare parse.
#include "VLXMLDictionary.h"

#include <QByteArray>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>

namespace {

QByteArray availableFilesReply(int records)
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetAvailableFilesResponse>\n"
                     "  <StatusCode>0</StatusCode>\n  <StatusMessage>Success</StatusMessage>\n  <Files>\n";
    for (int i = 0; i < records; ++i) {
        const QByteArray n = QByteArray::number(i);
        xml += "    <File>\n"
               "      <FileID>" + n + "</FileID>\n"
               "      <DeviceFileID>" + QByteArray::number(100000 + i) + "</DeviceFileID>\n"
               "      <FileType>Fandeck</FileType>\n"
               "      <FileURL>http://127.0.0.1:8080/files/fandeck-" + n + ".cxf</FileURL>\n"
               "      <ByteLength>" + QByteArray::number(1000 + i * 7) + "</ByteLength>\n"
               "      <Description>Demo fandeck number " + n + " &amp; friends</Description>\n"
               "      <SKU>SKU-" + n + "</SKU>\n"
               "      <VersionString>1." + QByteArray::number(i % 40) + "</VersionString>\n"
               "      <VersionDate>3/14/2023 9:26:53 PM</VersionDate>\n"
               "    </File>\n";
    }
    xml += "  </Files>\n</GetAvailableFilesResponse>\n";
    return xml;
}

const QByteArray &reply()
{
    static const QByteArray bytes = availableFilesReply(10000);
    return bytes;
}

void ignoreError(void *, xmlErrorPtr)
{
}

void BM_Libxml2BareParse(benchmark::State &state)
{
    const QByteArray &bytes = reply();
    xmlSetStructuredErrorFunc(nullptr, ignoreError);
    for (auto _ : state) {
        xmlDoc *document = xmlReadMemory(bytes.constData(), int(bytes.size()), "", nullptr, XML_PARSE_RECOVER);
        benchmark::DoNotOptimize(document);
        xmlFreeDoc(document);
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_Libxml2BareParse)->Unit(benchmark::kMillisecond);

void BM_VLXMLDictionaryForXMLData(benchmark::State &state)
{
    const QByteArray &bytes = reply();
    qsizetype records = 0;
    for (auto _ : state) {
        const QVariantMap result = VLXMLDictionaryForXMLData(bytes);
        records = result.value(QStringLiteral("children")).toList().value(0).toMap()
                      .value(QStringLiteral("children")).toList().size();
        benchmark::DoNotOptimize(result);
    }
    if (records != 10000)
        state.SkipWithError("the reply did not decode into 10,000 records");
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(BM_VLXMLDictionaryForXMLData)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
