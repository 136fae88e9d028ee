#pragma once

#include <cstddef>
#include <cstdint>

// One fuzz target per parser of bytes that come from outside: the service, the device, files on
// disk that another program or an older version wrote. Each is a plain function over a buffer that
// returns 0; a broken invariant stops the process (tinteraFuzzFail), so that libFuzzer keeps the
// input. The same functions run under libFuzzer (make fuzz) and in tintera-fuzz-replay, which
// `make test` runs over the regression corpus in fuzz/regressions/<target name>/.
int tinteraFuzzServiceReply(const uint8_t *data, size_t size);
int tinteraFuzzCxf3Document(const uint8_t *data, size_t size);
int tinteraFuzzPropertyList(const uint8_t *data, size_t size);
int tinteraFuzzDeviceFrames(const uint8_t *data, size_t size);
int tinteraFuzzDeviceAnswers(const uint8_t *data, size_t size);
int tinteraFuzzDeviceSettings(const uint8_t *data, size_t size);
int tinteraFuzzVersionAndDate(const uint8_t *data, size_t size);
int tinteraFuzzResumePackage(const uint8_t *data, size_t size);

struct TinteraFuzzTarget
{
    const char *name; // also the folder of its corpus: "service-reply", "cxf3-document", ...
    int (*function)(const uint8_t *data, size_t size);
};

// Every target, in a fixed order; null-terminated.
const TinteraFuzzTarget *tinteraFuzzTargets();
const TinteraFuzzTarget *tinteraFuzzTargetNamed(const char *name);
