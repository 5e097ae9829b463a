#pragma once

#include "driver/local/Export.h"

namespace Rvl {

class ITimeline;

/// The timeline that loops take their time from; null, which it is at first, for the system's clocks: the
/// calendar for the processor's timers, the monotonic one for the lag element and for statistics.
RIVLINK_LOCAL_EXPORT ITimeline* loopTimeline();

/// Puts another one in force. No loop may be running, and a lag element keeps the time that it has read. It
/// is not owned, and must outlive its use.
RIVLINK_LOCAL_EXPORT void setLoopTimeline(ITimeline* timeline);

} // namespace Rvl
