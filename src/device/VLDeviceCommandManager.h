#pragma once

#include "KDDevice.h"

#include <QList>
#include <QMutex>
#include <QObject>

class VLDeviceCommandManager;

// Told before each command goes out; the optional callbacks live in the interface below.
class VLDeviceCommandManagerDelegate
{
public:
    virtual ~VLDeviceCommandManagerDelegate() = default;
    virtual void commandManagerWillSendCommand(VLDeviceCommandManager *manager, const KDCommandPtr &command) = 0;
};

// Implemented by delegates that want to hear answers and the end of the queue.
class VLDeviceCommandManagerOptionalDelegate
{
public:
    virtual ~VLDeviceCommandManagerOptionalDelegate() = default;
    virtual void commandManagerDidReceiveResponse(VLDeviceCommandManager *manager,
                                                  const KDCommandResponsePtr &response) = 0;
    virtual void commandManagerDidCompleteAllCommands(VLDeviceCommandManager *manager) = 0;
};

// A first-in, first-out queue of commands for one device, sent strictly one at a time. The command
// in flight stays at the head of the list until its answer arrives. Answers after a pause or a
// cancel are still passed on, and may report completion once more: delegates must tolerate that.
class VLDeviceCommandManager : public QObject
{
    Q_OBJECT
public:
    explicit VLDeviceCommandManager(QObject *parent = nullptr);
    VLDeviceCommandManager(const KDDevicePtr &device, QObject *parent = nullptr);
    ~VLDeviceCommandManager() override;

    KDDevicePtr device() const { return m_device; }
    VLDeviceCommandManagerDelegate *delegate() const { return m_delegate; }
    void setDelegate(VLDeviceCommandManagerDelegate *delegate) { m_delegate = delegate; }
    bool isRunning() const { return m_isRunning; }
    KDCommandPtr currentCommand() const;
    QList<KDCommandPtr> commands() const;

    void addCommand(const KDCommandPtr &command);
    void start();
    void pause();
    void cancel();

    void pingCommandQueue();
    void popCurrentCommand();

private:
    void didReceiveResponse(const KDCommandResponsePtr &response);
    VLDeviceCommandManagerOptionalDelegate *optionalDelegate() const;

    KDDevicePtr m_device;
    mutable QRecursiveMutex m_lock;
    QList<KDCommandPtr> m_cmdsToRun;
    KDCommandPtr m_currentCmd;
    VLDeviceCommandManagerDelegate *m_delegate = nullptr;
    bool m_isRunning = false;
};
