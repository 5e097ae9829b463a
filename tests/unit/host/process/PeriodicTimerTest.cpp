#include "host/process/PeriodicTimer.h"

#include "tests/support/VirtualTime.h"

#include <gmock/gmock.h>

#include <vector>

namespace Rvl::Test {

using std::chrono::milliseconds;
using testing::ElementsAre;

TEST(PeriodicTimerTest, CallsAtOnceAndThenAtItsInterval)
{
    CVirtualTime time;
    const auto worker = time.makeWorker("timer");
    std::vector<std::chrono::nanoseconds> calls;
    {
        const CPeriodicTimer timer(time, *worker, milliseconds(100), [&] {
            calls.push_back(time.monotonic());
            return true;
        });
        time.runFor(milliseconds(250));
    }
    time.runFor(milliseconds(250));
    EXPECT_THAT(calls, ElementsAre(milliseconds(0), milliseconds(100), milliseconds(200)))
        << "none after its end";
}

TEST(PeriodicTimerTest, CallsThatWereMissedAreLeftOut)
{
    CVirtualTime time;
    const auto worker = time.makeWorker("timer");
    std::vector<std::chrono::nanoseconds> calls;
    const CPeriodicTimer timer(time, *worker, milliseconds(100), [&] {
        calls.push_back(time.monotonic());
        if (calls.size() == 2) {
            time.runFor(milliseconds(220)); // the worker is busy
        }
        return true;
    });
    time.runFor(milliseconds(450));
    EXPECT_THAT(calls, ElementsAre(milliseconds(0), milliseconds(100), milliseconds(400)));
}

TEST(PeriodicTimerTest, EndsWhenTheFunctionSaysSo)
{
    CVirtualTime time;
    const auto worker = time.makeWorker("timer");
    int calls = 0;
    const CPeriodicTimer timer(time, *worker, milliseconds(100), [&] { return ++calls < 2; });
    time.runFor(milliseconds(1000));
    EXPECT_EQ(2, calls);
}

} // namespace Rvl::Test
