#pragma once

#include "driver/local/Export.h"

namespace Rvl {

/// Decides at each step of a loop whether it may calculate. Called with the loop's lock held, on the thread
/// that steps or switches the loop.
class RIVLINK_LOCAL_EXPORT ILoopStepGuard
{
public:
    ILoopStepGuard();
    virtual ~ILoopStepGuard();
    ILoopStepGuard(const ILoopStepGuard&) = delete;
    ILoopStepGuard& operator=(const ILoopStepGuard&) = delete;

    /// An enabled loop in automatic mode is about to read the actual value of its next step. Its source is to
    /// be checked now: a value that comes in between is then newer than the check, and not older.
    virtual void beforeReading() = 0;
    /// The step, with the actual value that it would calculate with.
    virtual bool mayCalculate(double actualValue) = 0;
    /// Whether a value may be calculated with that a step reads after the one above, as some loops do.
    virtual bool isGoodValue(double actualValue) const = 0;
    /// A step of a loop that is disabled or in manual mode.
    virtual void passedStep() = 0;
    /// The loop, enabled and in manual mode, writes its fixed control value.
    virtual void wroteFixedValue() = 0;
    /// The loop was enabled or disabled.
    virtual void switched() = 0;
};

} // namespace Rvl
