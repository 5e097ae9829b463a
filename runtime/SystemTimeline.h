#pragma once

#include "common/Timeline.h"
#include "runtime/Export.h"

namespace Rvl {

/// The system's time. A worker is a thread of its own that sleeps until its next task is due, on the clock
/// that never steps: setting the calendar changes nothing. It takes no file descriptor.
class RIVLINK_RUNTIME_EXPORT CSystemTimeline : public ITimeline
{
public:
    CSystemTimeline() = default;
    ~CSystemTimeline() override;
    CSystemTimeline(const CSystemTimeline&) = delete;
    CSystemTimeline& operator=(const CSystemTimeline&) = delete;

    std::chrono::nanoseconds monotonic() const override;
    std::chrono::system_clock::time_point utc() const override;
    std::unique_ptr<IWorker> makeWorker(const std::string& name) override;
    void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
              const std::function<bool()>& isTrue) override;
};

} // namespace Rvl
