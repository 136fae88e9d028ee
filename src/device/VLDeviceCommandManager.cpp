#include "VLDeviceCommandManager.h"

#include "KDError.h"
#include "TSLogger.h"

#include <QPointer>

VLDeviceCommandManager::VLDeviceCommandManager(QObject *parent)
    : QObject(parent)
{
}

VLDeviceCommandManager::VLDeviceCommandManager(const KDDevicePtr &device, QObject *parent)
    : QObject(parent)
    , m_device(device)
{
}

VLDeviceCommandManager::~VLDeviceCommandManager()
{
    m_device.reset();
    m_delegate = nullptr;
    pause();
}

VLDeviceCommandManagerOptionalDelegate *VLDeviceCommandManager::optionalDelegate() const
{
    return dynamic_cast<VLDeviceCommandManagerOptionalDelegate *>(m_delegate);
}

KDCommandPtr VLDeviceCommandManager::currentCommand() const
{
    QMutexLocker lock(&m_lock);
    return m_currentCmd;
}

QList<KDCommandPtr> VLDeviceCommandManager::commands() const
{
    QMutexLocker lock(&m_lock);
    return m_cmdsToRun;
}

void VLDeviceCommandManager::addCommand(const KDCommandPtr &command)
{
    {
        QMutexLocker lock(&m_lock);
        m_cmdsToRun.append(command);
    }
    pingCommandQueue();
}

void VLDeviceCommandManager::start()
{
    if (m_isRunning)
        return;
    m_isRunning = true;
    pingCommandQueue();
}

void VLDeviceCommandManager::pause()
{
    if (!m_isRunning)
        return;
    QMutexLocker lock(&m_lock);
    m_currentCmd.reset();
    m_isRunning = false;
}

void VLDeviceCommandManager::cancel()
{
    if (!m_isRunning)
        return;
    VL_LOG("%s", "VLDeviceCommandManager::cancel");
    {
        QMutexLocker lock(&m_lock);
        m_cmdsToRun.clear();
        m_currentCmd.reset();
    }
    m_isRunning = false;
    if (VLDeviceCommandManagerOptionalDelegate *optional = optionalDelegate())
        optional->commandManagerDidCompleteAllCommands(this);
}

void VLDeviceCommandManager::pingCommandQueue()
{
    KDCommandPtr command;
    {
        QMutexLocker lock(&m_lock);
        if (!m_isRunning || m_currentCmd || m_cmdsToRun.isEmpty())
            return;
        command = m_cmdsToRun.first();
        m_currentCmd = command;
    }
    VL_LOG("[VLDeviceCommandManager pingCommandQueue] - %@", command->name());
    if (m_delegate)
        m_delegate->commandManagerWillSendCommand(this, command);
    if (!m_device) {
        // No device to talk to: answer the command ourselves so the queue still ends.
        didReceiveResponse(KDCommandResponsePtr::create(command, kdError(KDErrorDeviceNotAvailable)));
        return;
    }
    // The handler keeps the queue alive until the answer has been handled.
    QPointer<VLDeviceCommandManager> guard(this);
    m_device->sendCommand(command, [guard](const KDCommandResponsePtr &response) {
        if (guard)
            guard->didReceiveResponse(response);
    });
}

void VLDeviceCommandManager::popCurrentCommand()
{
    QMutexLocker lock(&m_lock);
    if (!m_currentCmd)
        return;
    m_cmdsToRun.removeAll(m_currentCmd);
    m_currentCmd.reset();
}

void VLDeviceCommandManager::didReceiveResponse(const KDCommandResponsePtr &response)
{
    if (VLDeviceCommandManagerOptionalDelegate *optional = optionalDelegate())
        optional->commandManagerDidReceiveResponse(this, response);
    popCurrentCommand();
    if (commands().isEmpty()) {
        m_isRunning = false;
        if (VLDeviceCommandManagerOptionalDelegate *optional = optionalDelegate())
            optional->commandManagerDidCompleteAllCommands(this);
    } else {
        pingCommandQueue();
    }
}
