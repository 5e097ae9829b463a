#include "driver/local/LoopTimeline.h"

#include <atomic>

namespace Rvl {

namespace {

std::atomic<ITimeline*> timelineInForce{nullptr};

} // namespace

ITimeline* loopTimeline()
{
    return timelineInForce;
}

void setLoopTimeline(ITimeline* timeline)
{
    timelineInForce = timeline;
}

} // namespace Rvl
