#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Rvl {

class IIoChannelInterface;

/// How one control loop is doing. Values are those of the loop, unscaled.
struct SLoopStatus
{
    std::string typeName;  ///< the loop's own type name
    int sampleTime_ms = 0; ///< the sample time in force
    bool enabled = false;  ///< the loop's switch
    double setPoint = 0.0;
    double actualValue = 0.0; ///< as of the last step; NaN before the first
    double controlValue = 0.0;
    std::uint64_t steps = 0;          ///< steps since the observation began
    double meanPeriodError_ms = 0.0;  ///< mean of (period - sample time) over all periods; 0 without one
    double worstPeriodError_ms = 0.0; ///< the (period - sample time) of the largest magnitude
    std::uint64_t overruns = 0; ///< periods of twice the sample time or more: at least one step was lost
};

/// Watches the loops behind one channel for as long as it lives. It must be destroyed before the channel.
class ILoopObservation
{
public:
    virtual ~ILoopObservation() = default;

    /// The number of loops: 1, or more for a cascade.
    virtual std::size_t loopCount() const = 0;
    /// The status of one loop, 0 being the outermost. Safe from any thread.
    virtual SLoopStatus status(std::size_t index) const = 0;
};

/// A plug-in whose channels are made of loops may export a function of this type and name, with C linkage.
/// It begins an observation, which belongs to the caller, or returns null for a channel that is not made of
/// the plug-in's loops. A host finds the function by its name at run time and does without if it is missing:
/// statistics are a courtesy, no part of what makes a channel a channel.
using ObserveLoopsFunction = ILoopObservation*(IIoChannelInterface& channel);
constexpr const char* observeLoopsFunctionName = "rivlinkObserveLoops";

} // namespace Rvl
