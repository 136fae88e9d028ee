#include "HBTestSupport.h"

#include <TestSupport.h>
#include <VLRecordSignature.h>

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

struct ToolRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

ToolRun runCatalog(const QStringList &arguments)
{
    QProcess process;
    process.start(tinteraBuiltProgram(QStringLiteral("tools/catalog/tintera-catalog")), arguments);
    ToolRun run;
    if (!process.waitForFinished(120000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

QJsonObject readIndex(const QString &directory)
{
    return QJsonDocument::fromJson(readFile(directory + QStringLiteral("/index.json"))).object();
}

QMap<QString, QJsonObject> recordsBySKU(const QJsonObject &index)
{
    QMap<QString, QJsonObject> records;
    for (const QJsonValue &value : index.value(QStringLiteral("files")).toArray())
        records.insert(value.toObject().value(QStringLiteral("SKU")).toString(), value.toObject());
    return records;
}

} // namespace

TEST(CatalogTool, WritesTheCatalogContractDeterministically)
{
    QTemporaryDir dir;
    const QString first = dir.filePath(QStringLiteral("one"));
    const QString second = dir.filePath(QStringLiteral("two"));
    ASSERT_EQ(runCatalog({QStringLiteral("write"), first}).exitCode, 0);
    ASSERT_EQ(runCatalog({QStringLiteral("write"), second, QStringLiteral("--edition"), QStringLiteral("1")}).exitCode, 0);

    const QJsonObject index = readIndex(first);
    EXPECT_EQ(index.value(QStringLiteral("edition")).toInt(), 1);
    const QJsonArray files = index.value(QStringLiteral("files")).toArray();
    const QStringList keys{QStringLiteral("FileID"),      QStringLiteral("DeviceFileID"), QStringLiteral("FileType"),
                           QStringLiteral("FileURL"),     QStringLiteral("ByteLength"),   QStringLiteral("Description"),
                           QStringLiteral("SKU"),         QStringLiteral("VersionString"), QStringLiteral("VersionDate"),
                           QStringLiteral("SHA256"),      QStringLiteral("Signature")};
    VLTrustedKeys demoKey = VLTrustedKeys::fromFolders({first + QStringLiteral("/trusted-keys")});
    ASSERT_EQ(demoKey.count(), 1);
    const QRegularExpression date(QStringLiteral("^(1[0-2]|[1-9])/([1-9]|[12][0-9]|3[01])/\\d{4} "
                                                 "(1[0-2]|[1-9]):[0-5]\\d:[0-5]\\d (AM|PM)$"));
    QSet<QString> types;
    QSet<QString> fileIDs;
    qint64 total = 0;
    for (const QJsonValue &value : files) {
        const QJsonObject record = value.toObject();
        EXPECT_EQ(record.keys().size(), keys.size());
        for (const QString &key : keys)
            EXPECT_TRUE(record.value(key).isString()) << key.toStdString();
        const QString url = record.value(QStringLiteral("FileURL")).toString();
        ASSERT_TRUE(url.startsWith(QStringLiteral("files/")));
        EXPECT_FALSE(url.mid(6).contains(QLatin1Char('/')));
        const QByteArray payload = readFile(first + QLatin1Char('/') + url);
        EXPECT_EQ(QString::number(payload.size()), record.value(QStringLiteral("ByteLength")).toString()) << url.toStdString();
        EXPECT_EQ(payload, readFile(second + QLatin1Char('/') + url)) << "not deterministic: " << url.toStdString();
        EXPECT_EQ(QCryptographicHash::hash(payload, QCryptographicHash::Sha256).toHex(),
                  record.value(QStringLiteral("SHA256")).toString().toLatin1());
        EXPECT_TRUE(demoKey.verify(vlFileRecordSigningText(record.toVariantMap()),
                                   record.value(QStringLiteral("Signature")).toString().toLatin1()))
            << "not signed by the demo key: " << url.toStdString();
        EXPECT_TRUE(date.match(record.value(QStringLiteral("VersionDate")).toString()).hasMatch());
        types.insert(record.value(QStringLiteral("FileType")).toString());
        fileIDs.insert(record.value(QStringLiteral("FileID")).toString());
        total += payload.size();
    }
    EXPECT_EQ(fileIDs.size(), files.size());
    EXPECT_EQ(types, (QSet<QString>{QStringLiteral("Fandeck"), QStringLiteral("Firmware"), QStringLiteral("Bootloader"),
                                    QStringLiteral("MeasurementScreen"), QStringLiteral("WelcomeScreen"),
                                    QStringLiteral("StartSound"), QStringLiteral("EndSound"),
                                    QStringLiteral("MulticolorSound"), QStringLiteral("InversionMatrix"),
                                    QStringLiteral("DeviceSettings")}));
    EXPECT_LT(total, 8 * 1024 * 1024) << "the default catalog should stay small";
    EXPECT_EQ(readFile(first + QStringLiteral("/index.json")), readFile(second + QStringLiteral("/index.json")));
}

TEST(CatalogTool, PayloadsAreRealFilesOfTheirKind)
{
    QTemporaryDir dir;
    ASSERT_EQ(runCatalog({QStringLiteral("write"), dir.path()}).exitCode, 0);
    const QMap<QString, QJsonObject> records = recordsBySKU(readIndex(dir.path()));
    int fandecks = 0;
    for (const QJsonObject &record : records) {
        const QString type = record.value(QStringLiteral("FileType")).toString();
        const QByteArray payload = readFile(dir.filePath(record.value(QStringLiteral("FileURL")).toString()));
        if (type == QLatin1String("Fandeck")) {
            ++fandecks;
            VLError error;
            HBColorDocumentPtr document = HBColorDocument::initWithData(payload, nullptr, &error);
            ASSERT_TRUE(document) << error.description().toStdString();
            EXPECT_GE(document->colors().size(), 200);
            EXPECT_LE(document->colors().size(), 2000);
            EXPECT_EQ(document->attributeForKey(CXF3FandeckCustomResourceGUIDKey).toString(),
                      record.value(QStringLiteral("FileID")).toString());
            EXPECT_EQ(document->attributeForKey(CXF3FandeckCustomResourceVersionKey).toString(),
                      record.value(QStringLiteral("VersionString")).toString());
            qsizetype labOnly = 0;
            for (const HBColorPtr &color : document->colors()) {
                if (color->representationsWithColorSpaceModel(HBColorSpaceModelSpectral).isEmpty())
                    ++labOnly;
                EXPECT_EQ(color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab).size(), 1);
            }
            EXPECT_LT(labOnly, document->colors().size());
            EXPECT_TRUE(isValidCxf3(payload)) << record.value("SKU").toString().toStdString();
        } else if (type.endsWith(QLatin1String("Screen"))) {
            ASSERT_GT(payload.size(), 54);
            EXPECT_TRUE(payload.startsWith("BM"));
            EXPECT_EQ(qFromLittleEndian<quint32>(payload.constData() + 2), quint32(payload.size()));
            EXPECT_EQ(qFromLittleEndian<quint16>(payload.constData() + 28), 24);
        } else if (type.endsWith(QLatin1String("Sound"))) {
            ASSERT_GT(payload.size(), 44);
            EXPECT_TRUE(payload.startsWith("RIFF"));
            EXPECT_EQ(payload.mid(8, 8), QByteArray("WAVEfmt "));
            EXPECT_EQ(qFromLittleEndian<quint32>(payload.constData() + 40), quint32(payload.size() - 44));
        }
    }
    EXPECT_GE(fandecks, 3);

    // The settings the sync applies: their values are checked on the device by the end-to-end tests.
    const QString settings = QString::fromUtf8(readFile(
        dir.filePath(records.value(QStringLiteral("TX350-SETTINGS")).value(QStringLiteral("FileURL")).toString())));
    for (const char *element : {"<MatchPerformanceTolerance>3.0<", "<ID>VLM-FD-INT</ID>", "<Offset>[^<]+</Offset>",
                                "<L>[^<]+</L>", "<C>[^<]+</C>", "<H>[^<]+</H>"})
        EXPECT_TRUE(settings.contains(QRegularExpression(QString::fromLatin1(element)))) << element;
}

TEST(CatalogTool, InspectPrintsColoursThenResourcesAndRejectsBadFiles)
{
    QTemporaryDir dir;
    const QString deck = dir.filePath(QStringLiteral("deck.cxf"));
    ASSERT_EQ(runCatalog({QStringLiteral("fandeck"), deck, QStringLiteral("--colours"), QStringLiteral("25")}).exitCode, 0);
    const ToolRun run = runCatalog({QStringLiteral("inspect"), deck});
    ASSERT_EQ(run.exitCode, 0) << run.err.constData();
    const QList<QByteArray> lines = run.out.split('\n');
    HBColorDocumentPtr document = HBColorDocument::initWithFile(deck, nullptr, nullptr);
    ASSERT_TRUE(document);
    ASSERT_GT(lines.size(), 26);
    for (int i = 0; i < 25; ++i) {
        const QList<QByteArray> cells = lines[i].split('\t');
        ASSERT_EQ(cells.size(), 6) << lines[i].constData();
        const HBColor &color = *document->colors()[i];
        EXPECT_EQ(cells[0], color.attributeForKey(HBColorUniqueIdentifierAttributeKey).toString().toUtf8());
        EXPECT_EQ(cells[1], color.attributeForKey(HBColorNameAttributeKey).toString().toUtf8());
        EXPECT_EQ(cells[2], color.attributeForKey(HBColorNumberAttributeKey).toString().toUtf8());
        const HBColorRepresentationPtr lab =
            color.representationsWithColorSpaceModel(HBColorSpaceModelSpectral).first()->colorUsingColorSpaceModel(
                HBColorSpaceModelCIELab, {}, nullptr);
        EXPECT_NEAR(cells[3].toDouble(), lab->L(), 1e-4);
        EXPECT_NEAR(cells[5].toDouble(), lab->b(), 1e-4);
    }
    EXPECT_TRUE(lines[25].isEmpty());
    EXPECT_TRUE(lines[26].startsWith("Fandeck\tGUID=")) << lines[26].constData();

    writeFile(dir.filePath(QStringLiteral("cut.cxf")), readFile(deck).left(5000));
    for (const QString &bad : {dir.filePath(QStringLiteral("cut.cxf")), dir.filePath(QStringLiteral("absent.cxf"))}) {
        const ToolRun failed = runCatalog({QStringLiteral("inspect"), bad});
        EXPECT_EQ(failed.exitCode, 1);
        EXPECT_TRUE(failed.err.startsWith("tintera-catalog: ")) << failed.err.constData();
        EXPECT_TRUE(failed.out.isEmpty());
    }
    EXPECT_EQ(runCatalog({QStringLiteral("write"), dir.path(), QStringLiteral("--edition"), QStringLiteral("x")}).exitCode, 2);
    EXPECT_EQ(runCatalog({QStringLiteral("frobnicate"), dir.path()}).exitCode, 2);
    const ToolRun unwritable = runCatalog({QStringLiteral("write"), deck + QStringLiteral("/catalog")});
    EXPECT_EQ(unwritable.exitCode, 1);
    EXPECT_TRUE(unwritable.err.contains("Could not create")) << unwritable.err.constData();
}
