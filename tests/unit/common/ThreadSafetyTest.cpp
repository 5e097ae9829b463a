#include "common/ThreadSafety.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>

namespace Rvl {
namespace {

/// Whether another thread can lock the mutex now.
bool isFree(CMutex& mutex)
{
    return std::async(std::launch::async,
                      [&mutex] {
                          if (!mutex.try_lock()) {
                              return false;
                          }
                          mutex.unlock();
                          return true;
                      })
        .get();
}

TEST(MutexTest, LockKeepsOtherThreadsOut)
{
    CMutex mutex;
    mutex.lock();
    EXPECT_FALSE(isFree(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLockTest, HoldsTheMutexForItsScope)
{
    CMutex mutex;
    {
        const CMutexLock lock(mutex);
        EXPECT_FALSE(isFree(mutex));
    }
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLockTest, CanBeUnlockedInBetween)
{
    CMutex mutex;
    {
        CMutexLock lock(mutex);
        lock.unlock();
        EXPECT_TRUE(isFree(mutex));
        lock.lock();
        EXPECT_FALSE(isFree(mutex));
        lock.unlock();
    }
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLockTest, ReleasesTheMutexDuringAWait)
{
    struct SShared
    {
        CMutex mutex;
        std::condition_variable changed;
        bool set RVL_GUARDED_BY(mutex) = false;
    } shared;

    CMutexLock lock(shared.mutex);
    const auto setter = std::async(std::launch::async, [&shared] {
        const CMutexLock inner(shared.mutex);
        shared.set = true;
        shared.changed.notify_all();
    });
    EXPECT_TRUE(shared.changed.wait_for(lock.native(), std::chrono::seconds(10),
                                        [&shared]() RVL_REQUIRES(shared.mutex) { return shared.set; }));
    EXPECT_FALSE(isFree(shared.mutex));
}

} // namespace
} // namespace Rvl
