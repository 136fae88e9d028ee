#pragma once

#include "DevsimMatcher.h"
#include "DevsimStore.h"
#include "HBColor.h"
#include "VLError.h"

#include <QString>

#include <optional>

// Whether the file is a fandeck the device can use: a CxF3 colour document.
bool devsimIsFandeckDocument(const QString &path, VLError *error);

// CIELAB (D65, 10 degree) of a colour: from its last spectrum, else its last CIELAB values.
std::optional<DevsimLab> devsimLabOfColor(const HBColorPtr &color);

// The colours of the device's enabled fandecks, each under its number (or name when it has none).
QList<DevsimCandidate> devsimEnabledFandeckColors(const DevsimStore &store, const QVariantMap &state);

// The matching settings held in the device's state.
DevsimMatchSettings devsimMatchSettings(const QVariantMap &state);
