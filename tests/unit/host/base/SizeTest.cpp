#include "host/base/Size.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(SizeTest, EveryUnitIsKnown)
{
    EXPECT_EQ(parseSize("17B"), 17U);
    EXPECT_EQ(parseSize("4kB"), 4'000U);
    EXPECT_EQ(parseSize(" 1.5 MB "), 1'500'000U);
    EXPECT_EQ(parseSize("2GB"), 2'000'000'000U);
    EXPECT_EQ(parseSize("1TB"), 1'000'000'000'000U);
}

TEST(SizeTest, WhatIsNoSizeIsRefused)
{
    for (const char* text : {"", "5", "B", "-1MB", "1mb", "1 M", "1e9TB", "nanB", "1,5GB"}) {
        EXPECT_FALSE(parseSize(text)) << text;
    }
}

} // namespace Rvl::Test
