#include "host/configuration/Fault.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace Rvl::Test {

TEST(FaultTest, FaultsAreReportedInFileOrder)
{
    CFaultList faults;
    faults.add({30, 3, "/A/C", "late"});
    faults.add({10, 1, "/A/B", "early"});
    faults.add({30, 3, "/A/C", "later"});
    EXPECT_EQ(faults.report("x.xml"), "x.xml:1: /A/B: early\nx.xml:3: /A/C: late\nx.xml:3: /A/C: later\n");
}

TEST(FaultTest, FaultConcernsTheElementsThatHoldIt)
{
    CFaultList faults;
    faults.add({1, 1, "/A/B[1]/C[@d]", "wrong"});
    EXPECT_TRUE(faults.concerns("/A"));
    EXPECT_TRUE(faults.concerns("/A/B[1]"));
    EXPECT_TRUE(faults.concerns("/A/B[1]/C"));
    EXPECT_FALSE(faults.concerns("/A/B"));
    EXPECT_FALSE(faults.concerns("/A/B[10]"));
    EXPECT_FALSE(faults.concerns("/A/B[1]/Cx"));
}

TEST(FaultTest, WarningsAreReportedAlikeAndKeepNothingFromRunning)
{
    CFaultList faults;
    faults.add({30, 3, "/A/C", "dubious", SFault::Warning});
    EXPECT_TRUE(faults.empty());
    EXPECT_EQ(faults.warnings(), 1U);
    EXPECT_FALSE(faults.concerns("/A/C"));
    EXPECT_FALSE(faults.refuses(false));
    EXPECT_TRUE(faults.refuses(true));
    EXPECT_EQ(faults.report("x"), "x:3: warning: /A/C: dubious\n");
    EXPECT_EQ(faults.report("x", true), "x:3: /A/C: dubious\n");
    faults.add({10, 1, "/A/B", "wrong"});
    EXPECT_EQ(faults.size(), 1U);
    EXPECT_TRUE(faults.refuses(false));
    EXPECT_EQ(faults.report("x"), "x:1: /A/B: wrong\nx:3: warning: /A/C: dubious\n");
}

TEST(FaultTest, ReportEndsAfterAHundredWithTheNumberOfTheOthers)
{
    CFaultList faults;
    for (std::size_t i = 0; i < 103; ++i) {
        faults.add({i, i + 1, "/A", "wrong"});
    }
    for (std::size_t i = 0; i < 101; ++i) {
        faults.add({i, i + 1, "/A", "dubious", SFault::Warning});
    }
    const std::string report = faults.report("x");
    EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 202);
    const std::string end = "x: and 3 other faults\nx: and 1 other warning\n";
    EXPECT_EQ(report.substr(report.size() - end.size()), end);
    EXPECT_EQ(faults.size(), 103U);
}

} // namespace Rvl::Test
