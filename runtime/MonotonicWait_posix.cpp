#include "runtime/MonotonicWait.h"

namespace Rvl {

void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
               std::chrono::steady_clock::time_point moment)
{
    changed.wait_until(lock, moment);
}

} // namespace Rvl
