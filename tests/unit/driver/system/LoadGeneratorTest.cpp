#include "driver/system/LoadGenerator.h"

#include "tests/support/CpuTime.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace Rvl;
using namespace Rvl::Test;
using namespace std::chrono_literals;

namespace {

/// The process's own CPU time per wall time, in cores, over the next half second or so.
double coresInUse()
{
    const double cpu_s = processCpuTime_s();
    const auto wall = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(600ms);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - wall;
    return (processCpuTime_s() - cpu_s) / elapsed.count();
}

/// What the load takes of what one thread that does nothing but work gets beside it, over the next second.
/// Other programs keep both from their work.
double shareOfAThread()
{
    std::atomic<bool> stop{false};
    double worker_s = 0.0;
    const double before_s = processCpuTime_s();
    std::thread worker([&] {
        const double begin_s = threadCpuTime_s();
        while (!stop) {
        }
        worker_s = threadCpuTime_s() - begin_s;
    });
    std::this_thread::sleep_for(1s);
    stop = true;
    worker.join();
    return (processCpuTime_s() - before_s - worker_s) / worker_s;
}

} // namespace

TEST(LoadGenerator, DutyIsTheShareOfTheTimeThatAThreadWorks)
{
    CLoadGenerator load;
    load.start(1, 50ms);
    EXPECT_EQ(1U, load.threadCount());
    EXPECT_LT(coresInUse(), 0.1) << "it begins at 0";
    load.setDuty(50.0);
    EXPECT_LT(coresInUse(), 0.65);
    EXPECT_GT(shareOfAThread(), 0.25);
    load.setDuty(100.0);
    EXPECT_LT(coresInUse(), 1.15);
    EXPECT_GT(shareOfAThread(), 0.6);
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
    EXPECT_GT(shareOfAThread(), 0.1);
}
