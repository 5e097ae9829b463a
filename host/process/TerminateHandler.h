#pragma once

#include "host/process/ShutdownLimits.h"

#include <functional>

namespace Rvl {

/// Carries out an action before an uncaught exception ends the process, on whichever thread it happens. One
/// at a time in a process. The process then ends as it would have without it, at the latest after
/// SShutdownLimits::terminateAction.
class CTerminateHandler
{
public:
    /// `action` runs on the thread that is about to end the process, while all others run on. What it throws
    /// is dropped.
    explicit CTerminateHandler(std::function<void()> action, const SShutdownLimits& limits = {});
    /// Does not return any more once the action has begun.
    ~CTerminateHandler();
    CTerminateHandler(const CTerminateHandler&) = delete;
    CTerminateHandler& operator=(const CTerminateHandler&) = delete;
};

} // namespace Rvl
