#include "host/configuration/Windup.h"

#include <gtest/gtest.h>

#include <string>

namespace Rvl::Test {

TEST(WindupTest, ShareOfATrackingTimeDecides)
{
    EXPECT_EQ(SWindup::Sound, windupOf(5.0, 0.2, 100.0).kind) << "half of it";
    EXPECT_EQ(SWindup::Overshoots, windupOf(5.0, 0.19, 100.0).kind);
    EXPECT_EQ(SWindup::Overshoots, windupOf(5.0, 0.05, 100.0).kind) << "twice of it is stable still";
    EXPECT_EQ(SWindup::RunsAway, windupOf(5.0, 0.049, 100.0).kind);
    EXPECT_EQ("", windupOf(5.0, 0.2, 100.0).text);
}

TEST(WindupTest, TimesAreAsTheLoopTakesThem)
{
    EXPECT_EQ(SWindup::RunsAway, windupOf(0.05, 0.0, 100.0).kind) << "0.8 times the integral time";
    EXPECT_EQ(SWindup::Sound, windupOf(0.25, 0.0, 100.0).kind);
    EXPECT_EQ(SWindup::RunsAway, windupOf(5.0, 0.009, 1.0).kind) << "20 ms at least";
    EXPECT_EQ(SWindup::Sound, windupOf(5.0, 0.04, 20.9).kind) << "a fraction is dropped";
}

TEST(WindupTest, ThereIsNoneWithoutIntegralActionOrWithANegativeTime)
{
    EXPECT_EQ(SWindup::Sound, windupOf(0.0, 0.001, 100.0).kind);
    EXPECT_EQ(SWindup::Sound, windupOf(5.0, -1.0, 100.0).kind);
}

} // namespace Rvl::Test
