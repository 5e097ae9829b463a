#include "host/process/TerminateHandler.h"

#include "tests/support/NoFurtherThread.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <thread>

// on Windows the header above has nothing in it
namespace Rvl::Test {}

using namespace Rvl;
using namespace Rvl::Test;

TEST(TerminateHandlerDeathTest, ActionIsTakenOnceTheFaultIsReported)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const CTerminateHandler terminateHandler([] { std::cerr << "action taken" << std::endl; });
            std::thread([] { throw std::runtime_error("out of a thread"); }).join();
        },
        "an uncaught exception: out of a thread\naction taken");
}

TEST(TerminateHandlerDeathTest, ActionThatFailsEndsTheProcessAllTheSame)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const CTerminateHandler terminateHandler([] {
                std::cerr << "action taken" << std::endl;
                throw std::runtime_error("in vain");
            });
            std::thread([] { throw 1; }).join();
        },
        "an uncaught exception: an exception of unknown kind\naction taken");
}

#if !defined(_WIN32)
TEST(TerminateHandlerDeathTest, ActionIsTakenAlthoughThereCanBeNoMoreThreads)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const CTerminateHandler terminateHandler([] { std::cerr << "action taken" << std::endl; });
            const CNoFurtherThread none;
            std::terminate();
        },
        "action taken\nthe process ends because of an uncaught exception: no exception is known");
}
#endif
