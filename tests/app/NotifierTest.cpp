#include "VLNotifier_linux.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

namespace {

// A notification service on the bus: takes each message, answers with its id.
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Received
    {
        QString application;
        uint replaces = 0;
        QString summary;
        QString body;
        QStringList actions;
        int urgency = -1;
    };
    QList<Received> received() const
    {
        QMutexLocker locker(&m_lock);
        return m_received;
    }

public slots:
    uint Notify(const QString &application, uint replaces, const QString &, const QString &summary, const QString &body,
                const QStringList &actions, const QVariantMap &hints, int)
    {
        QMutexLocker locker(&m_lock);
        m_received.append({application, replaces, summary, body, actions, hints.value("urgency").toInt()});
        return uint(40 + m_received.size());
    }

private:
    mutable QMutex m_lock;
    QList<Received> m_received;
};

// A private message bus for the test, ended with it.
class PrivateBus
{
public:
    PrivateBus()
    {
        if (QStandardPaths::findExecutable("dbus-daemon").isEmpty())
            return;
        m_daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        if (!m_daemon.waitForReadyRead(5000))
            return;
        address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }
    ~PrivateBus()
    {
        m_daemon.kill();
        m_daemon.waitForFinished(2000);
    }
    QString address;

private:
    QProcess m_daemon;
};

} // namespace

TEST(FreedesktopNotifier, SpeaksTheNotificationServiceAndBringsItsActionsBack)
{
    PrivateBus bus;
    if (bus.address.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    {
        // Nobody serves notifications on this bus yet: the caller says it its own way.
        QDBusConnection client = QDBusConnection::connectToBus(bus.address, "notifier-client-empty");
        ASSERT_TRUE(client.isConnected());
        VLFreedesktopNotifier notifier(client);
        EXPECT_FALSE(notifier.notify("TINTERA Sync", "text", false, {}, nullptr));
    }
    QDBusConnection::disconnectFromBus("notifier-client-empty");

    // The service answers from a thread of its own, as another process would.
    QThread serviceThread;
    serviceThread.start();
    FakeNotifications service;
    service.moveToThread(&serviceThread);
    QDBusConnection serviceBus = QDBusConnection::connectToBus(bus.address, "notifier-service");
    ASSERT_TRUE(serviceBus.registerObject("/org/freedesktop/Notifications", &service, QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(serviceBus.registerService("org.freedesktop.Notifications"));
    {
        QDBusConnection client = QDBusConnection::connectToBus(bus.address, "notifier-client");
        VLFreedesktopNotifier notifier(client);
        QStringList invoked;
        const auto onAction = [&](const QString &key) { invoked << key; };
        ASSERT_TRUE(notifier.notify("TINTERA Sync", "The sync finished with 1 error.", true,
                                    {{"details", "Details..."}, {"show-measurements", "Show measurements"}}, onAction));
        ASSERT_EQ(service.received().size(), 1);
        const FakeNotifications::Received first = service.received().first();
        EXPECT_EQ(first.application, "TINTERA Sync");
        EXPECT_EQ(first.summary, "TINTERA Sync");
        EXPECT_EQ(first.body, "The sync finished with 1 error.");
        EXPECT_EQ(first.actions, QStringList({"details", "Details...", "show-measurements", "Show measurements", "default",
                                              "Details..."}));
        EXPECT_EQ(first.urgency, 2);
        EXPECT_EQ(notifier.lastNotificationId(), 41u);

        // The next one replaces it on the desktop.
        ASSERT_TRUE(notifier.notify("TINTERA Sync", "The sync finished.", false, {{"show-measurements", "Show measurements"}},
                                    onAction));
        EXPECT_EQ(service.received().at(1).replaces, 41u);
        EXPECT_EQ(service.received().at(1).urgency, 1);

        // The user chooses: an action of another notification is not ours; a click on the message
        // is its first action.
        const auto invoke = [&](uint id, const QString &key) {
            QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                             "org.freedesktop.Notifications", "ActionInvoked");
            signal << id << key;
            serviceBus.send(signal);
        };
        invoke(41, "details");
        invoke(42, "default");
        ASSERT_TRUE(QTest::qWaitFor([&] { return !invoked.isEmpty(); }, 5000));
        QTest::qWait(100);
        EXPECT_EQ(invoked, QStringList{"show-measurements"});
    }
    QDBusConnection::disconnectFromBus("notifier-client");
    serviceBus.unregisterService("org.freedesktop.Notifications");
    QDBusConnection::disconnectFromBus("notifier-service");
    serviceThread.quit();
    serviceThread.wait();
}

#include "NotifierTest.moc"
