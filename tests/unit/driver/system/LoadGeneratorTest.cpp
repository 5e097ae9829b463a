#include "driver/system/LoadGenerator.h"

#include <gmock/gmock.h>

#include <ctime>

using namespace Rvl;
using namespace std::chrono_literals;

namespace {

/// The process's own CPU time per wall time, in cores, over the next half second or so.
double coresInUse()
{
    const std::clock_t cpu = std::clock();
    const auto wall = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(600ms);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - wall;
    return static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC / elapsed.count();
}

} // namespace

TEST(LoadGenerator, DutyIsTheShareOfTheTimeThatAThreadWorks)
{
    CLoadGenerator load;
    load.start(1, 50ms);
    EXPECT_EQ(1U, load.threadCount());
    EXPECT_LT(coresInUse(), 0.1) << "it begins at 0";
    // other programs may keep the thread from its work, but nothing makes it work more
    load.setDuty(50.0);
    const double half = coresInUse();
    EXPECT_GT(half, 0.15);
    EXPECT_LT(half, 0.65);
    load.setDuty(100.0);
    const double full = coresInUse();
    EXPECT_GT(full, 0.3);
    EXPECT_LT(full, 1.15);
    load.setDuty(0.0);
    std::this_thread::sleep_for(100ms); // the period under way ends
    EXPECT_LT(coresInUse(), 0.1);
}

TEST(LoadGenerator, StopEndsThreadsInTheMiddleOfTheirWork)
{
    CLoadGenerator load;
    load.setDuty(100.0);
    load.start(3, 60000ms);
    EXPECT_EQ(3U, load.threadCount());
    const auto begin = std::chrono::steady_clock::now();
    load.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s) << "half of a period";
    EXPECT_EQ(0U, load.threadCount());
    EXPECT_LT(coresInUse(), 0.1);
}

TEST(LoadGenerator, StopWithoutStartDoesNothing)
{
    CLoadGenerator load;
    load.stop();
    EXPECT_EQ(0U, load.threadCount());
}

TEST(LoadGenerator, CanBeStartedAgain)
{
    CLoadGenerator load;
    load.start(2, 10ms);
    load.stop();
    load.start(1, 10ms);
    EXPECT_EQ(1U, load.threadCount());
}

TEST(LoadGenerator, DutyCanBeSetBeforeTheStart)
{
    CLoadGenerator load;
    load.setDuty(30.0);
    EXPECT_EQ(30.0, load.duty());
    load.start(1, 20ms);
    EXPECT_GT(coresInUse(), 0.08);
}
