#include "host/configuration/Fault.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(FaultTest, FaultsAreReportedInFileOrder)
{
    CFaultList faults;
    faults.add({30, 3, "/A/C", "late", false});
    faults.add({10, 1, "/A/B", "early", false});
    faults.add({30, 3, "/A/C", "later", true});
    EXPECT_EQ(faults.report("x.xml"), "x.xml:1: /A/B: early\nx.xml:3: /A/C: late\nx.xml:3: /A/C: later\n");
    EXPECT_TRUE(faults.hasRuntimeFault());
}

TEST(FaultTest, FaultConcernsTheElementsThatHoldIt)
{
    CFaultList faults;
    faults.add({1, 1, "/A/B[1]/C[@d]", "wrong", false});
    EXPECT_TRUE(faults.concerns("/A"));
    EXPECT_TRUE(faults.concerns("/A/B[1]"));
    EXPECT_TRUE(faults.concerns("/A/B[1]/C"));
    EXPECT_FALSE(faults.concerns("/A/B"));
    EXPECT_FALSE(faults.concerns("/A/B[10]"));
    EXPECT_FALSE(faults.concerns("/A/B[1]/Cx"));
    EXPECT_FALSE(faults.hasRuntimeFault());
}

} // namespace Rvl::Test
