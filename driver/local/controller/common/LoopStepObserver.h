#pragma once

#include "driver/local/Export.h"

namespace Rvl {

/// Is called at each step of a loop, with the loop's lock held, on the thread that steps it. Other than an
/// actual-value listener it causes no reading of the input, and so changes nothing.
class RIVLINK_LOCAL_EXPORT ILoopStepObserver
{
public:
    ILoopStepObserver();
    virtual ~ILoopStepObserver();
    ILoopStepObserver(const ILoopStepObserver&) = delete;
    ILoopStepObserver& operator=(const ILoopStepObserver&) = delete;

    /// The step is done but for the loop's listeners. `automatic` is false for a loop that is disabled or in
    /// manual mode, which has read and calculated nothing. No observer may be added or removed meanwhile.
    virtual void onStep(bool automatic) = 0;
};

} // namespace Rvl
