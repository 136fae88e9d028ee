#pragma once

#include "VLError.h"

#include <QString>

// Whether the file is a fandeck the device can use: a CxF3 colour document.
bool devsimIsFandeckDocument(const QString &path, VLError *error);
