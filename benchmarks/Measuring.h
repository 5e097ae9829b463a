#pragma once

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// What the benchmarks measure with. Linux only.
namespace Rvl::Benchmark {

inline std::int64_t clockNanoseconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::int64_t{1'000'000'000} * time.tv_sec + time.tv_nsec;
}

/// Of the clock that never steps.
inline std::int64_t now_ns()
{
    return clockNanoseconds(CLOCK_MONOTONIC);
}

/// What the whole process has used so far.
inline std::int64_t processCpu_ns()
{
    return clockNanoseconds(CLOCK_PROCESS_CPUTIME_ID);
}

/// What the calling thread has used so far.
inline std::int64_t threadCpu_ns()
{
    return clockNanoseconds(CLOCK_THREAD_CPUTIME_ID);
}

/// A figure in KiB from a file of /proc, in bytes.
inline std::int64_t processFigure(const char* file, const std::string& name)
{
    std::ifstream stream(file);
    for (std::string word; stream >> word;) {
        if (word == name) {
            std::int64_t kib = 0;
            stream >> kib;
            return kib * 1024;
        }
    }
    return 0;
}

/// Counted now; the usual figure lags behind for each thread.
inline std::int64_t residentBytes()
{
    return processFigure("/proc/self/smaps_rollup", "Rss:");
}

/// From here on peakResidentBytes() begins anew.
inline void forgetPeak()
{
    std::ofstream("/proc/self/clear_refs") << 5 << std::flush;
}

inline std::int64_t peakResidentBytes()
{
    return processFigure("/proc/self/status", "VmHWM:");
}

inline std::int64_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

inline void raiseDescriptorLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// The value that so large a share of the values does not exceed; 0 without any.
inline double quantile(std::vector<std::int32_t>& values, double share)
{
    if (values.empty()) {
        return 0.0;
    }
    const auto place =
        std::min(static_cast<std::size_t>(share * static_cast<double>(values.size())), values.size() - 1);
    const auto nth = values.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

} // namespace Rvl::Benchmark
