// The libFuzzer entry of one target, chosen when the program is built (TINTERA_FUZZ_FUNCTION).

#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    tinteraFuzzSetUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return TINTERA_FUZZ_FUNCTION(data, size);
}
