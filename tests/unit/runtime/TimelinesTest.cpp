#include "runtime/Timelines.h"

#include "runtime/VirtualTimeline.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(Timelines, TheSystemsIsInForceUnlessAnotherIs)
{
    using namespace std::chrono_literals;
    ITimeline& system = currentTimeline();
    EXPECT_GT(system.monotonic(), 0ns);
    CVirtualTimeline other{std::chrono::system_clock::time_point()};
    setCurrentTimeline(&other);
    EXPECT_EQ(&other, &currentTimeline());
    setCurrentTimeline(nullptr);
    EXPECT_EQ(&system, &currentTimeline());
}

} // namespace Rvl::Test
