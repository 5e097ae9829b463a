#pragma once

#include "common/LoopGraph.h"

#include <memory>
#include <vector>

namespace Rvl {

class IControlLoop;

/// Supervises the inputs of the loops of a cascade.
///
/// Each step of an enabled loop in automatic mode consults the check first, with the actual value that the
/// step would use, so that no bad value reaches a loop's terms. Loops in manual mode count for nothing.
///
/// - A loop that has not calculated since it was enabled waits, and writes nothing, until the inputs of all
///   loops are good. It then starts as any loop does.
/// - Later on, with the action Hold, a bad input stops its own loop and those above it, which could only
///   wind up; loops below it keep to their set points. With the other actions it stops all loops of the
///   channel. Each of them does so at its own next step.
/// - A loop resumes with its first step that finds its inputs good: a PID loop without a bump
///   (CPIDControlLoop::resume()), a two-level loop with the control value in force, or that from before where
///   it would be inert (CTwoLevelControlLoop::resume()).
/// - A step that calculates a control value that is not a number ends the control: its loop writes its
///   disabled value within the step, the others do so at their next steps, until the channel is disabled.
///
/// The supervisor must be destroyed before the check.
class CLoopSupervisor : public ILoopSupervision
{
public:
    /// The loops, the outermost first, must not be enabled yet.
    CLoopSupervisor(const std::vector<std::shared_ptr<IControlLoop>>& loops, const IInputCheck& check,
                    const SBadInputReaction& reaction);
    ~CLoopSupervisor() override;
    CLoopSupervisor(const CLoopSupervisor&) = delete;
    CLoopSupervisor& operator=(const CLoopSupervisor&) = delete;

    /// Throws std::out_of_range for an index that is not below the number of loops.
    eState state(std::size_t loop) const override;

private:
    class CSupervisedLoop;
    /// Whether a loop has something to act on when its input is bad: otherwise it waits.
    bool hasBegun(std::size_t loop) const;
    bool inputsAreGood(std::size_t loop, bool calculated) const;
    /// Whether a loop has calculated a control value that is not a number since it was enabled.
    bool hasFailed() const;

    const IInputCheck& check_;
    const SBadInputReaction reaction_;
    std::vector<std::unique_ptr<CSupervisedLoop>> loops_;
};

} // namespace Rvl
