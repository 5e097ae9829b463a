#pragma once

#include "common/LoopSupervision.h"
#include "driver/local/Export.h"

#include <memory>
#include <vector>

namespace Rvl {

class CLocalControllerChannel;

/// Supervises the inputs of all loops behind a local controller channel, the outermost first, following
/// outputs as the channel does.
///
/// Each step of an enabled loop in automatic mode asks the judge first, with the actual value that the step
/// would use, so that no bad value reaches a loop's terms. Loops in manual mode count for nothing.
///
/// - A loop that has not calculated since it was enabled waits, and writes nothing, until the inputs of all
///   loops are good. It then starts as any loop does.
/// - Later on, with the action Hold, a bad input stops its own loop and those above it, which could only
///   wind up; loops below it keep to their set points. With the other actions it stops all loops of the
///   channel. Each of them does so at its own next step.
/// - A loop resumes with its first step that finds its inputs good: a PID loop without a bump
///   (CPIDControlLoop::resume()), a two-level loop with the control value in force, or that from before where
///   it would be inert (CTwoLevelControlLoop::resume()).
///
/// The supervisor must be destroyed before the channel and the judge.
class RIVLINK_LOCAL_EXPORT CLoopSupervisor : public ILoopSupervision
{
public:
    /// The channel must not be enabled yet.
    CLoopSupervisor(CLocalControllerChannel& channel, const IInputCheck& judge,
                    const SBadInputReaction& reaction);
    ~CLoopSupervisor() override;
    // said, as Visual Studio's compiler makes all members of an exported class, and cannot make these
    CLoopSupervisor(const CLoopSupervisor&) = delete;
    CLoopSupervisor& operator=(const CLoopSupervisor&) = delete;

    std::size_t loopCount() const override;
    /// Both throw std::out_of_range for an index that is not below loopCount().
    IIoChannelInterface* inputChannel(std::size_t loop) const override;
    eState state(std::size_t loop) const override;

private:
    class CSupervisedLoop;
    /// Whether a loop has something to act on when its input is bad: otherwise it waits.
    bool hasBegun(std::size_t loop) const;
    bool inputsAreGood(std::size_t loop, bool calculated) const;

    const IInputCheck& check_;
    const SBadInputReaction reaction_;
    std::vector<std::unique_ptr<CSupervisedLoop>> loops_;
};

} // namespace Rvl

/// The SuperviseLoopsFunction of this plug-in (common/LoopSupervision.h): a CLoopSupervisor for a local
/// controller channel, null for every other one. It belongs to the caller.
extern "C" RIVLINK_LOCAL_EXPORT Rvl::ILoopSupervision*
rivlinkSuperviseLoops(Rvl::IIoChannelInterface& channel, const Rvl::IInputCheck& judge,
                      const Rvl::SBadInputReaction& reaction);
