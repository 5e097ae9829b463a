#include "platform/rivlink_core/Clock.h"

#include <gtest/gtest.h>

using Rvl::IClock;

namespace {

class StoppedClock : public IClock
{
public:
    std::chrono::nanoseconds monotonic() const override { return std::chrono::seconds(7); }
    std::chrono::system_clock::time_point utc() const override
    {
        return std::chrono::system_clock::time_point(std::chrono::seconds(42));
    }
};

} // namespace

TEST(Clock, FollowsTheSystemByDefault)
{
    const auto before = std::chrono::steady_clock::now().time_since_epoch();
    const auto monotonic = IClock::current().monotonic();
    const auto after = std::chrono::steady_clock::now().time_since_epoch();
    EXPECT_LE(before, monotonic);
    EXPECT_LE(monotonic, after);

    const auto utcBefore = std::chrono::system_clock::now();
    const auto utc = IClock::current().utc();
    EXPECT_LE(utcBefore, utc);
    EXPECT_LE(utc, std::chrono::system_clock::now());
}

TEST(Clock, CanBeReplacedAndGivenBack)
{
    const StoppedClock stopped;
    IClock::setCurrent(&stopped);
    EXPECT_EQ(std::chrono::seconds(7), IClock::current().monotonic());
    EXPECT_EQ(std::chrono::system_clock::time_point(std::chrono::seconds(42)), IClock::current().utc());
    IClock::setCurrent(nullptr);
    EXPECT_NE(std::chrono::seconds(7), IClock::current().monotonic());
}
