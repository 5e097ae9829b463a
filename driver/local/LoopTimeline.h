#pragma once

#include "driver/local/Export.h"

namespace Rvl {

class ITimeline;

/// The timeline that loops take their time from; null, which it is at first, for the system's calendar.
RIVLINK_LOCAL_EXPORT ITimeline* loopTimeline();

/// Puts another one in force. No loop may be running. It is not owned, and must outlive its use.
RIVLINK_LOCAL_EXPORT void setLoopTimeline(ITimeline* timeline);

} // namespace Rvl
