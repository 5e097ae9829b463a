#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Rvl {

// The measures of `--realtime`. Each returns what the system refused, one sentence each with the permission
// that is missing; the other measures are in force.

/// Gives the threads that `start` starts priority over ordinary programs, for their lifetime, and the calling
/// thread a lower real-time priority: it reads the loops' state, and while it holds a loop's lock it must not
/// be preempted by ordinary programs. Exceptions of `start` pass.
///
/// On Linux that is SCHED_FIFO at low real-time priorities, unless the calling thread already has a higher
/// one. On Windows threads inherit no priority: the whole process gets the priority class "high".
std::vector<std::string> raisePriority(const std::function<void()>& start);

/// Gives the calling thread the priority of the thread that called raisePriority().
void raiseOwnPriority();

/// Locks the process's memory in RAM until its end: what it has now, and what it allocates later unless the
/// system limits how much may be locked.
std::vector<std::string> lockMemory();

} // namespace Rvl
