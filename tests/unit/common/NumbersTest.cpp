#include "common/Numbers.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace Rvl {
namespace {

TEST(NumbersTest, BlanksAreTakenOffBothEndsOnly)
{
    EXPECT_EQ(withoutOuterBlanks(" \t\r\na b \n"), "a b");
    EXPECT_EQ(withoutOuterBlanks(" \n"), "");
    EXPECT_EQ(withoutOuterBlanks(""), "");
}

TEST(NumbersTest, RealNumbersAreReadAsThePropertyTreeReadsThem)
{
    for (const std::string text :
         {"0", "1.5", "-2", "+5", "1e3", "1E-3", ".5", "5.", "  7\t", "\n8 ", "-0.0"}) {
        const auto value = parseReal(text);
        ASSERT_TRUE(value) << text;
        EXPECT_EQ(*value, boost::property_tree::ptree(text).get_value<double>()) << text;
    }
}

TEST(NumbersTest, WhatIsNoRealNumberIsRefused)
{
    for (const std::string text : {"", " ", "abc", "1,5", "0x10", "inf", "nan", "-inf", "1e", "1 2", "+-1",
                                   "++1", "1e400", "--1", "5s"}) {
        EXPECT_FALSE(parseReal(text)) << text;
    }
}

TEST(NumbersTest, WholeNumbersAreReadInFull)
{
    EXPECT_EQ(parseInteger(" +42 "), 42);
    EXPECT_EQ(parseInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    for (const std::string text : {"", "1.0", "1e3", "0x1", "9223372036854775808", "ten"}) {
        EXPECT_FALSE(parseInteger(text)) << text;
    }
}

TEST(NumbersTest, HexadecimalNumbersAreReadInFull)
{
    EXPECT_EQ(parseHexadecimal(" 0x0F "), 15U);
    EXPECT_EQ(parseHexadecimal("fFfFfFfF"), 0xFFFFFFFFU);
    EXPECT_EQ(parseHexadecimal("0X00000000012"), 0x12U);
    for (const std::string text : {"", "0x", "0x100000000", "-1", "+1", "0xG", "0x0x1", "1 2"}) {
        EXPECT_FALSE(parseHexadecimal(text)) << text;
    }
}

} // namespace
} // namespace Rvl
