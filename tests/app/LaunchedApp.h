#pragma once

#include "KDScriptedDevice.h"
#include "RecordingAlerts.h"
#include "RecordingStatusItem.h"
#include "TestSupport.h"
#include "VLNotifier.h"
#include "VLStatusMenu.h"
#include "VLUserDefaults.h"
#include "VelmoraSyncAppDelegate.h"

#include <QAction>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

// Takes the desktop notifications, or refuses them as a desktop without a notification service does.
class RecordingNotifier : public VLNotifier
{
public:
    struct Note
    {
        QString title;
        QString text;
        bool warning = false;
        QList<Action> actions;
    };

    bool notify(const QString &title, const QString &text, bool warning, const QList<Action> &actions,
                ActionHandler onAction) override
    {
        if (!available)
            return false;
        notes.append({title, text, warning, actions});
        handler = std::move(onAction);
        return true;
    }
    QStringList actionKeys() const
    {
        QStringList keys;
        for (const Action &action : notes.value(notes.size() - 1).actions)
            keys << action.key;
        return keys;
    }

    bool available = true;
    QList<Note> notes;
    ActionHandler handler;
};

// A launched delegate with a recording status item, alerts and notifications, in a data folder of
// its own. Files the delegate opens on the desktop are recorded and answered with `opens`.
struct LaunchedApp
{
    ScopedDataFolder data;
    std::shared_ptr<RecordingStatusItem> statusItem = std::make_shared<RecordingStatusItem>();
    std::shared_ptr<RecordingAlerts> alerts = std::make_shared<RecordingAlerts>();
    std::shared_ptr<RecordingNotifier> notifier = std::make_shared<RecordingNotifier>();
    QStringList opened;
    bool opens = true;
    bool online = false;
    std::unique_ptr<VelmoraSyncAppDelegate> delegate;

    explicit LaunchedApp(const QStringList &launchArguments = {}, int stallTimeoutMilliseconds = -1)
    {
        VLUserDefaults::standardUserDefaults()->setArguments(QStringList{QStringLiteral("VelmoraSync")} + launchArguments);
        VelmoraSyncAppDelegate::Platform platform;
        platform.createStatusItem = [this] { return statusItem; };
        platform.alerts = alerts;
        platform.syncServiceOnline = [this] { return online; };
        platform.notifier = notifier;
        platform.openWithDesktop = [this](const QString &path, VLOpenedHandler done) {
            opened << path;
            done(opens);
        };
        delegate = std::make_unique<VelmoraSyncAppDelegate>(platform);
        // The quiet moment releases closed windows with their controllers, which tests hold; a test
        // that waits for it sets a delay of its own.
        delegate->idleMemory()->setDelayMilliseconds(24 * 60 * 60 * 1000);
        if (stallTimeoutMilliseconds >= 0)
            delegate->setStallTimeoutMilliseconds(stallTimeoutMilliseconds);
        delegate->applicationDidFinishLaunching();
    }
    ~LaunchedApp() { VLUserDefaults::standardUserDefaults()->setArguments({}); }

    QAction *item(VLStatusMenuAction action) const { return vlMenuItemWithAction(delegate->statusItemMenu(), action); }
    QString titleOf(VLStatusMenuAction action) const
    {
        delegate->updateMenu();
        return item(action)->text();
    }
    // Plugs a device in and waits until the delegate has taken it.
    void plugIn(KDScriptedDevice &device) const
    {
        device.plugIn();
        EXPECT_TRUE(QTest::qWaitFor([&] { return delegate->velmoraDevice() == device.device(); }, 5000));
    }
    // Pulls the device and waits until the delegate has let it go; true once it has.
    bool unplug(KDScriptedDevice &device) const
    {
        device.unplug();
        return QTest::qWaitFor([&] { return !delegate->velmoraDevice(); }, 5000);
    }
};
