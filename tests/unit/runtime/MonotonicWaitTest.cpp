#include "runtime/MonotonicWait.h"

#include <gtest/gtest.h>

#include <thread>

using Rvl::waitFor;
using Rvl::waitUntil;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

/// What waits, and what notifies.
struct MonotonicWait : testing::Test
{
    std::mutex mutex;
    std::condition_variable changed;
    std::unique_lock<std::mutex> lock{mutex};
    bool isMet = false;
};

} // namespace

TEST_F(MonotonicWait, EndsAtItsMomentAndNotBefore)
{
    const Clock::time_point moment = Clock::now() + milliseconds(60);
    EXPECT_FALSE(waitUntil(changed, lock, moment, [] { return false; }));
    EXPECT_GE(Clock::now(), moment);
    EXPECT_LT(Clock::now(), moment + std::chrono::seconds(10));
    EXPECT_TRUE(lock.owns_lock());
}

TEST_F(MonotonicWait, MomentThatIsOverIsNotWaitedFor)
{
    const Clock::time_point begin = Clock::now();
    waitUntil(changed, lock, begin - std::chrono::hours(1));
    EXPECT_FALSE(waitUntil(changed, lock, begin - std::chrono::hours(1), [] { return false; }));
    EXPECT_TRUE(waitUntil(changed, lock, begin - std::chrono::hours(1), [] { return true; }));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(MonotonicWait, NotificationEndsALongWait)
{
    const Clock::time_point begin = Clock::now();
    std::thread notifier([this] {
        std::this_thread::sleep_for(milliseconds(20));
        const std::lock_guard<std::mutex> changing(mutex);
        isMet = true;
        changed.notify_all();
    });
    EXPECT_TRUE(waitFor(changed, lock, std::chrono::hours(24 * 365), [this] { return isMet; }));
    lock.unlock();
    notifier.join();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10));
}
