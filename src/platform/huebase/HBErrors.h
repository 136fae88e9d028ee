#pragma once

#include "HBConstants.h"

#include <VLError.h>

// Fills *error (when the caller asked for one) and returns false, so failures read as one line.
inline bool hbFail(VLError *error, HBErrorCode code, const QString &description)
{
    if (error)
        *error = VLError(HBErrorDomain, code, description);
    return false;
}
