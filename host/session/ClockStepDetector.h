#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Rvl {

/// Watches, on a thread of its own, for the calendar going back, as by hand or by a first synchronisation.
class CClockStepDetector
{
public:
    using Offset = std::function<std::chrono::nanoseconds()>;

    /// Calls `onStepBack` on its thread, within `interval` of a step by more than 20 ms; what that throws is
    /// dropped. `offset` tells how far the calendar is ahead of the clock that never steps. The clocks are
    /// always the system's own, whatever clock is in force: they are what timers run by.
    explicit CClockStepDetector(std::function<void()> onStepBack,
                                std::chrono::milliseconds interval = std::chrono::milliseconds(100),
                                Offset offset = &systemOffset);
    /// On return no call is under way.
    ~CClockStepDetector();
    CClockStepDetector(const CClockStepDetector&) = delete;
    CClockStepDetector& operator=(const CClockStepDetector&) = delete;

private:
    static std::chrono::nanoseconds systemOffset();
    void watch();

    const std::function<void()> onStepBack_;
    const std::chrono::milliseconds interval_;
    const Offset offset_;
    std::chrono::nanoseconds lastOffset_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace Rvl
