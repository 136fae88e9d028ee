#pragma once

#include "KalvexDevice.h"
#include "TinteraDemoEnvironment.h"

#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

// A real tintera-devsim process over a fresh state folder and device folder (KALVEX_DEVICE_DIR
// points at it while the object lives), through the demo environment without its service.
class DevsimProcess
{
public:
    DevsimProcess();

    QString stateFolder() const { return m_environment.devsimStateFolder(); }
    QString deviceFolder() const { return m_environment.deviceFolder(); }
    QString filePath(const QString &name) const { return m_environment.folder() + QLatin1Char('/') + name; }

    // Runs "tintera-devsim VERB --state ... ARGS" to the end; the exit code, stdout in *output.
    int run(const QString &verb, const QStringList &arguments, QByteArray *output = nullptr) const;
    int addDevice(const QString &serial, const QStringList &extra = {}) const;
    void fault(const QString &serial, const QStringList &arguments) const;

    // Starts "serve" and waits until it is ready.
    void start(const QStringList &extra = {});
    void stop() { m_environment.stopDeviceEmulator(); }

private:
    TinteraDemoEnvironment m_environment;
};

// Counts what an observer reports.
struct ObservedDevices
{
    explicit ObservedDevices(const QString &name = QStringLiteral("Velmora"));

    KDDeviceObserver observer;
    QList<KDDevicePtr> arrived;
    QList<KDDevicePtr> removed;

    KDDevicePtr waitForDevice(const QString &serial, int milliseconds = 10000);
};

// Sends a command and waits for its one answer (counting answers until the wait ends).
struct CommandResult
{
    KDCommandResponsePtr response;
    int answers = 0;
};
CommandResult sendAndWait(const KDDevicePtr &device, const KDCommandPtr &command, int milliseconds = 15000);

// Decodes the device's file inventory the way the sync engine does, through the KX functions.
QList<QVariantMap> decodeFileInventory(const QByteArray &data);

bool waitUntil(const std::function<bool()> &condition, int milliseconds = 10000);
