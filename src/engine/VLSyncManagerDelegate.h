#pragma once

#include <QImage>

class VLError;
class VLSyncManager;

// What the application hears from a sync manager. Every operation is required.
class VLSyncManagerDelegate
{
public:
    virtual ~VLSyncManagerDelegate() = default;

    virtual void syncManagerChangedImage(VLSyncManager *manager, const QImage &image) = 0;
    virtual void syncManagerDidBeginSync(VLSyncManager *manager) = 0;
    virtual void syncManagerDidFinishSync(VLSyncManager *manager) = 0;
    virtual void networkConnectionError() = 0;
    virtual void syncManagerStatusDidChange(VLSyncManager *manager) = 0;
    virtual void syncManagerSyncDidFailWithError(VLSyncManager *manager, const VLError &error) = 0;
    virtual void syncManagerDidBeginPreliminaryInfoGathering(VLSyncManager *manager) = 0;
    virtual void syncManagerDidFinishPreliminaryInfoGathering(VLSyncManager *manager) = 0;
    virtual void syncManagerDownloadingDidBegin(VLSyncManager *manager) = 0;
    virtual void syncManagerDownloadingDidFinish(VLSyncManager *manager) = 0;
    virtual void syncManagerDownloadDidUpdateAmount(VLSyncManager *manager, double amount) = 0;
};
