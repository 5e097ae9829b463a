#include "host/DescriptorLimit.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

TEST(DescriptorLimitTest, IsRaisedToWhatTheSystemAllowsAtMost)
{
    raiseDescriptorLimit();
    EXPECT_EQ(descriptorLimit(), 0U) << "there is none";
}

#else

TEST(DescriptorLimitTest, IsRaisedToWhatTheSystemAllowsAtMost)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit lower{limit.rlim_max / 2, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lower), 0);
    EXPECT_EQ(descriptorLimit(), limit.rlim_max / 2);
    raiseDescriptorLimit();
    EXPECT_EQ(descriptorLimit(), limit.rlim_max);
}

#endif

} // namespace Rvl::Test
