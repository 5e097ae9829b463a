#pragma once

#include "driver/local/Export.h"

namespace Rvl {

/// Receives the actual value of the loops to which it was added, in each of their steps.
class RIVLINK_LOCAL_EXPORT IControlLoopValueListener
{
public:
    virtual ~IControlLoopValueListener();

    /// Called on the thread that calculates the loop, with the loop's lock held: must not wait for another
    /// thread that needs the loop.
    virtual void onActualValue(double actualValue) = 0;
};

} // namespace Rvl
