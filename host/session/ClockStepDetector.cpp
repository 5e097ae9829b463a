#include "host/session/ClockStepDetector.h"

#include <utility>

namespace Rvl {

namespace {

/// More than adjusting a clock's speed can make up between two looks, less than any sample time.
constexpr std::chrono::milliseconds smallestStep(20);

} // namespace

CClockStepDetector::CClockStepDetector(std::function<void()> onStepBack, std::chrono::milliseconds interval,
                                       Offset offset)
    : onStepBack_(std::move(onStepBack)), interval_(interval), offset_(std::move(offset)),
      lastOffset_(offset_()), thread_([this] { watch(); })
{}

CClockStepDetector::~CClockStepDetector()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::chrono::nanoseconds CClockStepDetector::systemOffset()
{
    // read around each other: a thread that is put aside between two readings must not look like a step
    const auto before = std::chrono::steady_clock::now().time_since_epoch();
    const std::chrono::nanoseconds calendar = std::chrono::system_clock::now().time_since_epoch();
    const auto after = std::chrono::steady_clock::now().time_since_epoch();
    return after - before < smallestStep / 2 ? calendar - before : systemOffset();
}

void CClockStepDetector::watch()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!changed_.wait_for(lock, interval_, [this] { return ending_; })) {
        const std::chrono::nanoseconds offset = offset_();
        if (std::exchange(lastOffset_, offset) - offset > smallestStep) {
            try {
                onStepBack_();
            } catch (...) {
                // the loops then wait for the calendar, as without a watch
            }
        }
    }
}

} // namespace Rvl
