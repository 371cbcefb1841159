// The two clocks the whole-program benchmarks time with: wall time, and processor time of
// every thread of the process (the software renderer's threads included).
#pragma once

#include <sys/resource.h>  // Required for: getrusage()

#include <chrono>

namespace bench {

inline double processorSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

inline double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace bench
