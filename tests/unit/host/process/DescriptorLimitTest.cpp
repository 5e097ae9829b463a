#include "host/process/DescriptorLimit.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/resource.h>

#include <fcntl.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

TEST(DescriptorLimitTest, IsRaisedToWhatTheSystemAllowsAtMost)
{
    raiseDescriptorLimit();
    EXPECT_EQ(descriptorLimit(), 0U) << "there is none";
    EXPECT_TRUE(canOpenFiles(100000));
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

TEST(DescriptorLimitTest, FilesAreOpenedToFindOutHowManyThereCanBe)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    int limit = 0;
    for (int unused = 0; unused < 10; ++limit) {
        unused += fcntl(limit, F_GETFD) < 0;
    }
    const rlimit ten{static_cast<rlim_t>(limit), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &ten), 0);
    EXPECT_TRUE(canOpenFiles(0));
    EXPECT_TRUE(canOpenFiles(10));
    EXPECT_TRUE(canOpenFiles(10)) << "nothing was left open";
    EXPECT_FALSE(canOpenFiles(11));
    EXPECT_TRUE(canOpenFiles(10));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

#endif

} // namespace Rvl::Test
