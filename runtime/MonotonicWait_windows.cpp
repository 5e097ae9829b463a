#include "runtime/MonotonicWait.h"

#include <algorithm>
#include <ctime>
#include <pthread.h>

namespace Rvl {

void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
               std::chrono::steady_clock::time_point moment)
{
    using namespace std::chrono;
    // in days, as the wait is one in milliseconds of 32 bits
    const nanoseconds left = std::clamp<nanoseconds>(moment - steady_clock::now(), nanoseconds(0), hours(24));
    const seconds whole = duration_cast<seconds>(left);
    timespec relative = {};
    relative.tv_sec = static_cast<decltype(relative.tv_sec)>(whole.count());
    relative.tv_nsec = static_cast<decltype(relative.tv_nsec)>((left - whole).count());
    pthread_cond_timedwait_relative_np(changed.native_handle(), lock.mutex()->native_handle(), &relative);
}

} // namespace Rvl
