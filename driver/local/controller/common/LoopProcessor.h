#pragma once

#include "driver/local/Export.h"

#include <memory>

namespace Rvl {

class IControlLoop;

/// Calculates control loops, each on its own sample time.
class RIVLINK_LOCAL_EXPORT ILoopProcessor
{
public:
    ILoopProcessor();
    virtual ~ILoopProcessor();
    ILoopProcessor(const ILoopProcessor&) = delete;
    ILoopProcessor& operator=(const ILoopProcessor&) = delete;

    /// Adds a loop to those that the next runControlLoops() starts.
    virtual void addControlLoop(std::shared_ptr<IControlLoop> loop) = 0;
    /// Starts the calculation of every loop.
    virtual void runControlLoops() = 0;
    /// Stops the calculation of every loop; none is calculated any more when this returns.
    virtual void stopControlLoops() = 0;
    /// Whether the loops were started and not yet stopped.
    virtual bool processorActive() = 0;
};

} // namespace Rvl
