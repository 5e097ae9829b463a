#include "host/process/PeriodicTimer.h"

#include <utility>

namespace Rvl {

CPeriodicTimer::CPeriodicTimer(const ITimeline& timeline, IWorker& worker, std::chrono::milliseconds interval,
                               std::function<bool()> call)
    : timeline_(timeline), worker_(worker), interval_(interval), call_(std::move(call)),
      due_(timeline.monotonic())
{
    wait();
}

CPeriodicTimer::~CPeriodicTimer()
{
    worker_.cancel(ticket_);
}

void CPeriodicTimer::wait()
{
    ticket_ = worker_.after(due_ - timeline_.monotonic(), [this] {
        if (!call_()) {
            return;
        }
        const std::chrono::nanoseconds now = timeline_.monotonic();
        due_ += interval_;
        if (due_ <= now) {
            due_ += interval_ * ((now - due_) / interval_ + 1);
        }
        wait();
    });
}

} // namespace Rvl
