#pragma once

#include "common/LoopGraph.h"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace Rvl {

class CLocalControllerChannel;

/// Watches all loops behind a local controller channel, the outermost first, following outputs as the channel
/// does, and keeps how regularly each one is calculated.
///
/// A period is the time between two successive steps of a loop in one run of the channel's processor, enabled
/// or not. Its error is the period less the sample time that was in force when it began. The time from the
/// last step before a stop to the first step after the next start is no period, however short it is, whereas
/// the longest pause within a run is one and shows as the worst error.
///
/// The actual value is the one that the last step read: nothing is read for the monitor's sake, as a lag
/// element as an input moves with every reading. Of a loop that does not calculate, because it is disabled or
/// in manual mode, it is what the channel announced last, or what was last read from a lag element.
///
/// Nothing is allocated in a step. The monitor must be destroyed before the channel.
class CLoopMonitor
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// The time of the loops' timeline, or of the system's monotonic clock if there is none.
    static std::chrono::steady_clock::time_point now();

    /// `clock` gives the time of each step, on the thread that calculates the loops.
    explicit CLoopMonitor(CLocalControllerChannel& channel, Clock clock = &now);
    ~CLoopMonitor();
    CLoopMonitor(const CLoopMonitor&) = delete;
    CLoopMonitor& operator=(const CLoopMonitor&) = delete;

    std::size_t loopCount() const;
    /// Throws std::out_of_range for an index that is not below loopCount().
    SLoopStatus status(std::size_t index) const;

private:
    class CLoopWatch;
    const Clock clock_;
    std::vector<std::unique_ptr<CLoopWatch>> watches_;
};

} // namespace Rvl
