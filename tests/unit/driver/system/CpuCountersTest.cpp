#include "driver/system/CpuCounters.h"

#include "platform/rivlink_common/DeviceAccessException.h"
#include "tests/support/CpuTime.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

using namespace Rvl;
using namespace Rvl::Test;

TEST(CpuCounters, UseIsTheShareThatWasNotIdle)
{
    EXPECT_EQ(25.0, cpuUse({100, 200}, {175, 300}));
    EXPECT_EQ(0.0, cpuUse({100, 200}, {200, 300}));
    EXPECT_EQ(100.0, cpuUse({100, 200}, {100, 300}));
}

TEST(CpuCounters, NoTimeIsNoUse)
{
    EXPECT_FALSE(cpuUse({100, 200}, {100, 200}));
    EXPECT_FALSE(cpuUse({100, 200}, {90, 190})) << "counters that ran back";
}

TEST(CpuCounters, IdleTimeThatRunsBackStandsStill)
{
    EXPECT_EQ(100.0, cpuUse({100, 200}, {99, 300}));
}

TEST(CpuCounters, IdleTimeBeyondTheTotalIsNoNegativeUse)
{
    EXPECT_EQ(0.0, cpuUse({100, 200}, {300, 300}));
}

TEST(CpuCounters, StatLineIsAddedUp)
{
    //                                            user nice sys idle iowait irq softirq steal guest guest_nice
    const SCpuCounters counters = cpuCountersFromStat("cpu  10 20 30 400 50 6 7 8 9 10");
    EXPECT_EQ(450U, counters.idle) << "idle and waiting for input and output";
    EXPECT_EQ(531U, counters.total) << "without guests, whose time user and nice contain";
}

TEST(CpuCounters, OldStatLineHasFourNumbers)
{
    const SCpuCounters counters = cpuCountersFromStat("cpu 1 2 3 4");
    EXPECT_EQ(4U, counters.idle);
    EXPECT_EQ(10U, counters.total);
}

TEST(CpuCounters, OtherLinesAreRefused)
{
    for (const std::string line : {"", "cpu 1 2 3", "cpu0 1 2 3 4", "intr 1 2 3 4"}) {
        EXPECT_EQ("The system's counters cannot be read: \"" + line + "\"",
                  messageOf<CDeviceAccessException>([&] { cpuCountersFromStat(line); }));
    }
}

TEST(CpuCounters, SystemsCountersRunAndIncludeTheProcessItself)
{
    const SCpuCounters before = readCpuCounters();
    const double start_s = processCpuTime_s();
    while (processCpuTime_s() - start_s < 0.5) {
    }
    const SCpuCounters after = readCpuCounters();
    EXPECT_GT(after.total, before.total);
    EXPECT_GE(after.total, after.idle);
    const auto use = cpuUse(before, after);
    ASSERT_TRUE(use);
    EXPECT_GT(*use, 0.0);
    EXPECT_LE(*use, 100.0);
}
