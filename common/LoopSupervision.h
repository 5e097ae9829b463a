#pragma once

#include <cstddef>

namespace Rvl {

class IIoChannelInterface;

/// What the loops of a channel do while they must not calculate with an actual value.
struct SBadInputReaction
{
    enum eAction
    {
        Hold,    ///< keep the control value
        Disable, ///< write the disabled value of each loop
        Write    ///< write `value` to the innermost loop's output, and hold the loops above it
    };

    eAction action = Hold;
    double value = 0.0; ///< unscaled, as the innermost loop's control value
};

/// Says whether actual values can be relied on. It is asked at every step, on the thread that calculates the
/// loops and with a loop's lock held: it must answer at once, and must not call a loop or its channel.
class IInputCheck
{
public:
    virtual ~IInputCheck() = default;

    /// Whether the channel that a loop reads (0: the outermost loop's) is good at this moment.
    virtual bool isGoodInput(std::size_t loop) const = 0;
    /// Whether a loop may calculate with this actual value.
    virtual bool isGoodValue(double actualValue) const = 0;
};

/// Keeps the loops behind one channel from calculating with bad actual values, for as long as it lives. It
/// must be destroyed before the channel and before its judge; the loops then go on without it.
class ILoopSupervision
{
public:
    enum eState
    {
        Waiting,     ///< has not calculated since it was enabled: no good actual value yet
        Calculating, ///< controls
        Acting,      ///< does what is to be done about a bad actual value
        Idle         ///< disabled or in manual mode: its actual value is of no account
    };

    virtual ~ILoopSupervision() = default;

    /// The number of loops: 1, or more for a cascade.
    virtual std::size_t loopCount() const = 0;
    /// The channel that a loop reads, 0 being the outermost loop; null if its input is not a channel.
    virtual IIoChannelInterface* inputChannel(std::size_t loop) const = 0;
    /// As of the loop's last step. Safe from any thread.
    virtual eState state(std::size_t loop) const = 0;
};

/// A plug-in whose channels are made of loops may export a function of this type and name, with C linkage.
/// It begins a supervision, which belongs to the caller, or returns null for a channel that is not made of
/// the plug-in's loops. The channel must not be enabled yet. A host finds the function by its name at run
/// time; without it, what actual values are worth is the loops' own affair.
using SuperviseLoopsFunction = ILoopSupervision*(IIoChannelInterface& channel, const IInputCheck& judge,
                                                 const SBadInputReaction& reaction);
constexpr const char* superviseLoopsFunctionName = "rivlinkSuperviseLoops";

} // namespace Rvl
