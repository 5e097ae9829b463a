#pragma once

namespace Rvl {

/// Has timed waits of the calling thread end when they are due. On Linux a thread's waits may otherwise end
/// up to 50 us late, to be served together with others'. Without effect on Windows, where the timer's
/// resolution is the process's.
void minimizeTimerSlack();

} // namespace Rvl
