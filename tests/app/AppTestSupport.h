#pragma once

#include "KDScriptedDevice.h"
#include "LaunchedApp.h"
#include "TestSupport.h"
#include "VLSyncManager.h"

#include <QUuid>

// Serial numbers are unique per test: sync managers live for the whole process, one per serial.
inline QString freshSerial()
{
    return QStringLiteral("TS") + QUuid::createUuid().toString(QUuid::Id128).left(10).toUpper();
}

inline QVariantMap deviceAttributes(const QString &freeDiskSpace = QStringLiteral("5242880"))
{
    return {{QStringLiteral("ChipId"), QStringLiteral("CHIP-1")},
            {QStringLiteral("Firmware"), QStringLiteral("2.1.0")},
            {QStringLiteral("FreeDiskSpace"), freeDiskSpace}};
}

// A scripted device that is plugged in, with its sync manager told it is available: a manager in
// the state the application sees after a device arrives.
struct AttachedManager
{
    ScopedDataFolder data;
    KDScriptedDevice device;
    VLSyncManager *manager = nullptr;

    explicit AttachedManager(const QVariantMap &attributes = deviceAttributes())
        : device(freshSerial(), attributes)
    {
        device.plugIn();
        manager = VLSyncManager::syncManagerWithDevice(device.device());
        manager->deviceBecameAvailable();
    }
    ~AttachedManager()
    {
        manager->updateDevice(KDDevicePtr());
        manager->deviceBecameUnavailable();
    }
};

// The first command of every run ("EndSync") answered with the cancelling error: a run ends at its
// first step without reaching for the web service.
inline void endRunsAtTheFirstStep(KDScriptedDevice &device)
{
    device.setReply(QStringLiteral("EndSync"),
                    KDScriptedDevice::Reply{.error = VLError(QStringLiteral("SyncManager"), -1024, QStringLiteral("stop")),
                                            .delay = 20});
}

// The first command of every run taken and never answered: the run waits at step 1 until something
// ends it.
inline void holdRunsAtTheFirstStep(KDScriptedDevice &device)
{
    device.setReply(QStringLiteral("EndSync"), KDScriptedDevice::Reply{.noAnswer = true});
}

// A launched application and a scripted device of its own, not yet plugged in; a device still
// served at the end is pulled, so that no sync manager keeps it.
class AppWithDevice : public ::testing::Test
{
protected:
    void TearDown() override
    {
        if (device.device() && app.delegate->velmoraDevice() == device.device()) {
            EXPECT_TRUE(app.unplug(device));
        }
    }
    // Plugs the device in and takes the sync manager the application made for it.
    void plugIn()
    {
        app.plugIn(device);
        manager = app.delegate->syncManager();
        ASSERT_NE(manager, nullptr);
    }

    LaunchedApp app;
    KDScriptedDevice device{freshSerial(), deviceAttributes()};
    VLSyncManager *manager = nullptr;
};
