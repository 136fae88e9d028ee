#include "VLDesktopOpener.h"
#include "VLLoginItem.h"
#include "VLReachability.h"
#include "VLPrivateFolder.h"
#include "VLSingleInstance.h"
#include "TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <grp.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QString uniqueServerName()
{
    static QTemporaryDir folder;
    return folder.filePath(QStringLiteral("VelmoraSyncTest-") + QUuid::createUuid().toString(QUuid::WithoutBraces));
}

// The ways a socket name can be reached: as a file, and as a name in Linux's abstract namespace
// (as Qt spells it, and padded to the whole address).
QList<QByteArray> addressesOf(const QString &serverName)
{
    const QByteArray path = QFile::encodeName(serverName);
    const QByteArray name = QFile::encodeName(QFileInfo(serverName).fileName());
    return {path, QByteArray(1, '\0') + name, (QByteArray(1, '\0') + name).leftJustified(sizeof(sockaddr_un::sun_path), '\0')};
}

int unixSocketTo(const QByteArray &address, bool listening)
{
    sockaddr_un un = {};
    un.sun_family = AF_UNIX;
    std::memcpy(un.sun_path, address.constData(), std::min(size_t(address.size()), sizeof un.sun_path));
    const socklen_t length = socklen_t(offsetof(sockaddr_un, sun_path) + std::min(size_t(address.size()), sizeof un.sun_path));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool ok = listening ? ::bind(fd, reinterpret_cast<sockaddr *>(&un), length) == 0 && ::listen(fd, 8) == 0
                              : ::connect(fd, reinterpret_cast<sockaddr *>(&un), length) == 0;
    if (!ok)
        ::close(fd);
    return ok ? fd : -1;
}

// Another local user ("nobody") in a child process, while this process's event loop keeps running
// the instance under test. The child makes plain system calls only: it is a fork of a process
// with threads.
class OtherUserProcess
{
public:
    explicit OtherUserProcess(const std::function<int(int readyFd)> &attempt)
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(fds[0]);
            if (::setgroups(0, nullptr) != 0 || ::setgid(kOtherUserId) != 0 || ::setuid(kOtherUserId) != 0)
                ::_exit(100);
            ::_exit(attempt(fds[1]));
        }
        ::close(fds[1]);
        m_ready = fds[0];
    }
    ~OtherUserProcess()
    {
        if (m_pid > 0 && !m_finished) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        if (m_ready >= 0)
            ::close(m_ready);
    }
    // The child wrote its byte to readyFd.
    bool waitUntilReady()
    {
        pollfd ready = {m_ready, POLLIN, 0};
        char byte = 0;
        return ::poll(&ready, 1, 5000) == 1 && ::read(m_ready, &byte, 1) == 1;
    }
    // The child's exit status, -1 when it did not end in time.
    int exitStatus(int timeoutMs = 20000)
    {
        int status = 0;
        const bool ended = QTest::qWaitFor([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }, timeoutMs);
        m_finished = ended;
        return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t m_pid = -1;
    int m_ready = -1;
    bool m_finished = false;
};

// Bits of what another user managed: 1 << i for each address of addressesOf() it connected to, and
// 8 when a connection that sent a URL and a megabyte without a line end was still open after 6 s.
int tryToReach(const QList<QByteArray> &addresses)
{
    static char flood[1 << 20];
    std::memset(flood, 'x', sizeof flood);
    int reached = 0;
    for (int i = 0; i < addresses.size(); ++i) {
        const int fd = unixSocketTo(addresses.at(i), false);
        if (fd < 0)
            continue;
        reached |= 1 << i;
        static const char url[] = "x-tintera-sync://sync\n";
        ::send(fd, url, sizeof url - 1, MSG_NOSIGNAL);
        for (size_t sent = 0; sent < sizeof flood;) {
            const ssize_t n = ::send(fd, flood + sent, sizeof flood - sent, MSG_NOSIGNAL);
            if (n <= 0)
                break;
            sent += size_t(n);
        }
        pollfd closed = {fd, POLLIN, 0};
        char byte = 0;
        if (::poll(&closed, 1, 6000) == 0 || ::read(fd, &byte, 1) > 0)
            reached |= 8;
        ::close(fd);
    }
    return reached;
}

} // namespace

TEST(SingleInstance, ALaterLaunchHandsItsURLToTheRunningOneAndRunsOnceThatHasGone)
{
    const QString name = uniqueServerName();
    {
        VLSingleInstance first(name);
        ASSERT_EQ(first.claim({}), VLSingleInstance::Role::Primary) << first.errorString().toStdString();
        QSignalSpy received(&first, &VLSingleInstance::messageReceived);
        QSignalSpy activated(&first, &VLSingleInstance::activationRequested);

        VLSingleInstance second(name);
        EXPECT_EQ(second.claim({QStringLiteral("x-tintera-sync://sync"), QStringLiteral("x-tintera-sync://again")}),
                  VLSingleInstance::Role::Secondary);
        // A launch without a URL asks the running instance to show itself.
        VLSingleInstance third(name);
        EXPECT_EQ(third.claim({}), VLSingleInstance::Role::Secondary);

        ASSERT_TRUE(QTest::qWaitFor([&] { return received.size() >= 2 && activated.size() >= 1; }, 5000));
        QTest::qWait(50);
        ASSERT_EQ(received.size(), 2);
        EXPECT_EQ(activated.size(), 1);
        EXPECT_EQ(received.at(0).at(0).toString(), QStringLiteral("x-tintera-sync://sync"));
        EXPECT_EQ(received.at(1).at(0).toString(), QStringLiteral("x-tintera-sync://again"));
    }
    // The first one has gone: the next launch runs.
    VLSingleInstance next(name);
    EXPECT_EQ(next.claim({}), VLSingleInstance::Role::Primary);
    const QFileInfo socket(VLSingleInstance::defaultServerName());
    EXPECT_TRUE(socket.fileName().startsWith(QStringLiteral("VelmoraSync-")));
    EXPECT_EQ(socket.path(), vlRuntimeFolder(nullptr));
}

// The running instance holds no more than a short line for anyone, and not for long.
TEST(SingleInstance, ALineWithoutEndAndASilentClientAreDropped)
{
    const QString name = uniqueServerName();
    VLSingleInstance instance(name);
    ASSERT_EQ(instance.claim({}), VLSingleInstance::Role::Primary);
    QSignalSpy received(&instance, &VLSingleInstance::messageReceived);
    QLocalSocket flood;
    QLocalSocket silent;
    flood.connectToServer(name);
    silent.connectToServer(name);
    ASSERT_TRUE(flood.waitForConnected(1000) && silent.waitForConnected(1000));
    flood.write(QByteArray(1 << 20, 'x'));
    EXPECT_TRUE(QTest::qWaitFor([&] { return flood.state() == QLocalSocket::UnconnectedState; }, 2000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return silent.state() == QLocalSocket::UnconnectedState; },
                                VLSingleInstance::kSilenceLimitMs + 2000));
    EXPECT_TRUE(received.isEmpty());
}

// Another local user reaches nothing of this user's running instance (the tests run as root in
// CI, the other user is "nobody").
class SingleInstanceAgainstAnotherUser : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0) {
            GTEST_SKIP() << NotRootMessage;
        }
        runtimeFolder.emplace("XDG_RUNTIME_DIR", runtime.path().toUtf8());
        name = VLSingleInstance::defaultServerName();
    }
    void openRuntimeFolder(mode_t mode) { ASSERT_EQ(::chmod(QFile::encodeName(runtime.path()).constData(), mode), 0); }

    QTemporaryDir runtime;
    ScopedDataFolder data; // a name of its own: abstract names are shared by every process
    std::optional<ScopedEnvironment> runtimeFolder;
    QString name;
};

TEST_F(SingleInstanceAgainstAnotherUser, CannotStartASyncNorFillTheInstancesMemory)
{
    VLSingleInstance instance(name);
    ASSERT_EQ(instance.claim({}), VLSingleInstance::Role::Primary);
    QSignalSpy received(&instance, &VLSingleInstance::messageReceived);
    const QList<QByteArray> addresses = addressesOf(name);
    EXPECT_EQ(OtherUserProcess([&](int) { return tryToReach(addresses); }).exitStatus(), 0)
        << "1: reached the socket, 2 or 4: an abstract name, 8: a flood was kept open";
    EXPECT_TRUE(received.isEmpty());

    // Where the socket can be reached (folder and socket opened by hand), the other user's
    // connection is closed at once, unheard.
    openRuntimeFolder(0711);
    ASSERT_EQ(::chmod(QFile::encodeName(name).constData(), 0777), 0);
    EXPECT_EQ(OtherUserProcess([&](int) { return tryToReach(addresses); }).exitStatus(), 1);
    QTest::qWait(100);
    EXPECT_TRUE(received.isEmpty());
}

TEST_F(SingleInstanceAgainstAnotherUser, CannotTakeTheNameSoThatALaunchEnds)
{
    // Even with the runtime folder opened by hand, where the other user's socket can take the name.
    openRuntimeFolder(0777);
    const QList<QByteArray> addresses = addressesOf(name);
    OtherUserProcess squatter([&](int ready) {
        for (const QByteArray &address : addresses)
            unixSocketTo(address, true);
        (void)!::write(ready, "!", 1);
        ::sleep(60);
        return 0;
    });
    ASSERT_TRUE(squatter.waitUntilReady());
    EXPECT_TRUE(QFileInfo::exists(name)) << "the other user's socket took the name";
    VLSingleInstance instance(name);
    EXPECT_EQ(instance.claim({QStringLiteral("x-tintera-sync://sync")}), VLSingleInstance::Role::Primary);

    // A runtime folder that another user made first (its fallback name is predictable) is not used.
    ASSERT_EQ(::chown(QFile::encodeName(runtime.path()).constData(), kOtherUserId, kOtherUserId), 0);
    QString problem;
    EXPECT_TRUE(VLSingleInstance::defaultServerName(&problem).isEmpty());
    EXPECT_TRUE(problem.contains(runtime.path() + " is not used: it belongs to another user")) << qPrintable(problem);
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
    for (const char *host : {"127.0.0.1", "localhost", "::1"})
        EXPECT_TRUE(vlHostIsReachable(QString::fromLatin1(host))) << host;
    EXPECT_FALSE(vlHostIsReachable(QString()));
    EXPECT_FALSE(vlHostIsReachableThrough(QStringLiteral("sync.tintera.example"), {}));
    EXPECT_FALSE(vlHostIsReachableThrough(QStringLiteral("192.0.2.7"), {}));
    EXPECT_TRUE(vlHostIsReachableThrough(QStringLiteral("127.0.0.1"), {}));
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
    const struct { const char *application; int helperExit; bool opened; } desktops[] = {
        {"", 0, false}, {"org.gnome.Evince.desktop", 4, false}, {"org.gnome.Evince.desktop", 0, true}};
    for (const auto &desktop : desktops) {
        FakeXdgTools tools(QString::fromLatin1(desktop.application), desktop.helperExit);
        EXPECT_EQ(openedWithDesktop(document), std::optional<bool>(desktop.opened)) << desktop.application;
        // Nothing to open it with: the helper is not asked.
        EXPECT_EQ(tools.opened(), *desktop.application ? document : QString()) << desktop.application;
    }
}
