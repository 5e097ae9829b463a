#include "runtime/Timelines.h"

#include "runtime/SystemTimeline.h"

#include <atomic>

namespace Rvl {

namespace {

std::atomic<ITimeline*> replacement{nullptr};

} // namespace

ITimeline& currentTimeline()
{
    static CSystemTimeline systemTimeline;
    ITimeline* const timeline = replacement.load(std::memory_order_acquire);
    return timeline ? *timeline : systemTimeline;
}

void setCurrentTimeline(ITimeline* timeline)
{
    replacement.store(timeline, std::memory_order_release);
}

} // namespace Rvl
