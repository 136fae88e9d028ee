#include "VLPropertyList.h"

#include "BinaryPropertyListBuilder.h"
#include "TestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QSize>
#include <QTimeZone>

#include <gtest/gtest.h>

namespace {

QVariantMap sampleTree()
{
    return QVariantMap{
        {"text", QStringLiteral("Grün <&> \"quoted\"")},
        {"yes", true},
        {"no", false},
        {"count", qint64(42)},
        {"negative", qint64(-1024)},
        {"big", qint64(1) << 40},
        {"real", 0.1},
        {"tiny", 1.25e-9},
        {"when", QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58), QTimeZone::utc())},
        {"data", QByteArray("\x00\x01\xfe\xff", 4)},
        {"list", QVariantList{QStringLiteral("a"), qint64(2), QVariantMap{{"k", QStringLiteral("v")}}}},
        {"empty", QVariantMap{}},
    };
}

// Runs python3 with a script; returns its standard output, or fails the test.
QByteArray python(const QString &script, const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("python3"), QStringList{QStringLiteral("-c"), script} + arguments);
    EXPECT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    return process.readAllStandardOutput();
}

} // namespace

TEST(PropertyList, RoundTripsEveryValueKindThroughXmlAndBinary)
{
    const QVariantMap tree = sampleTree();
    for (const QByteArray &bytes : {VLPropertyList::toXml(tree), VLPropertyList::toBinary(tree)}) {
        VLError error;
        const QVariant back = VLPropertyList::fromData(bytes, &error);
        ASSERT_TRUE(error.isNull()) << qPrintable(error.description());
        EXPECT_EQ(back.toMap(), tree);
    }
}

TEST(PropertyList, FilesAreReadByPythonPlistlibAndTheOtherWayRound)
{
    QTemporaryDir dir;
    const QString ours = dir.filePath("info.plist");
    ASSERT_TRUE(VLPropertyList::writeXml(ours, sampleTree()));
    const QByteArray seen = python(QStringLiteral(R"(
import plistlib, sys
d = plistlib.load(open(sys.argv[1], 'rb'))
print(d['text'], d['yes'], d['count'], d['negative'], d['big'], d['real'], d['when'].isoformat(), d['data'].hex(), d['list'][2]['k'])
)"),
                                   {ours});
    EXPECT_EQ(QString::fromUtf8(seen).trimmed(),
              QStringLiteral("Grün <&> \"quoted\" True 42 -1024 1099511627776 0.1 2024-02-29T23:59:58 0001feff v"));

    const QString xml = dir.filePath("theirs.plist");
    const QString binary = dir.filePath("theirs.bplist");
    python(QStringLiteral(R"(
import plistlib, sys, datetime
d = {'FileID': 'FD-1', 'Version': 102.65, 'ByteLength': 2**40, 'Neg': -5, 'On': True,
     'When': datetime.datetime(2030, 1, 2, 3, 4, 5), 'Blob': b'\x00\xff', 'Items': ['x', {'y': 1}]}
plistlib.dump(d, open(sys.argv[1], 'wb'), fmt=plistlib.FMT_XML)
plistlib.dump(d, open(sys.argv[2], 'wb'), fmt=plistlib.FMT_BINARY)
)"),
           {xml, binary});
    for (const QString &path : {xml, binary}) {
        const QVariantMap d = VLPropertyList::readDictionary(path);
        EXPECT_EQ(d.value("FileID").toString(), "FD-1") << qPrintable(path);
        EXPECT_DOUBLE_EQ(d.value("Version").toDouble(), 102.65);
        EXPECT_EQ(d.value("ByteLength").toLongLong(), qint64(1) << 40);
        EXPECT_EQ(d.value("Neg").toLongLong(), -5);
        EXPECT_EQ(d.value("On").toBool(), true);
        EXPECT_EQ(d.value("When").toDateTime(), QDateTime(QDate(2030, 1, 2), QTime(3, 4, 5), QTimeZone::utc()));
        EXPECT_EQ(d.value("Blob").toByteArray(), QByteArray("\x00\xff", 2));
        EXPECT_EQ(d.value("Items").toList().at(1).toMap().value("y").toLongLong(), 1);
    }
}

TEST(PropertyList, BadInputGivesAnErrorNeverACrash)
{
    QTemporaryDir dir;
    const QByteArray full = VLPropertyList::toXml(sampleTree());
    const QByteArray binary = VLPropertyList::toBinary(sampleTree());
    const QList<QByteArray> bad{
        QByteArray(),
        QByteArray("not a plist at all"),
        full.left(full.size() / 2),
        binary.left(binary.size() / 2),
        QByteArray("bplist00") + QByteArray(64, '\xff'),
        QByteArray("<?xml version=\"1.0\"?><plist><dict><key>a</key><date>garbage</date></dict></plist>"),
    };
    for (const QByteArray &bytes : bad) {
        VLError error;
        const QVariant value = VLPropertyList::fromData(bytes, &error);
        if (!value.isValid()) {
            EXPECT_FALSE(error.isNull());
        }
    }

    VLError missing;
    EXPECT_TRUE(VLPropertyList::readDictionary(dir.filePath("none.plist"), &missing).isEmpty());
    EXPECT_EQ(missing.code(), VLPropertyList::ReadFailed);

    const QString arrayFile = dir.filePath("array.plist");
    ASSERT_TRUE(VLPropertyList::writeXml(arrayFile, QVariantList{1, 2}));
    VLError notADictionary;
    EXPECT_TRUE(VLPropertyList::readDictionary(arrayFile, &notADictionary).isEmpty());
    EXPECT_FALSE(notADictionary.isNull());
}

// libplist aborts the process on a key holding a NUL, and copies a shared container once per
// reference; such lists must come back as errors, from memory and from files alike.
TEST(PropertyList, HostileBinaryListsAreRefusedBeforeLibplistSeesThem)
{
    BinaryPropertyListBuilder good;
    const int goodKey = good.utf16(QStringLiteral("Grün"));
    const int goodValue = good.integer(-7);
    const QByteArray wellFormed = good.build(good.dictionary({{goodKey, goodValue}}));
    EXPECT_EQ(VLPropertyList::fromData(wellFormed).toMap(), (QVariantMap{{QStringLiteral("Grün"), qint64(-7)}}));

    QList<std::pair<QString, QByteArray>> hostile;
    hostile.append({"NUL", BinaryPropertyListBuilder::dictionaryWithKey(QString::fromUtf16(u"a\0b", 3))});
    hostile.append({"NUL", BinaryPropertyListBuilder::dictionaryWithKey(QString(1, QChar(0)))});
    {
        // The NUL key deep inside: an array holding a dictionary.
        BinaryPropertyListBuilder nested;
        const int key = nested.utf16(QString::fromUtf16(u"\0", 1));
        const int value = nested.integer(1);
        const int inner = nested.dictionary({{key, value}});
        hostile.append({"NUL", nested.build(nested.array({inner}))});
    }
    {
        // 2^40 leaves from 40 arrays that each hold the previous one twice.
        BinaryPropertyListBuilder bomb;
        int level = bomb.ascii("leaf");
        for (int i = 0; i < 40; ++i)
            level = bomb.array({level, level});
        hostile.append({"too often", bomb.build(level)});
    }
    {
        BinaryPropertyListBuilder cycle;
        const int self = cycle.nextIndex();
        cycle.array({self});
        hostile.append({"contains itself", cycle.build(self)});
    }
    {
        BinaryPropertyListBuilder keys;
        const int numberKey = keys.integer(5);
        hostile.append({"not a string", keys.build(keys.dictionary({{numberKey, numberKey}}))});
    }
    for (double when : {qQNaN(), qInf(), 1e300, -1e12}) {
        BinaryPropertyListBuilder dates;
        const int key = dates.ascii("When");
        const int date = dates.date(when);
        hostile.append({"date", dates.build(dates.dictionary({{key, date}}))});
    }

    QTemporaryDir dir;
    for (const auto &[reason, bytes] : hostile) {
        VLError error;
        EXPECT_FALSE(VLPropertyList::fromData(bytes, &error).isValid()) << qPrintable(reason);
        EXPECT_EQ(error.code(), VLPropertyList::ParseFailed);
        EXPECT_TRUE(error.localizedDescription().contains(reason)) << qPrintable(error.localizedDescription());

        const QString path = dir.filePath(QStringLiteral("defaults.plist"));
        writeFile(path, bytes);
        VLError fileError;
        EXPECT_TRUE(VLPropertyList::readDictionary(path, &fileError).isEmpty());
        EXPECT_FALSE(fileError.isNull());
    }
}

// Both kinds of write replace the old file in one step and leave nothing beside it, whether they
// succeed or fail; the replaceable ones only skip the disk sync.
TEST(PropertyList, WritesSwapTheFileWholeRefuseValuesWithoutAPlistFormAndLeaveNoTemporaryFiles)
{
    for (const auto durability : {VLPropertyList::Durability::Durable, VLPropertyList::Durability::Replaceable}) {
        QTemporaryDir dir;
        const QString path = dir.filePath("info.plist");
        ASSERT_TRUE(VLPropertyList::writeXml(path, QVariantMap{{"a", 1}}, nullptr, durability));
        ASSERT_TRUE(VLPropertyList::writeXml(path, QVariantMap{{"a", 2}, {"b", "two"}}, nullptr, durability));
        EXPECT_EQ(VLPropertyList::readDictionary(path), (QVariantMap{{"a", qint64(2)}, {"b", "two"}}));

        VLError error;
        EXPECT_FALSE(VLPropertyList::writeXml(path, QVariantMap{{"bad", QVariant::fromValue(QSize(1, 2))}}, &error, durability));
        EXPECT_EQ(error.code(), VLPropertyList::UnsupportedValue);
        // A folder in the file's place cannot be replaced by a file: the write fails and says why.
        ASSERT_TRUE(QDir(dir.path()).mkdir("taken.plist"));
        EXPECT_FALSE(VLPropertyList::writeXml(dir.filePath("taken.plist"), QVariantMap{{"a", 1}}, &error, durability));
        EXPECT_EQ(error.code(), VLPropertyList::WriteFailed);
        EXPECT_TRUE(error.description().contains("taken.plist")) << error.description().toStdString();
        EXPECT_FALSE(VLPropertyList::writeXml(dir.filePath("no/such/folder/x.plist"), QVariantMap{{"a", 1}}, &error, durability));
        EXPECT_EQ(error.code(), VLPropertyList::WriteFailed);

        EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                  (QStringList{"info.plist", "taken.plist"}));
        EXPECT_EQ(VLPropertyList::readDictionary(path).value("a").toLongLong(), 2); // old content intact
    }
}
