#include "host/process/ShutdownLimits.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

using std::chrono::milliseconds;

TEST(ShutdownLimitsTest, EachLimitIsScaled)
{
    const SShutdownLimits limits = SShutdownLimits().scaled(0.1);
    EXPECT_EQ(milliseconds(30), limits.task);
    EXPECT_EQ(milliseconds(100), limits.sequence);
    EXPECT_EQ(milliseconds(500), limits.progress);
    EXPECT_EQ(milliseconds(200), limits.call);
    EXPECT_EQ(milliseconds(100), limits.summary);
    EXPECT_EQ(milliseconds(200), limits.output);
    EXPECT_EQ(milliseconds(30), limits.emergencyDisable);
    EXPECT_EQ(milliseconds(200), limits.emergencyDisconnect);
    EXPECT_EQ(milliseconds(200), limits.crash);
    EXPECT_EQ(milliseconds(1000), limits.terminateAction);
    EXPECT_EQ(milliseconds(30), limits.terminateMessage);
}

TEST(ShutdownLimitsTest, NoLimitIsScaledToNothing)
{
    EXPECT_EQ(milliseconds(1), SShutdownLimits().scaled(1e-6).task);
}

TEST(ShutdownLimitsTest, TextIsInWholeSecondsAndBelowOneInMilliseconds)
{
    EXPECT_EQ("5 s", limitText(milliseconds(5000)));
    EXPECT_EQ("5 s", limitText(milliseconds(5300)));
    EXPECT_EQ("1 s", limitText(milliseconds(1000)));
    EXPECT_EQ("999 ms", limitText(milliseconds(999)));
}

} // namespace Rvl::Test
