#pragma once

#include "driver/local/controller/common/ControlLoopElement.h"

#include <chrono>
#include <functional>
#include <future>

namespace Rvl::Test {

/// Whether `operation`, called on another thread, waits for `element`'s lock: it must not come back while the
/// lock is held here, and must come back once it is released.
inline bool waitsForLock(const IControlLoopElement& element, const std::function<void()>& operation)
{
    element.lockAccess();
    std::future<void> other = std::async(std::launch::async, operation);
    const bool waited = other.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
    element.unlockAccess();
    other.get();
    return waited;
}

/// Whether `operation`, called on another thread, comes back while `element`'s lock is held here.
inline bool ignoresLock(const IControlLoopElement& element, const std::function<void()>& operation)
{
    element.lockAccess();
    std::future<void> other = std::async(std::launch::async, operation);
    const bool cameBack = other.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    element.unlockAccess();
    other.get();
    return cameBack;
}

/// Whether no thread holds `element`'s lock.
inline bool isUnlocked(const IControlLoopElement& element)
{
    std::future<void> other =
        std::async(std::launch::async, [&] { CControlLoopElementGuard guard(&element); });
    const bool unlocked = other.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    if (!unlocked) {
        element.unlockAccess(); // held by this very thread, or the test is lost anyway
    }
    other.get();
    return unlocked;
}

} // namespace Rvl::Test
