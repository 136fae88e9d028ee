#pragma once

// The device framework: observer, devices, commands, answers, measurements and the KX value layer.
#include "KDCommand.h"
#include "KDCommandResponse.h"
#include "KDDevice.h"
#include "KDDeviceDirectory.h"
#include "KDDeviceObserver.h"
#include "KDError.h"
#include "KDMeasurement.h"
#include "KDType.h"
#include "KXTypes.h"
