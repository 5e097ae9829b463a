#pragma once

#include "runtime/Timelines.h"
#include "runtime/VirtualTimeline.h"

#include <chrono>

namespace Rvl::Test {

/// A virtual timeline in force for as long as it lives. Time passes in runFor() only. First of what a test
/// declares: devices on it have to be disconnected before its end.
class CVirtualTime : public CVirtualTimeline
{
public:
    CVirtualTime() : CVirtualTimeline(std::chrono::system_clock::time_point()) { setCurrentTimeline(this); }
    ~CVirtualTime() override { setCurrentTimeline(nullptr); }
    CVirtualTime(const CVirtualTime&) = delete;
    CVirtualTime& operator=(const CVirtualTime&) = delete;
};

} // namespace Rvl::Test
