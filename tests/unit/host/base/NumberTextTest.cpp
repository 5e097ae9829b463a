#include "host/base/NumberText.h"

#include "common/Numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace Rvl::Test {

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
