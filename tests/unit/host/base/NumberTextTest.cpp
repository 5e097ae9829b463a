#include "host/base/NumberText.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace Rvl::Test {

TEST(NumberTextTest, RealNumbersAreReadAsThePropertyTreeReadsThem)
{
    for (const std::string text :
         {"0", "1.5", "-2", "+5", "1e3", "1E-3", ".5", "5.", "  7\t", "\n8 ", "-0.0"}) {
        const auto value = parseReal(text);
        ASSERT_TRUE(value) << text;
        EXPECT_EQ(*value, boost::property_tree::ptree(text).get_value<double>()) << text;
    }
}

TEST(NumberTextTest, WhatIsNoRealNumberIsRefused)
{
    for (const std::string text : {"", " ", "abc", "1,5", "0x10", "inf", "nan", "-inf", "1e", "1 2", "+-1",
                                   "++1", "1e400", "--1", "5s"}) {
        EXPECT_FALSE(parseReal(text)) << text;
    }
}

TEST(NumberTextTest, WholeNumbersAreReadInFull)
{
    EXPECT_EQ(parseInteger(" +42 "), 42);
    EXPECT_EQ(parseInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    for (const std::string text : {"", "1.0", "1e3", "0x1", "9223372036854775808", "ten"}) {
        EXPECT_FALSE(parseInteger(text)) << text;
    }
}

TEST(NumberTextTest, ExactTextReadsBackAsTheSameValue)
{
    for (const double value :
         {0.1, 1.0 / 3.0, 1e-300, -123456789.123456789, 5e-324, 1.7976931348623157e308}) {
        EXPECT_EQ(parseReal(exactText(value)).value_or(-1.0), value);
    }
    EXPECT_EQ(exactText(60.0), "60");
    EXPECT_EQ(exactText(0.1), "0.1");
    EXPECT_EQ(exactText(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(NumberTextTest, ShortTextHasSixDigits)
{
    EXPECT_EQ(shortText(59.87654321), "59.8765");
    EXPECT_EQ(shortText(60.0), "60");
}

TEST(NumberTextTest, UnitFollowsANumberIfThereIsOne)
{
    EXPECT_EQ(withUnit("20", "degC"), "20 degC");
    EXPECT_EQ(withUnit("20", ""), "20");
}

} // namespace Rvl::Test
