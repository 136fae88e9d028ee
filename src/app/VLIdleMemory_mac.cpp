#include "VLIdleMemory.h"

#include <malloc/malloc.h>

void vlPrepareHeapForIdleRelease() {}

void vlReleaseFreeHeapMemory()
{
    // All zones, as much as they can give.
    malloc_zone_pressure_relief(nullptr, 0);
}
