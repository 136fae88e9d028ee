#pragma once

#include "KDDeviceObserver.h"
#include "SyncTestSupport.h"
#include "TinteraDemoEnvironment.h"

#include <QJsonObject>

#include <gtest/gtest.h>

// The demo environment, a device observer and the manager of the first emulated device.
class E2EFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    virtual TinteraDemoEnvironment::Options options() const;

    // A full sync as the application runs it: the preliminary run first, then the sync.
    bool runPreliminaryAndFullSync();
    bool runFullSync();
    // Ticks only the fandeck of `sku` (on the device now), turns "selected only" on and syncs.
    bool syncOnlyTheFandeck(const QString &sku);
    QVariantList deviceInventory() { return environment.deviceInventory(serial); }
    QVariantMap deviceState() const { return environment.deviceState(serial); }
    QJsonObject serviceStats() { return environment.serviceStatistics(); }
    qint64 bytesServed(const QString &fileName) { return environment.served("bytesServed", fileName); }
    QStringList localFolderEntries(const QString &store) const;

    TinteraDemoEnvironment environment;
    QString serial;
    std::unique_ptr<KDDeviceObserver> observer;
    KDDevicePtr device;
    VLSyncManager *manager = nullptr;
    RecordingSyncDelegate delegate;
};
