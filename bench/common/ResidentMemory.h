#pragma once

// Resident memory of this process, for the benchmarks that report how much a transfer grows it.

#include <QtGlobal>

#include <fstream>
#include <string>

namespace bench {

// A field of /proc/self/status in bytes: "VmRSS" (now) or "VmHWM" (peak since the last reset).
inline qint64 residentBytes(const char *field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string prefix = std::string(field) + ":";
    while (std::getline(status, line)) {
        if (line.rfind(prefix, 0) == 0)
            return std::stoll(line.substr(prefix.size())) * 1024;
    }
    return 0;
}

// Starts a new peak: VmHWM drops to the current resident size.
inline void resetPeakResident()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

} // namespace bench
