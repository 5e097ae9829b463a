#include "host/base/CalendarCheck.h"

#include <gtest/gtest.h>

#include <limits>

namespace Rvl::Test {

TEST(CalendarCheckTest, YearsThatNanosecondsCanCountAreSound)
{
    EXPECT_EQ("", calendarFault(0));
    EXPECT_EQ("", calendarFault(1772373751));
    EXPECT_EQ("", calendarFault(9214646399)) << "the end of 2261";
}

TEST(CalendarCheckTest, OthersAreReportedWithTheirYear)
{
    EXPECT_EQ("the system's clock is in the year 2262; expected one from 1970 to 2261",
              calendarFault(9214646400));
    EXPECT_EQ("the system's clock is in the year 1969; expected one from 1970 to 2261", calendarFault(-1));
    const char* const far =
        "the system's clock is more than 30000 years from 1970; expected a year from 1970 to 2261";
    EXPECT_EQ(far, calendarFault(std::numeric_limits<std::time_t>::max()));
    EXPECT_EQ(far, calendarFault(std::numeric_limits<std::time_t>::min()));
}

} // namespace Rvl::Test
