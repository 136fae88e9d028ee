#include "VLIdleMemory.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

void vlPrepareHeapForIdleRelease()
{
#if defined(__GLIBC__)
    // glibc raises the trim threshold each time it frees a large block it had mapped (a fandeck
    // file read whole), up to twice that block; and malloc_trim never shrinks the free top of a
    // worker thread's heap, only the heap itself does when a free leaves more than that threshold
    // there. So each heap a fandeck parse ran in kept a megabyte or more at rest. Setting the
    // threshold fixes it at the default and stops the raising.
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
#endif
}

void vlReleaseFreeHeapMemory()
{
#if defined(__GLIBC__)
    // Every arena, not only the main heap's top: the fandeck parse runs on a worker thread.
    malloc_trim(0);
#endif
}
