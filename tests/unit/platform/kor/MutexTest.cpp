#include "platform/kor/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

/// Whether another thread can take the mutex. Waits long enough for a free one to be taken.
bool otherThreadGets(Kor::CMutex& mutex)
{
    static std::atomic<bool> taken;
    taken = false;
    std::thread other([&] {
        Kor::CGuard guard(mutex);
        taken = true;
    });
    for (int i = 0; i < 200 && !taken; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!taken) {
        other.detach(); // the mutex is lost, and the test with it
        return false;
    }
    other.join();
    return true;
}

} // namespace

TEST(Mutex, IsFreeAfterGuardEnds)
{
    Kor::CMutex mutex;
    {
        Kor::CGuard guard(mutex);
    }
    EXPECT_TRUE(otherThreadGets(mutex));
}

TEST(Mutex, SameThreadMayLockAgain)
{
    Kor::CMutex mutex;
    Kor::CGuard outer(mutex);
    {
        Kor::CGuard inner(mutex);
    }
    std::atomic<bool> taken{false};
    std::thread other([&] {
        Kor::CGuard guard(mutex);
        taken = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(taken) << "the inner guard must not have released the outer one's lock";
    mutex.unlock();
    other.join();
    EXPECT_TRUE(taken);
    mutex.lock();
}

TEST(Mutex, GuardReleasesWhenAnExceptionLeaves)
{
    Kor::CMutex mutex;
    EXPECT_THROW(
        {
            Kor::CGuard guard(mutex);
            throw std::runtime_error("out");
        },
        std::runtime_error);
    EXPECT_TRUE(otherThreadGets(mutex));
}
