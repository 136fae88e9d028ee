#include "DevsimFixture.h"
#include "TestSupport.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <gtest/gtest.h>

TEST(KXValues, DecodedInventoryIsReadThroughTheProceduralInterface)
{
    const QVariantList inventory{QVariantMap{{QStringLiteral("FileType"), QStringLiteral("Fandeck")},
                                             {QStringLiteral("DeviceFileID"), QStringLiteral("7")},
                                             {QStringLiteral("Enabled"), true}},
                                 QVariantMap{{QStringLiteral("FileType"), QStringLiteral("Firmware")},
                                             {QStringLiteral("Size"), qint64(1) << 40},
                                             {QStringLiteral("Ratio"), 0.25},
                                             {QStringLiteral("When"), QDateTime(QDate(2024, 5, 1), QTime(12, 0), QTimeZone::utc())},
                                             {QStringLiteral("Raw"), QByteArray("\x00\x01", 2)}}};
    const QByteArray encoded = VLPropertyList::toBinary(inventory);
    KXDataRef data = KXDataCreateWithBytes(encoded.constData(), uint32_t(encoded.size()));
    auto array = static_cast<KXArrayRef>(KXCoderCopyDecodedObjectFromData(data));
    ASSERT_EQ(KXGetTypeID(array), KXArrayTypeID);
    ASSERT_EQ(KXArrayGetCount(array), 2);
    EXPECT_EQ(KXArrayGetValueAtIndex(array, 2), nullptr);
    EXPECT_EQ(KXArrayGetValueAtIndex(array, -1), nullptr);

    // Key by key, as the sync reads it.
    EXPECT_EQ(decodeFileInventory(encoded).value(1), inventory[1].toMap());
    auto second = static_cast<KXDictionaryRef>(KXArrayGetValueAtIndex(array, 1));
    EXPECT_EQ(KDType::objectForKXType(array), QVariant(inventory));
    EXPECT_EQ(KXDictionaryGetObjectForKey(second, KD_KXString(QStringLiteral("Missing"))), nullptr);

    // Keys copied out keep their values alive after the array they came from is gone.
    KXArrayRef firstKeys = KXDictionaryCopyAllKeys(static_cast<KXDictionaryRef>(KXArrayGetValueAtIndex(array, 0)));
    KXRelease(array);
    KXRelease(data);
    EXPECT_EQ(KXArrayGetCount(firstKeys), 3);
    EXPECT_FALSE(KDType::objectForKXType(KXArrayGetValueAtIndex(firstKeys, 0)).toString().isEmpty());
    KXRelease(firstKeys);
}

TEST(KXValues, BadInputGivesNullNotACrash)
{
    KXDataRef garbage = KXDataCreateWithBytes("bplist00 but not really", 23);
    EXPECT_EQ(KXCoderCopyDecodedObjectFromData(garbage), nullptr);
    KXRelease(garbage);
    KXDataRef empty = KXDataCreateWithBytes(nullptr, 0);
    EXPECT_EQ(KXDataGetLength(empty), 0);
    EXPECT_EQ(KXCoderCopyDecodedObjectFromData(empty), nullptr);
    EXPECT_EQ(KXDataCreateWithBytes(nullptr, 4), nullptr);
    // Wrongly typed references are refused by type, not trusted.
    EXPECT_EQ(KXArrayGetCount(reinterpret_cast<KXArrayRef>(empty)), 0);
    EXPECT_EQ(KXDictionaryCopyAllKeys(reinterpret_cast<KXDictionaryRef>(empty)), nullptr);
    KXRelease(empty);
    EXPECT_EQ(KXArrayGetCount(nullptr), 0);
    EXPECT_EQ(KXDictionaryGetObjectForKey(nullptr, nullptr), nullptr);
    KXRelease(nullptr);
    EXPECT_EQ(KXDataWithMappedFileAtPath(QStringLiteral("/nonexistent/file")), nullptr);
    EXPECT_FALSE(KDType::objectForKXType(nullptr).isValid());
}

TEST(KXValues, ReferenceCountsAndAutoreleaseFollowTheOwnershipRule)
{
    KXStringRef owned = KXStringCreateWithText(QStringLiteral("kept"));
    EXPECT_EQ(KXGetRetainCount(owned), 1);
    KXRetain(owned);
    EXPECT_EQ(KXGetRetainCount(owned), 2);
    KXRelease(owned);

    // A command holds its own references to what is set on it.
    KXDeviceCommandRef handle = KXDeviceCommandCreate(owned);
    EXPECT_EQ(KXGetRetainCount(owned), 2);
    KXStringRef borrowed = KD_KXString(QStringLiteral("value"));
    KXRetain(borrowed); // watch it across the drain below
    KXDeviceCommandSetArgument(handle, KD_KXString(QStringLiteral("key")), borrowed);
    EXPECT_EQ(KXGetRetainCount(borrowed), 3); // mine, the command's, the pool's
    QCoreApplication::processEvents();        // the pool drains with the event loop
    EXPECT_EQ(KXGetRetainCount(borrowed), 2);
    KXDictionaryRef arguments = KXDeviceCommandCopyArguments(handle);
    EXPECT_EQ(KDType::objectForKXType(arguments).toMap(), (QVariantMap{{QStringLiteral("key"), QStringLiteral("value")}}));
    KXRelease(arguments);
    KXDeviceCommandSetArgument(handle, KD_KXString(QStringLiteral("key")), nullptr);
    EXPECT_EQ(KXGetRetainCount(borrowed), 1);
    KXRelease(borrowed);
    KXRelease(handle);
    EXPECT_EQ(KXGetRetainCount(owned), 1);
    KXRelease(owned);
}

TEST(KXValues, CommandsCarryArgumentsAndPayloads)
{
    const KDCommandPtr upload = KDCommand::initWithNameArguments(
        QStringLiteral("Upload"), {{QStringLiteral("ByteLength"), 12}, {QStringLiteral("SKU"), QStringLiteral("S-1")}});
    EXPECT_EQ(upload->name(), QStringLiteral("Upload"));
    EXPECT_EQ(upload->arguments().value(QStringLiteral("ByteLength")), QStringLiteral("12")); // always text
    KXDeviceCommandSetArgument(upload->KXType(), KD_KXString(QStringLiteral("FileID")), KD_KXString(QStringLiteral("fd")));
    EXPECT_EQ(upload->arguments().value(QStringLiteral("FileID")), QStringLiteral("fd"));
    EXPECT_FALSE(upload->hasData());

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("payload"));
    writeFile(path, "mapped bytes");
    KXDeviceCommandSetData(upload->KXType(), KXDataWithMappedFileAtPath(path));
    QCoreApplication::processEvents();
    EXPECT_EQ(upload->data(), QByteArray("mapped bytes"));
    KXDeviceCommandSetData(upload->KXType(), nullptr);
    EXPECT_FALSE(upload->hasData());

    EXPECT_EQ(KDCommand::initWithNameData(QStringLiteral("SetSyncImage"), QByteArray("BM..."))->data(), QByteArray("BM..."));
    const KDCommandPtr viaURL =
        KDCommand::initWithNameArgumentsDataURL(QStringLiteral("Upload"), {}, QUrl::fromLocalFile(path));
    EXPECT_EQ(viaURL->dataLength(), 12);
    EXPECT_TRUE(viaURL->payloadError().isNull());
    const KDCommandPtr missing =
        KDCommand::initWithNameArgumentsDataURL(QStringLiteral("Upload"), {}, QUrl::fromLocalFile(dir.filePath(QStringLiteral("none"))));
    EXPECT_EQ(missing->payloadError().code(), KDErrorPayloadUnreadable);
    const KDCommandPtr empty = KDCommand::initWithNameArgumentsDataURL(QStringLiteral("Upload"), {}, QUrl());
    EXPECT_EQ(empty->payloadError().code(), KDErrorPayloadUnreadable);
}
