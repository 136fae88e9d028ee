#pragma once

#include "VLStatusItem.h"

#include <QString>

#include <memory>

// The platform's own status item (tray icon on Linux, menu-bar item on macOS).
std::shared_ptr<VLStatusItem> vlCreateSystemStatusItem(const QString &applicationTitle);
