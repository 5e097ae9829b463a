#pragma once

#include <functional>

namespace Rvl {

/// Does something before an exception that nobody catches ends the process, on whichever thread it happens.
/// Only one at a time. The process ends as it would have, at the latest ten seconds later.
class CTerminateHandler
{
public:
    /// `action` runs on the thread that is about to end the process, while all others run on. What it throws
    /// is dropped.
    explicit CTerminateHandler(std::function<void()> action);
    /// Waits, for the rest of the process's life, if the action has begun.
    ~CTerminateHandler();
    CTerminateHandler(const CTerminateHandler&) = delete;
    CTerminateHandler& operator=(const CTerminateHandler&) = delete;
};

} // namespace Rvl
