#include "tests/support/CpuTime.h"

#include <stdexcept>

#if defined(_WIN32)
#include <cstdint>
#include <windows.h>
#else
#include <time.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

namespace {

template <class System> double usedTime_s(System system, HANDLE what)
{
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (!system(what, &created, &ended, &kernel, &user)) {
        throw std::runtime_error("the system does not report how much CPU time was used");
    }
    const auto seconds = [](const FILETIME& time) {
        return static_cast<double>((std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime) * 1e-7;
    };
    return seconds(kernel) + seconds(user);
}

} // namespace

double processCpuTime_s()
{
    return usedTime_s(GetProcessTimes, GetCurrentProcess());
}

double threadCpuTime_s()
{
    return usedTime_s(GetThreadTimes, GetCurrentThread());
}

#else

namespace {

double usedTime_s(clockid_t clock)
{
    timespec time{};
    if (clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the system does not report how much CPU time was used");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

double processCpuTime_s()
{
    return usedTime_s(CLOCK_PROCESS_CPUTIME_ID);
}

double threadCpuTime_s()
{
    return usedTime_s(CLOCK_THREAD_CPUTIME_ID);
}

#endif

} // namespace Rvl::Test
