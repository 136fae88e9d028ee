#include "TestSupport.h"
#include "VLZip.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

TEST(Zip, PacksListsAndUnpacksAFolderThroughTheSystemTools)
{
    QTemporaryDir dir;
    // zip stores paths as given, so work relative to the temporary folder as a user's shell would.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    writeFile("export/Colours.cxf", "<CxF/>");
    writeFile("export/Audio/note 1.wav", QByteArray(1000, 'w'));

    VLZip zip;
    zip.setSourceFilename("export");
    ASSERT_TRUE(zip.zipToFilename("export.zip"));

    VLZip reader;
    reader.setSourceFilename("export.zip");
    QStringList entries = reader.contents();
    entries.sort();
    EXPECT_EQ(entries, QStringList({"export/", "export/Audio/", "export/Audio/note 1.wav", "export/Colours.cxf"}));

    ASSERT_TRUE(reader.unzipToDirectory(dir.filePath("out")));
    EXPECT_EQ(readFile(dir.filePath("out/export/Audio/note 1.wav")), QByteArray(1000, 'w'));

    // Without a folder it unpacks into the working folder, overwriting without asking.
    writeFile("export/Colours.cxf", "changed");
    ASSERT_TRUE(reader.unzipToDirectory());
    EXPECT_EQ(readFile("export/Colours.cxf"), "<CxF/>");

    VLZip missing;
    missing.setSourceFilename(dir.filePath("none.zip"));
    EXPECT_FALSE(missing.unzipToDirectory(dir.filePath("never")));
    EXPECT_TRUE(missing.contents().isEmpty());
    QDir::setCurrent(previous);
}

TEST(Zip, PasswordProtectsTheArchive)
{
    QTemporaryDir dir;
    writeFile(dir.filePath("secret.txt"), "colour");
    VLZip zip;
    zip.setSourceFilename(dir.filePath("secret.txt"));
    zip.setPassword("s3cret");
    ASSERT_TRUE(zip.zipToFilename(dir.filePath("secret.zip")));

    VLZip wrong;
    wrong.setSourceFilename(dir.filePath("secret.zip"));
    wrong.setPassword("wrong");
    EXPECT_FALSE(wrong.unzipToDirectory(dir.filePath("wrong")));

    VLZip right;
    right.setSourceFilename(dir.filePath("secret.zip"));
    right.setPassword("s3cret");
    ASSERT_TRUE(right.unzipToDirectory(dir.filePath("right")));
    EXPECT_EQ(readFile(dir.filePath("right") + dir.filePath("secret.txt")), "colour");
}

TEST(Zip, ListingLeavesOutResourceForkFolders)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    writeFile("a.txt", "a");
    writeFile("__MACOSX/._a.txt", "fork");
    QProcess zip;
    zip.start("zip", {"-r", "mac.zip", "a.txt", "__MACOSX"});
    ASSERT_TRUE(zip.waitForFinished());

    VLZip reader;
    reader.setSourceFilename("mac.zip");
    EXPECT_EQ(reader.contents(), QStringList({"a.txt"}));
    QDir::setCurrent(QDir::tempPath());
}

TEST(Zip, AToolThatCannotStartIsAFailureNotACrash)
{
    VLZip::setToolFolder("/nonexistent/bin");
    VLZip zip;
    zip.setSourceFilename("x");
    EXPECT_FALSE(zip.zipToFilename("/tmp/never.zip"));
    EXPECT_TRUE(zip.contents().isEmpty());
    VLZip::setToolFolder(QString());
}
