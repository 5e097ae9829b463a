#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Rvl {

// What `--realtime` asks of the system. Each returns what the system refused, a sentence each with what would
// make it agree; whatever else was asked for is in force.

/// Has the threads that `start` starts served before those of ordinary programs, for as long as they live,
/// and this thread from now on as well, but after them: it looks at the loops, and must not be kept from
/// letting go of a loop's lock. What `start` throws passes.
///
/// On Linux that is SCHED_FIFO at low real-time priorities, unless this thread already had a higher one. On
/// Windows threads inherit nothing: the whole process gets the priority class "high".
std::vector<std::string> raisePriority(const std::function<void()>& start);

/// Has this thread served like the one that raisePriority() was called on.
void raiseOwnPriority();

/// Keeps the process's memory from being paged out, for good: what it has, and what it gets later unless the
/// system limits how much may be locked.
std::vector<std::string> lockMemory();

} // namespace Rvl
