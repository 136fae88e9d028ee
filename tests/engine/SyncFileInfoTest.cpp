#include "TestSupport.h"
#include "VLPropertyList.h"
#include "VLSyncFileInfo.h"

#include <QTemporaryDir>

#include <cmath>

#include <gtest/gtest.h>

TEST(VersionNumber, FollowsTheMajorMinorLetterRule)
{
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("1.2"), 102.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("1.10"), 110.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("1.2A"), 102.65);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("1.2Z"), 102.90);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("1.2.9"), 102.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("12"), 12.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion(QString()), 0.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion(""), 0.0);
    EXPECT_GT(VLSyncFileInfo::numberFromVersion("2.10"), VLSyncFileInfo::numberFromVersion("2.9"));
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("2.1.5"), VLSyncFileInfo::numberFromVersion("2.1"));
    // Letters right after the dot belong to the first separator run; a missing separator run
    // reuses the previous one, as a scanner that keeps its last output would.
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("3..B"), 3.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("A1"), 1.65);
    // Garbage and absurd lengths give some number, never a crash.
    EXPECT_GE(VLSyncFileInfo::numberFromVersion("99999999999999999999999.1"), 0.0);
    EXPECT_DOUBLE_EQ(VLSyncFileInfo::numberFromVersion("beta"), 0.0);
}

TEST(VersionDate, ParsesTheServiceShapeAndRefusesAnythingElse)
{
    const QDateTime morning = VLSyncFileInfo::dateFromVersionDateString("3/14/2024 9:05:07 AM");
    EXPECT_EQ(morning, QDateTime(QDate(2024, 3, 14), QTime(9, 5, 7)));
    EXPECT_EQ(VLSyncFileInfo::dateFromVersionDateString("3/14/2024 1:00:00 PM"),
              QDateTime(QDate(2024, 3, 14), QTime(13, 0, 0)));
    // 12 PM gains 12 hours like any PM time: hour 24, the next day's midnight.
    EXPECT_EQ(VLSyncFileInfo::dateFromVersionDateString("12/31/2023 12:30:00 PM"),
              QDateTime(QDate(2024, 1, 1), QTime(0, 30, 0)));
    // Hours past the day roll into later days; the largest hour a field holds must not overflow.
    EXPECT_EQ(VLSyncFileInfo::dateFromVersionDateString("1/1/2000 49:00:00 AM"),
              QDateTime(QDate(2000, 1, 3), QTime(1, 0, 0)));
    (void)VLSyncFileInfo::dateFromVersionDateString("1/1/2000 2147483647:59:59 PM");
    for (const char *bad : {"", "3/14/2024", "3/14/2024 9:05 AM", "3/14 9:05:07 AM", "3/14/2024 9:05:07",
                            "3/14/2024 9:05:07 pm", "13/40/2024 9:05:07 AM", "a/b/c d:e:f AM",
                            "3/14/2024 9:05:07 AM extra", "3/14/2024  9:05:07 AM", "-3/14/2024 9:05:07 AM"})
        EXPECT_FALSE(VLSyncFileInfo::dateFromVersionDateString(bad).isValid()) << bad;
}

TEST(SyncFileInfo, PropertiesComeFromTheDictionaryWithNeutralFallbacks)
{
    const VLSyncFileInfoPtr empty = VLSyncFileInfo::initWithDictionary({});
    EXPECT_TRUE(empty->fileID().isNull());
    EXPECT_TRUE(empty->fileType().isNull());
    EXPECT_EQ(empty->byteLength(), -1);
    EXPECT_FALSE(empty->fileURL().isValid());
    EXPECT_FALSE(empty->versionDate().isValid());
    EXPECT_DOUBLE_EQ(empty->version(), 0.0);
    // A stored version that is no number (a binary property list can hold NaN) counts as none.
    for (const double stored : {std::nan(""), HUGE_VAL, -HUGE_VAL})
        EXPECT_DOUBLE_EQ(VLSyncFileInfo::initWithDictionary({{QStringLiteral("Version"), stored}})->version(), 0.0);

    const VLSyncFileInfoPtr file = VLSyncFileInfo::initWithDictionary({
        {"FileType", "Firmware"}, {"FileID", "FW-1"}, {"SKU", "SKU1"}, {"Description", "Firmware"},
        {"VersionString", "1.2A"}, {"Version", 999.0}, {"ByteLength", "123456"},
        {"FileURL", "http://127.0.0.1:1/files/fw.bin"}, {"DeviceFileID", "7"}, {"Extra", "kept"},
    });
    EXPECT_DOUBLE_EQ(file->version(), 102.65); // computed from the string, replacing the given one
    EXPECT_EQ(file->byteLength(), 123456);
    EXPECT_EQ(file->fileURL().path(), "/files/fw.bin");
    EXPECT_EQ(file->deviceFileID(), "7");
    EXPECT_EQ(file->info().value("Extra").toString(), "kept");
    EXPECT_TRUE(file->needsRebootAfterInstall());

    for (const char *type : {"Fandeck", "Firmware", "Bootloader", "WelcomeScreen", "MeasurementScreen", "InversionMatrix"})
        EXPECT_TRUE(VLSyncFileInfo(QVariantMap{{"FileType", type}}).needsRebootAfterInstall()) << type;
    for (const char *type : {"DeviceSettings", "StartSound", "EndSound", "MulticolorSound", "DeviceRights", ""})
        EXPECT_FALSE(VLSyncFileInfo(QVariantMap{{"FileType", type}}).needsRebootAfterInstall()) << type;

    file->updateWithNewInfo({{"DeviceFileID", "8"}, {"New", 1}});
    EXPECT_EQ(file->deviceFileID(), "8");
    EXPECT_EQ(file->SKU(), "SKU1");
    EXPECT_EQ(file->info().value("New").toInt(), 1);
}

TEST(SyncFileInfo, InfoPlistRoundTripAndInteroperability)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("info.plist");
    const VLSyncFileInfoPtr written = VLSyncFileInfo::initWithDictionary(
        {{"FileType", "Fandeck"}, {"FileID", "FD-1"}, {"VersionString", "1.10"}, {"ByteLength", "42"}});
    ASSERT_TRUE(written->writeToFilename(path));

    const VLSyncFileInfoPtr read = VLSyncFileInfo::initWithFilename(path);
    EXPECT_EQ(read->info(), written->info());
    EXPECT_DOUBLE_EQ(read->version(), 110.0);

    // The number goes into the file too, for the programs that read it (the format itself is read by
    // Python's plistlib in the property-list tests).
    EXPECT_EQ(VLPropertyList::readDictionary(path).value("Version"), QVariant(110.0));

    // Unreadable files still give an entry, with an empty dictionary that matches nothing.
    writeFile(dir.filePath("bad.plist"), "<?xml version=\"1.0\"?><plist><dict><key>FileID");
    EXPECT_TRUE(VLSyncFileInfo::initWithFilename(dir.filePath("bad.plist"))->info().isEmpty());
    EXPECT_TRUE(VLSyncFileInfo::initWithFilename(dir.filePath("missing.plist"))->info().isEmpty());
}
