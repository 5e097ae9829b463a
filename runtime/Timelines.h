#pragma once

#include "common/Timeline.h"
#include "runtime/Export.h"

namespace Rvl {

/// The timeline in force for everything in this process that lives in laboratory time: devices, supervision,
/// observation. The system's unless a program puts another one in its place. Safe from any thread.
RIVLINK_RUNTIME_EXPORT ITimeline& currentTimeline();

/// Puts `timeline` in force, or the system's again if it is null. Not owned: it must outlive its use, and
/// with it every worker that it made. Not while devices are connected.
RIVLINK_RUNTIME_EXPORT void setCurrentTimeline(ITimeline* timeline);

/// Puts a timeline in force for as long as it lives.
class RIVLINK_RUNTIME_EXPORT CTimelineInForce
{
public:
    explicit CTimelineInForce(ITimeline& timeline) { setCurrentTimeline(&timeline); }
    ~CTimelineInForce() { setCurrentTimeline(nullptr); }
    CTimelineInForce(const CTimelineInForce&) = delete;
    CTimelineInForce& operator=(const CTimelineInForce&) = delete;
};

} // namespace Rvl
