#include "driver/local/controller/controlloopoutput/PumpLoopOut.h"

#include "driver/local/controller/controlloopoutput/PumpLoopOutFactory.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <cmath>
#include <memory>

using namespace Rvl::Test;
using Rvl::CPumpLoopOut;
using Rvl::IPumpInterface;
using testing::ElementsAre;
using testing::IsEmpty;

class PumpLoopOut : public testing::Test
{
protected:
    /// The journal's entry for the flow that one value makes.
    std::string flowOf(double value)
    {
        journal.clear();
        CPumpLoopOut(&pump).write(value);
        return journal.entries().back();
    }

    Journal journal;
    FakePump pump{"Pump", journal};
};

TEST_F(PumpLoopOut, FlowIsLimitedToTheMaximumInEitherDirection)
{
    EXPECT_EQ("Pump flow 4", flowOf(4.0));
    EXPECT_EQ("Pump flow 10", flowOf(12.0));
    EXPECT_EQ("Pump flow 10", flowOf(10.0));
    EXPECT_EQ("Pump flow -4", flowOf(-4.0));
    EXPECT_EQ("Pump flow -10", flowOf(-12.0));
    EXPECT_EQ("Pump flow -10", flowOf(-10.0));
}

TEST_F(PumpLoopOut, NaNRunsThePumpAtFullPositiveFlow)
{
    EXPECT_EQ("Pump flow 10", flowOf(std::nan("")));
}

TEST_F(PumpLoopOut, MaximumOfZeroAlwaysSendsZero)
{
    pump.maximum = 0.0;
    EXPECT_EQ("Pump flow 0", flowOf(5.0));
    EXPECT_EQ("Pump flow 0", flowOf(0.0));
    EXPECT_EQ("Pump flow 0", flowOf(std::nan("")));
    EXPECT_THAT(flowOf(-5.0), testing::AnyOf("Pump flow 0", "Pump flow -0"));
}

TEST_F(PumpLoopOut, EveryWriteReadsTheMaximumTwice)
{
    CPumpLoopOut output(&pump);
    output.write(4.0);
    output.write(12.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Pump maximum", "Pump maximum", "Pump flow 4", "Pump maximum",
                                               "Pump maximum", "Pump flow 10"));
}

TEST_F(PumpLoopOut, FirstAnswerLimitsUpwardsAndSecondDownwards)
{
    double answer = 0.0;
    pump.nextMaximum = [&answer] { return answer = answer == 3.0 ? 5.0 : 3.0; };
    EXPECT_EQ("Pump flow 3", flowOf(4.0));
    EXPECT_EQ("Pump flow -5", flowOf(-8.0));
}

TEST_F(PumpLoopOut, RepeatedValueReachesThePumpOnce)
{
    CPumpLoopOut output(node({{"Pump", "Pump"}}));
    output.write(4.0);
    output.write(4.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Pump maximum", "Pump maximum", "Pump flow 4"));
}

TEST_F(PumpLoopOut, InitEnableDisableAndDestructionTouchNothing)
{
    {
        CPumpLoopOut output(&pump);
        output.init();
        output.setEnabled(true);
        output.setEnabled(false);
    }
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(PumpLoopOut, FailuresOfThePumpPass)
{
    CPumpLoopOut output(&pump);
    pump.onFlow = [] { throw Rvl::CDeviceAccessException("the pump is offline"); };
    EXPECT_THROW(output.write(1.0), Rvl::CDeviceAccessException);
    pump.nextMaximum = []() -> double { throw Rvl::CDeviceAccessException("the pump does not answer"); };
    journal.clear();
    EXPECT_THROW(output.write(2.0), Rvl::CDeviceAccessException);
    EXPECT_THAT(journal.entries(), ElementsAre("Pump maximum"));
}

TEST_F(PumpLoopOut, MissingPumpKeyIsABadPath)
{
    EXPECT_EQ("ptree_bad_path: No such node (Pump)", faultOf([] { CPumpLoopOut(node({})); }));
}

TEST_F(PumpLoopOut, UnknownPumpIsNotRegistered)
{
    EXPECT_EQ(notRegistered("pump", IPumpInterface::NameServer), faultOf([] {
                  CPumpLoopOut(node({{"Pump", "pump"}}));
              }));
}

TEST_F(PumpLoopOut, FactoryBuildsIt)
{
    Rvl::CPumpLoopOutFactory factory;
    EXPECT_EQ("Rvl::CPumpLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(node({{"Pump", "Pump"}})));
    EXPECT_NE(nullptr, dynamic_cast<CPumpLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (Pump)", faultOf([&] { factory.createObject(node({})); }));
}
