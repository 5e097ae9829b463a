#pragma once

#include "common/Timeline.h"
#include "runtime/Export.h"
#include "runtime/TaskQueue.h"

#include <atomic>

namespace Rvl {

/// Time that passes as fast as it is computed. All workers are carried out by the thread that runs the
/// timeline, one task at a time, ordered by when they are due and then by the order in which they were handed
/// over; a task takes no time. So a run is the same each time, on every system.
///
/// monotonic() starts at 0 and utc() at the moment given. Not for several threads at once, but for
/// requestStop().
class RIVLINK_RUNTIME_EXPORT CVirtualTimeline : public ITimeline
{
public:
    explicit CVirtualTimeline(std::chrono::system_clock::time_point start);
    ~CVirtualTimeline() override;
    CVirtualTimeline(const CVirtualTimeline&) = delete;
    CVirtualTimeline& operator=(const CVirtualTimeline&) = delete;

    std::chrono::nanoseconds monotonic() const override;
    std::chrono::system_clock::time_point utc() const override;
    std::unique_ptr<IWorker> makeWorker(const std::string& name) override;
    void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
              const std::function<bool()>& isTrue) override;

    /// Carries out what is due within the duration, its end included, and then takes time to its end. Returns
    /// early, with time where it is, after requestStop(). What a task throws passes, and the task counts as
    /// done.
    void runFor(std::chrono::nanoseconds duration);
    /// Has runFor() return after the task under way, and every later one at once. From any thread, and from a
    /// signal handler.
    void requestStop() { stopRequested_ = true; }
    bool isStopRequested() const { return stopRequested_; }
    /// How many tasks have been carried out.
    std::uint64_t taskCount() const { return taskCount_; }

private:
    class CVirtualWorker;

    void carryOut(const CTaskQueue::SDue& task);

    const std::chrono::system_clock::time_point start_;
    std::chrono::nanoseconds now_{0};
    CTaskQueue queue_;
    const CVirtualWorker* current_ = nullptr; ///< whose task is under way, the innermost one during a wait
    std::uint64_t taskCount_ = 0;
    std::atomic<bool> stopRequested_{false};
};

} // namespace Rvl
