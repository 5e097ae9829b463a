#include "host/process/CrashHandler.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

using namespace Rvl;

TEST(CrashHandlerDeathTest, ActionIsTakenBeforeExitAndTheStatusIsNotThatOfSuccess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const CCrashHandler handler([] { std::cerr << "action taken" << std::endl; });
            std::exit(0);
        },
        testing::ExitedWithCode(1), "action taken\nthe process ends because a plug-in called exit");
}

TEST(CrashHandlerDeathTest, AfterItsEndExitIsAsUsual)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            {
                const CCrashHandler handler([] { std::cerr << "action taken" << std::endl; });
            }
            std::cerr << "no action" << std::endl;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^no action\n$");
}

TEST(CrashHandlerDeathTest, ActionThatNeverEndsDoesNotKeepTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const CCrashHandler handler([] { std::this_thread::sleep_for(std::chrono::hours(1)); },
                                        SShutdownLimits().scaled(0.1));
            std::exit(0);
        },
        testing::ExitedWithCode(1), "");
}

#if !defined(_WIN32)
TEST(CrashHandlerDeathTest, ActionIsTakenBeforeASignalHasItsWay)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const CCrashHandler handler([] { std::cerr << "action taken" << std::endl; });
            std::thread([] { std::raise(SIGTRAP); }).join();
        },
        testing::KilledBySignal(SIGTRAP), "action taken\nthe process ends because of a crash");
}

TEST(CrashHandlerDeathTest, DisarmedItLeavesASignalAlone)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const CCrashHandler handler([] { std::cerr << "action taken" << std::endl; });
            CCrashHandler::disarm();
            std::raise(SIGTRAP);
        },
        testing::KilledBySignal(SIGTRAP), "^$");
}
#endif
