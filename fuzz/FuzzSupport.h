#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

// Set up once per process: an application object (code that posts to the event loop finds one)
// and a data folder of the fuzzer's own, so that nothing a target does reaches the user's.
void tinteraFuzzSetUp();
// Runs what the target left on the event loop (autoreleased values, queued calls).
void tinteraFuzzDrainEvents();
// The input as a byte array of its own (with the terminating NUL every QByteArray has, as bytes
// from a network reply or a file have).
QByteArray tinteraFuzzBytes(const uint8_t *data, size_t size);

// Stops the process: an invariant does not hold for this input.
[[noreturn]] void tinteraFuzzFail(const char *what);

#define TINTERA_FUZZ_CHECK(condition, what)                                                          \
    do {                                                                                           \
        if (!(condition))                                                                          \
            tinteraFuzzFail(what);                                                                 \
    } while (0)
