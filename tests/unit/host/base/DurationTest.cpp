#include "host/base/Duration.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

using namespace std::chrono_literals;

TEST(DurationTest, EveryUnitIsKnown)
{
    EXPECT_EQ(parseDuration("500ms"), 500ms);
    EXPECT_EQ(parseDuration("30s"), 30s);
    EXPECT_EQ(parseDuration("5min"), 5min);
    EXPECT_EQ(parseDuration("2h"), 2h);
    EXPECT_EQ(parseDuration("30d"), 720h);
    EXPECT_EQ(parseDuration(" 1.5 s "), 1500ms);
    EXPECT_EQ(parseDuration("0s"), 0ms);
}

TEST(DurationTest, WhatIsNoDurationIsRefused)
{
    for (const char* text :
         {"", "5", "s", "-1s", "5m", "5 sec", "1e9h", "five min", "1,5s", "infs", "nanms"}) {
        EXPECT_FALSE(parseDuration(text)) << text;
    }
}

} // namespace Rvl::Test
