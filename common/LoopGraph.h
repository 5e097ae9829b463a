#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class IIoChannelInterface;
class ITimeline;

/// How one control loop is doing. Values are those of the loop, unscaled.
struct SLoopStatus
{
    /// Where the control value lies in the range of a PID loop's parameters; one beyond a limit, as manual
    /// mode and the disabled value may have it, counts as at that limit. Free for other loops.
    enum eSaturation
    {
        Free,
        AtMinimum,
        AtMaximum
    };

    std::string typeName;  ///< the loop's own type name
    int sampleTime_ms = 0; ///< the sample time in force
    bool enabled = false;  ///< the loop's switch
    bool manual = false;   ///< its control value is written from outside
    double setPoint = 0.0;
    /// As of the last step; of a loop that does not calculate, what its input announced last. NaN if neither
    /// is known. Nothing is read for it.
    double actualValue = 0.0;
    double controlValue = 0.0;
    double proportional = 0.0; ///< P of a PID loop's last step; like I and D NaN for other loops
    double integral = 0.0;     ///< I after the last step, with which the next one begins
    double derivative = 0.0;   ///< D of the last step
    eSaturation saturation = Free;
    std::uint64_t steps = 0;          ///< steps since the graph was made
    double meanPeriodError_ms = 0.0;  ///< mean of (period - sample time) over all periods; 0 without one
    double worstPeriodError_ms = 0.0; ///< the (period - sample time) of the largest magnitude
    /// Time since the last step, or since it was first seen that the loop is to step; 0 while it is not.
    double sinceStep_ms = 0.0;
    std::uint64_t overruns = 0; ///< periods of twice the sample time or more: at least one step was lost
};

/// A loop's parameter set: the numbers that a configuration's parameter element has as attributes, by their
/// names there, in the order of the type's description.
struct SLoopParameters
{
    struct SValue
    {
        std::string key;
        double value = 0.0;
    };

    std::string name;         ///< of the set
    bool isProtected = false; ///< may not be changed; a PID loop does not keep its configuration's mark
    std::vector<SValue> values;
};

/// What a loop keeps between its steps, its set point included, for a loop of the same type and with the
/// same parameters to go on from. What the numbers mean is up to the loop; as numbers they can be kept as
/// text.
struct SLoopMemory
{
    std::string typeName;
    std::vector<double> values;
};

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

/// Says whether actual values can be relied on. Called at each step, on the thread that calculates the loops
/// and with a loop's lock held: it must not block, and must not call a loop or its channel.
class IInputCheck
{
public:
    virtual ~IInputCheck() = default;

    /// Whether the channel that a loop reads (0: the outermost loop's) is good at this moment.
    virtual bool isGoodInput(std::size_t loop) const = 0;
    /// Whether a loop may calculate with this actual value.
    virtual bool isGoodValue(double actualValue) const = 0;
};

/// Keeps the loops of a graph from calculating with bad actual values, for as long as it lives. It must be
/// destroyed before its graph and before its check; the loops then go on without it.
class ILoopSupervision
{
public:
    enum eState
    {
        Waiting,     ///< has not calculated since it was enabled: no good actual value yet
        Calculating, ///< controls
        Acting,      ///< does what is to be done about a bad actual value
        Idle,        ///< disabled or in manual mode: its actual value is of no account
        Failed       ///< has calculated a control value that is not a number, or another loop of the graph
                     ///< has: writes its disabled value until it is disabled
    };

    virtual ~ILoopSupervision() = default;

    /// As of the loop's last step. Safe from any thread.
    virtual eState state(std::size_t loop) const = 0;
};

/// The loops behind one channel: 0 is the outermost one, whose values, scaled, are those of the channel, and
/// each of the others is the output of the one before it. A host's only
/// access to the loops. It must be destroyed before the channel. All operations are safe
/// from any thread, and take a loop's lock one at a time; an index that is not below loopCount() throws
/// std::out_of_range.
class ILoopGraph
{
public:
    virtual ~ILoopGraph() = default;

    /// The number of loops: 1, or more for a cascade.
    virtual std::size_t loopCount() const = 0;
    virtual SLoopStatus status(std::size_t loop) const = 0;
    /// The channel that a loop reads; null if its input is not a channel.
    virtual IIoChannelInterface* inputChannel(std::size_t loop) const = 0;

    virtual SLoopParameters parameters(std::size_t loop) const = 0;
    /// Puts other values in force, from the loop's next step on: those of the keys that are given, in any
    /// order. Whether the control value stays without a bump is the loop's own rule; "Setpoint" is the one to
    /// begin with, and leaves that in force. All or nothing: throws std::invalid_argument, and changes
    /// nothing, for a key that the loop does not have or that is given twice, a value that is not finite, or
    /// a set that is protected. Ranges are not checked here: they are the type description's.
    virtual void setParameters(std::size_t loop, const std::vector<SLoopParameters::SValue>& values) = 0;

    virtual SLoopMemory save(std::size_t loop) const = 0;
    /// Has the loop go on from what save() gave, to the bit. To be called after the loop was enabled, which
    /// begins a PID loop's terms anew. An enabled loop in automatic mode writes the control value at once; in
    /// every other state the control value stays as it is. Throws std::invalid_argument, and changes nothing,
    /// if the memory is of another type or not all of it is finite.
    virtual void restore(std::size_t loop, const SLoopMemory& memory) = 0;
    /// Switches the channel between manual and automatic mode and keeps the control value in force: manual
    /// mode begins with the present one as its manual control value; automatic mode goes on from the manual
    /// one, as far as the outermost loop can (a PID loop with an integral action: exactly, within its limits;
    /// a two-level loop that is at neither level: from the nearer one). Nothing happens in the mode that is
    /// in force. What an output throws passes.
    virtual void handOver(bool manual) = 0;

    /// Begins a supervision, of which a channel has one at a time; null if the loops cannot be supervised.
    /// The channel must not be enabled yet.
    virtual std::unique_ptr<ILoopSupervision> supervise(const IInputCheck& check,
                                                        const SBadInputReaction& reaction) = 0;

    /// Has the loops begin no further step, without waiting for one under way. A host calls it for every
    /// channel before it emits aboutToDisconnect: the channels' slots, which stop one after another, then
    /// find the loops ended or ending side by side. Until such a stop the channel counts as running.
    virtual void beginStop() = 0;
};

/// What a plug-in whose channels are made of loops offers to a host, beyond what the framework requires: it
/// may export one function of type LoopsFunction with the name loopsFunctionName and C linkage. A host finds
/// it by its name at run time, and does without if it is missing: its channels then are channels like any
/// other. A plug-in that offers another version is refused.
struct SLoops
{
    static constexpr int currentVersion = 2;

    int version; ///< of this structure and of the interfaces above; read before anything else
    /// The loops behind the channel, which belong to the caller; null for a channel that is not made of the
    /// plug-in's loops.
    ILoopGraph* (*graphOf)(IIoChannelInterface& channel);
    /// Has loops that are started from now on take their time, and their threads, from the timeline; from the
    /// system's calendar and threads of their own if it is null. To be called before a
    /// channel of the plug-in is created: what is there keeps the time that it has read.
    void (*useTimeline)(ITimeline* timeline);
};
using LoopsFunction = const SLoops*();
constexpr const char* loopsFunctionName = "rivlinkLoops";

} // namespace Rvl
