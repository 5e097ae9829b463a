#include "host/console/Summary.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(SummaryTest, ListsLoopsControllersAndTheFirstStep)
{
    SLoopStatus loop;
    loop.typeName = "Rvl::CPIDControlLoop";
    loop.sampleTime_ms = 100;
    loop.steps = 291;
    loop.meanPeriodError_ms = 0.0125;
    loop.worstPeriodError_ms = -3.5;
    loop.overruns = 2;
    const SControllerState state{"Vessel", "degC", 60.0, 59.5, 45.0, true, false, {}, {loop}};
    EXPECT_EQ(summary({state}, std::chrono::microseconds(12345)),
              "Loops:\n"
              "  channel  loop  type                  steps  sample time [ms]  mean period error [ms]  "
              "worst period error [ms]  overruns\n"
              "  Vessel   0     Rvl::CPIDControlLoop  291    100               0.0125                  "
              "-3.5                     2\n"
              "Controllers at the end:\n"
              "  channel  mode  set point  actual value  deviation  state\n"
              "  Vessel   auto  60 degC    59.5 degC     0.5 degC   ok\n"
              "First loop step 12.345 ms after the start of the program\n");
}

TEST(SummaryTest, NothingToReportIsNoText)
{
    EXPECT_EQ(summary({}, std::nullopt), "");
}

} // namespace Rvl::Test
