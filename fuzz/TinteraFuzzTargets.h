#pragma once

#include <cstddef>
#include <cstdint>

// One fuzz target per parser of bytes that come from outside: the service, the device, files on
// disk that another program or an older version wrote. Each is a plain function over a buffer that
// returns 0; a broken invariant stops the process (tinteraFuzzFail), so that libFuzzer keeps the
// input. The same functions run under libFuzzer (make fuzz) and in tintera-fuzz-replay, which
// `make test` runs over the regression corpus in fuzz/regressions/<target name>/.
// The targets are listed in fuzz/targets.txt, which the build turns into TinteraFuzzTargetList.h.
#define TINTERA_FUZZ_TARGET(name, function) int function(const uint8_t *data, size_t size);
#include "TinteraFuzzTargetList.h"
#undef TINTERA_FUZZ_TARGET

struct TinteraFuzzTarget
{
    const char *name; // also the folder of its corpus: "service-reply", "cxf3-document", ...
    int (*function)(const uint8_t *data, size_t size);
};

// Every target, in the order of fuzz/targets.txt; null-terminated.
const TinteraFuzzTarget *tinteraFuzzTargets();
const TinteraFuzzTarget *tinteraFuzzTargetNamed(const char *name);
