#include "platform/rivlink_core/Clock.h"

#include <atomic>

namespace Rvl {

namespace {

class CSystemClock : public IClock
{
public:
    std::chrono::nanoseconds monotonic() const override
    {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
    std::chrono::system_clock::time_point utc() const override { return std::chrono::system_clock::now(); }
};

std::atomic<const IClock*>& replacement()
{
    static std::atomic<const IClock*> clock{nullptr};
    return clock;
}

} // namespace

IClock::~IClock() = default;

const IClock& IClock::current()
{
    static const CSystemClock systemClock;
    const IClock* clock = replacement().load();
    return clock ? *clock : systemClock;
}

void IClock::setCurrent(const IClock* clock)
{
    replacement().store(clock);
}

} // namespace Rvl
