#pragma once

#include "TestSupport.h"
#include "VLNotificationCenter.h"
#include "VLSyncManager.h"

#include <QStringList>
#include <QTest>

#include <functional>

// Records what a sync manager tells its delegate, with the manager's state at each call.
class RecordingSyncDelegate : public VLSyncManagerDelegate
{
public:
    void syncManagerChangedImage(VLSyncManager *, const QImage &image) override
    {
        ++imagesChanged; // not an event of the run's shape: it comes with the welcome image
        lastImage = image;
    }
    void syncManagerDidBeginSync(VLSyncManager *) override { events << "beginSync"; }
    void syncManagerDidFinishSync(VLSyncManager *manager) override
    {
        events << "finishSync";
        wasCancelledAtFinish = manager->wasCancelled();
        statusAtFinish = manager->status();
        reportAtFinish = manager->runReport();
    }
    void networkConnectionError() override { events << "networkConnectionError"; }
    // Status and message changes both arrive here; a status is recorded when it differs from the last.
    void syncManagerStatusDidChange(VLSyncManager *manager) override
    {
        if (statuses.isEmpty() || statuses.last() != manager->status()) {
            statuses << manager->status();
            if (onStatus)
                onStatus(manager->status());
        }
        messages << manager->statusMessage();
    }
    void syncManagerSyncDidFailWithError(VLSyncManager *, const VLError &) override { events << "failWithError"; }
    void syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *) override { events << "beginPrelim"; }
    void syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *manager) override
    {
        events << "finishPrelim";
        wasCancelledAtFinish = manager->wasCancelled();
    }
    void syncManagerDownloadingDidBegin(VLSyncManager *) override { ++downloadsBegun; }
    void syncManagerDownloadingDidFinish(VLSyncManager *) override { ++downloadsFinished; }
    void syncManagerDownloadDidUpdateAmount(VLSyncManager *, double amount) override { lastAmount = amount; }

    bool finished() const { return events.contains("finishSync") || events.contains("finishPrelim"); }
    bool waitForFinish(int milliseconds = 60000)
    {
        return QTest::qWaitFor([this] { return finished(); }, milliseconds);
    }

    QStringList events;
    std::function<void(qint32)> onStatus; // called once per new status
    QList<qint32> statuses;
    QStringList messages;
    QImage lastImage;
    int imagesChanged = 0;
    bool wasCancelledAtFinish = false;
    qint32 statusAtFinish = -1;
    VLSyncRunReport reportAtFinish; // as the delegate hears of the end: already complete
    int downloadsBegun = 0;
    int downloadsFinished = 0;
    double lastAmount = 0;
};
