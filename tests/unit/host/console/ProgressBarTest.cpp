#include "host/console/ProgressBar.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

using namespace std::chrono_literals;

TEST(ProgressBar, ShowsShareTimesAndSpeed)
{
    EXPECT_EQ("\r\x1b[2K[########------------]  40 %  09:36:00 of 24:00:00, 17280 times real time",
              progressLine(9h + 36min, 24h, 2s, 200));
}

TEST(ProgressBar, BeginsAndEndsWithAllOfIt)
{
    EXPECT_EQ("\r\x1b[2K[--------------------]   0 %  00:00:00 of 00:01:30", progressLine(0s, 90s, 0s, 200));
    EXPECT_EQ("\r\x1b[2K[####################] 100 %  100:00:00 of 100:00:00, 360000 times real time",
              progressLine(100h, 100h, 1s, 200));
}

TEST(ProgressBar, IsDoneWhenThereIsNothingToDo)
{
    EXPECT_EQ("\r\x1b[2K[####################] 100 %  00:00:00 of 00:00:00", progressLine(0s, 0s, 0s, 200));
}

TEST(ProgressBar, IsCutAtTheTerminalsWidth)
{
    EXPECT_EQ("\r\x1b[2K[########", progressLine(4s, 10s, 1s, 9));
}

} // namespace Rvl::Test
