/// Preloaded into a program: its calendar goes by RIVLINK_TEST_CLOCK_STEP_S seconds wrong once the file
/// exists that RIVLINK_TEST_CLOCK_STEP_WHEN names. The clock that never steps is left alone.
#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

long step_s()
{
    static const char* const seconds = std::getenv("RIVLINK_TEST_CLOCK_STEP_S");
    static const char* const when = std::getenv("RIVLINK_TEST_CLOCK_STEP_WHEN");
    static const long step = seconds ? std::strtol(seconds, nullptr, 10) : 0;
    return step != 0 && when && access(when, F_OK) == 0 ? step : 0;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t id, timespec* time) noexcept
{
    using Function = int (*)(clockid_t, timespec*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = original(id, time);
    if (id == CLOCK_REALTIME) {
        time->tv_sec += step_s();
    }
    return result;
}

extern "C" __attribute__((visibility("default"))) time_t time(time_t* result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* time, void* zone) noexcept
{
    using Function = int (*)(timeval*, void*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "gettimeofday"));
    const int result = original(time, zone);
    time->tv_sec += step_s();
    return result;
}
