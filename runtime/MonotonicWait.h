#pragma once

#include "common/ThreadSafety.h"
#include "runtime/Export.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Rvl {

/// Waits for a notification, at most until the moment; may return sooner without either, as every such wait.
/// Unlike the standard library's own it is by the monotonic clock on each system: on Windows that one goes by
/// the calendar, so setting this back by an hour while a wait begins makes the wait an hour longer.
RIVLINK_RUNTIME_EXPORT void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                                      std::chrono::steady_clock::time_point moment);

/// Waits for the condition, at most until the moment; returns whether it is met. The condition may require
/// the lock's mutex, which the check of thread safety does not see here.
template <typename TCondition>
bool waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
               std::chrono::steady_clock::time_point moment, TCondition condition) RVL_NO_THREAD_SAFETY_CHECK
{
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= moment) {
            return false;
        }
        waitUntil(changed, lock, moment);
    }
    return true;
}

/// The same, at most for that long.
template <typename TDuration, typename TCondition>
bool waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, TDuration limit,
             TCondition condition)
{
    return waitUntil(changed, lock, std::chrono::steady_clock::now() + limit, condition);
}

} // namespace Rvl
