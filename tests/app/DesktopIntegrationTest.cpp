#include "VLBundleResources.h"
#include "VLDesktopOpener.h"
#include "VLLoginItem.h"
#include "VLReachability.h"
#include "VLSingleInstance.h"

#include <QFile>
#include <QTemporaryDir>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <gtest/gtest.h>

#include <optional>

namespace {

QString uniqueServerName()
{
    return QStringLiteral("VelmoraSyncTest-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace

TEST(SingleInstance, ALaterLaunchHandsItsURLToTheRunningOne)
{
    const QString name = uniqueServerName();
    VLSingleInstance first(name);
    ASSERT_EQ(first.claim({}), VLSingleInstance::Role::Primary) << first.errorString().toStdString();
    QSignalSpy received(&first, &VLSingleInstance::messageReceived);

    VLSingleInstance second(name);
    EXPECT_EQ(second.claim({QStringLiteral("x-tintera-sync://sync"), QStringLiteral("x-tintera-sync://again")}),
              VLSingleInstance::Role::Secondary);
    // A launch without a URL only finds the running instance.
    VLSingleInstance third(name);
    EXPECT_EQ(third.claim({}), VLSingleInstance::Role::Secondary);

    ASSERT_TRUE(QTest::qWaitFor([&] { return received.size() >= 2; }, 5000));
    QTest::qWait(50);
    ASSERT_EQ(received.size(), 2);
    EXPECT_EQ(received.at(0).at(0).toString(), QStringLiteral("x-tintera-sync://sync"));
    EXPECT_EQ(received.at(1).at(0).toString(), QStringLiteral("x-tintera-sync://again"));
}

TEST(SingleInstance, TheNameBelongsToTheFirstUntilItQuits)
{
    const QString name = uniqueServerName();
    {
        VLSingleInstance first(name);
        ASSERT_EQ(first.claim({}), VLSingleInstance::Role::Primary);
    }
    // The first one has gone: the next launch runs.
    VLSingleInstance next(name);
    EXPECT_EQ(next.claim({}), VLSingleInstance::Role::Primary);
    EXPECT_TRUE(VLSingleInstance::defaultServerName().startsWith(QStringLiteral("VelmoraSync-")));
}

TEST(LoginItem, AutostartEntryIsWrittenAndRemoved)
{
    const QString identifier = QStringLiteral("com.kalvex.TinteraSyncHelperTest");
    const QString path = vlLoginItemPath(identifier);
    ASSERT_TRUE(path.endsWith(QStringLiteral("/autostart/com.kalvex.TinteraSyncHelperTest.desktop")));
    ASSERT_TRUE(vlLoginItemSetEnabled(identifier, false));
    EXPECT_FALSE(QFile::exists(path));

    ASSERT_TRUE(vlLoginItemSetEnabled(identifier, true));
    EXPECT_TRUE(vlLoginItemIsEnabled(identifier));
    QFile entry(path);
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(entry.readAll());
    EXPECT_TRUE(text.startsWith(QStringLiteral("[Desktop Entry]\n")));
    EXPECT_TRUE(text.contains(QStringLiteral("Type=Application\n")));
    EXPECT_TRUE(text.contains(QStringLiteral("Exec=\"")));
    entry.close();

    EXPECT_TRUE(vlLoginItemSetEnabled(identifier, false));
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(vlLoginItemSetEnabled(identifier, false)) << "switching off twice is fine";
    EXPECT_FALSE(vlLoginItemSetEnabled(QStringLiteral("../escape"), true)) << "a name must stay in the folder";
}

TEST(Reachability, LoopbackAlwaysAndOtherHostsOnlyWithAWayOut)
{
    EXPECT_TRUE(vlHostIsReachable(QStringLiteral("127.0.0.1")));
    EXPECT_TRUE(vlHostIsReachable(QStringLiteral("localhost")));
    EXPECT_TRUE(vlHostIsReachable(QStringLiteral("::1")));
    EXPECT_FALSE(vlHostIsReachable(QString()));
    EXPECT_FALSE(vlHostIsReachableThrough(QStringLiteral("sync.tintera.example"), {}));
    EXPECT_FALSE(vlHostIsReachableThrough(QStringLiteral("192.0.2.7"), {}));
    EXPECT_TRUE(vlHostIsReachableThrough(QStringLiteral("127.0.0.1"), {}));

    EXPECT_EQ(vlHostOfURL(QStringLiteral("https://sync.tintera.example/VLSyncService")),
              QStringLiteral("sync.tintera.example"));
    EXPECT_EQ(vlHostOfURL(QStringLiteral("http://127.0.0.1:8123")), QStringLiteral("127.0.0.1"));
    EXPECT_EQ(vlHostOfURL(QStringLiteral("not a url")), QString());
}

TEST(BundleResources, HelpDocumentAndPicturesAreBuilt)
{
    // The help document is written at build time beside the program.
    const QString pdf = QStringLiteral(TINTERA_BINARY_DIR "/src/app/TINTERA_Sync_Utility_help.pdf");
    QFile file(pdf);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << pdf.toStdString();
    const QByteArray bytes = file.readAll();
    EXPECT_TRUE(bytes.startsWith("%PDF-"));
    EXPECT_TRUE(bytes.contains("/Type /Page"));
    EXPECT_GT(bytes.size(), 4000);

    for (int i = 1; i <= 5; ++i) {
        const QImage frame(QStringLiteral(":/app/TinteraDeviceLogoAnim%1.png").arg(i));
        EXPECT_EQ(frame.size(), QSize(22, 22)) << i;
        const QImage large(QStringLiteral(":/app/TinteraDeviceLogoAnim%1@2x.png").arg(i));
        EXPECT_EQ(large.size(), QSize(44, 44)) << i;
        // Transparent corners, an opaque middle: an icon, not a filled square.
        EXPECT_EQ(qAlpha(frame.pixel(0, 0)), 0);
        EXPECT_EQ(qAlpha(frame.pixel(11, 11)), 255);
    }
    EXPECT_EQ(QImage(QStringLiteral(":/app/TINTERA_logo.png")).size(), QSize(128, 128));
    // The sync manager's logo (shown when no device image is known) is the same drawing, kept as a
    // file because the engine cannot depend on the application's painter: redraw it when that changes.
    EXPECT_EQ(QImage(QStringLiteral(":/TINTERA_logo.png")).convertToFormat(QImage::Format_ARGB32),
              QImage(QStringLiteral(":/app/TINTERA_logo.png")).convertToFormat(QImage::Format_ARGB32));
    EXPECT_TRUE(vlPathForBundleResource(QStringLiteral("no-such-resource"), QStringLiteral("pdf")).isEmpty());
}

namespace {

// Puts stand-ins for the desktop's xdg-mime and xdg-open first on PATH: xdg-mime names
// `application` (empty: none registered), xdg-open exits with `openExit` and notes what it opened.
class FakeXdgTools
{
public:
    FakeXdgTools(const QString &application, int openExit)
        : m_previousPath(qgetenv("PATH"))
    {
        write(QStringLiteral("xdg-mime"), QStringLiteral("#!/bin/sh\necho '%1'\n").arg(application));
        write(QStringLiteral("xdg-open"),
              QStringLiteral("#!/bin/sh\necho \"$1\" >> '%1/opened'\nexit %2\n").arg(m_folder.path()).arg(openExit));
        qputenv("PATH", m_folder.path().toUtf8() + ':' + m_previousPath);
    }
    ~FakeXdgTools() { qputenv("PATH", m_previousPath); }
    QString opened() const
    {
        QFile file(m_folder.filePath(QStringLiteral("opened")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
    }

private:
    void write(const QString &name, const QString &script)
    {
        QFile file(m_folder.filePath(name));
        file.open(QIODevice::WriteOnly);
        file.write(script.toUtf8());
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    QTemporaryDir m_folder;
    QByteArray m_previousPath;
};

// Opens the file through the desktop and waits for the one answer.
std::optional<bool> openedWithDesktop(const QString &path)
{
    std::optional<bool> answer;
    int answers = 0;
    QObject context;
    vlOpenWithDesktop(path, &context, [&](bool opened) {
        answer = opened;
        ++answers;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return answer.has_value(); }, 10000)) << "no answer";
    QTest::qWait(50);
    EXPECT_LE(answers, 1);
    return answer;
}

} // namespace

// xdg-open reports success on some desktops even when nothing opens the file, so an application
// must be registered for the type as well.
TEST(DesktopOpener, OpenedOnlyWhenAnApplicationIsRegisteredAndTheHelperSucceeds)
{
    QTemporaryDir folder;
    const QString document = folder.filePath(QStringLiteral("help.pdf"));
    QFile(document).open(QIODevice::WriteOnly);
    {
        FakeXdgTools tools(QString(), 0);
        EXPECT_EQ(openedWithDesktop(document), std::optional<bool>(false));
        EXPECT_TRUE(tools.opened().isEmpty()) << "nothing to open it with: the helper is not asked";
    }
    {
        FakeXdgTools tools(QStringLiteral("org.gnome.Evince.desktop"), 4);
        EXPECT_EQ(openedWithDesktop(document), std::optional<bool>(false));
        EXPECT_EQ(tools.opened(), document);
    }
    {
        FakeXdgTools tools(QStringLiteral("org.gnome.Evince.desktop"), 0);
        EXPECT_EQ(openedWithDesktop(document), std::optional<bool>(true));
        EXPECT_EQ(tools.opened(), document);
    }
}
