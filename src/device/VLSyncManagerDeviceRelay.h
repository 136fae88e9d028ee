#pragma once

#include "VLDeviceCommandManager.h"

#include <QObject>

class VLSyncManager;

// Where a sync manager's command queue answers it. An answer reaches the manager's handler only
// while the run that queued the command is still under way (as the step that queued it).
class VLSyncManagerDeviceRelay : public QObject,
                                 public VLDeviceCommandManagerDelegate,
                                 public VLDeviceCommandManagerOptionalDelegate
{
public:
    explicit VLSyncManagerDeviceRelay(VLSyncManager &manager)
        : m_manager(manager)
    {
    }

    void commandManagerWillSendCommand(VLDeviceCommandManager *manager, const KDCommandPtr &command) override;
    void commandManagerDidReceiveResponse(VLDeviceCommandManager *manager, const KDCommandResponsePtr &response) override;
    void commandManagerDidCompleteAllCommands(VLDeviceCommandManager *manager) override;

private:
    VLSyncManager &m_manager;
};
