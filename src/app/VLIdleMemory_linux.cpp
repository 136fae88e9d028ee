#include "VLIdleMemory.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

void vlReleaseFreeHeapMemory()
{
#if defined(__GLIBC__)
    // Every arena, not only the main heap's top: the fandeck parse runs on a worker thread.
    malloc_trim(0);
#endif
}
