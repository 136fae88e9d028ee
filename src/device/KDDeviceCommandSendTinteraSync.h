#pragma once

#include "KDDevice.h"

#include <QPointer>

#include <type_traits>

// A single command sent outside any queue, its answer delivered to a method of a target object.
namespace KDDeviceCommandSendTinteraSync {

template <typename Target>
using ResponseMethod = void (Target::*)(const KDDevicePtr &device, const KDCommandResponsePtr &response);

// The answer reaches `method` on the main thread with the device, or a null device when the device
// object has gone meanwhile. A target that is a QObject and has been destroyed hears nothing.
template <typename Target>
void sendCommandDelegateResponseSelector(const KDDevicePtr &device, const KDCommandPtr &command, Target *target,
                                         ResponseMethod<Target> method)
{
    const KDDeviceWeakPtr weakDevice = device;
    if constexpr (std::is_base_of_v<QObject, Target>) {
        const QPointer<Target> guard(target);
        device->sendCommand(command, [weakDevice, guard, method](const KDCommandResponsePtr &response) {
            if (guard)
                (guard.data()->*method)(weakDevice.toStrongRef(), response);
        });
    } else {
        device->sendCommand(command, [weakDevice, target, method](const KDCommandResponsePtr &response) {
            (target->*method)(weakDevice.toStrongRef(), response);
        });
    }
}

} // namespace KDDeviceCommandSendTinteraSync
