#include "host/session/ClockStepDetector.h"

#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

struct SWatched
{
    std::atomic<nanoseconds::rep> offset_ns{0};
    std::atomic<int> looks{0};
    std::atomic<int> steps{0};
    CClockStepDetector watch{[this] {
                                 ++steps;
                                 throw std::runtime_error("dropped");
                             },
                             milliseconds(1),
                             [this] {
                                 ++looks;
                                 return nanoseconds(offset_ns.load());
                             }};

    void move(milliseconds by)
    {
        offset_ns += nanoseconds(by).count();
        const int seen = looks;
        // the look under way may still have seen the former offset
        EXPECT_TRUE(eventually([&] { return looks >= seen + 2; }));
    }
};

} // namespace

TEST(ClockStepDetectorTest, StepBackIsToldOnce)
{
    SWatched watched;
    watched.move(milliseconds(-3'600'000));
    watched.move(milliseconds(0));
    EXPECT_TRUE(eventually([&] { return watched.steps == 1; }));
    watched.move(milliseconds(-21));
    EXPECT_TRUE(eventually([&] { return watched.steps == 2; }));
}

TEST(ClockStepDetectorTest, StepForwardAndSmallCorrectionsAreNotTold)
{
    SWatched watched;
    watched.move(milliseconds(3'600'000));
    watched.move(milliseconds(-20));
    watched.move(milliseconds(0));
    EXPECT_EQ(watched.steps, 0);
}

TEST(ClockStepDetectorTest, ClocksOfTheSystemDoNotStepByThemselves)
{
    std::atomic<int> steps{0};
    {
        CClockStepDetector watch([&steps] { ++steps; }, milliseconds(1));
        const auto end = std::chrono::steady_clock::now() + milliseconds(200);
        EXPECT_TRUE(eventually([&] { return std::chrono::steady_clock::now() > end; }));
    }
    EXPECT_EQ(steps, 0);
}

} // namespace Rvl::Test
