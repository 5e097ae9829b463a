#include "driver/local/controller/controlloopoutput/PWMLoopOut.h"

#include "driver/local/controller/controlloopoutput/PWMLoopOutFactory.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <memory>

using namespace Rvl::Test;
using Rvl::CDigitalOutChannel;
using Rvl::CPWMLoopOut;
using testing::ElementsAre;
using testing::IsEmpty;

class PWMLoopOut : public testing::Test
{
protected:
    Journal journal;
    FakeDigitalOut channel{"Fan", journal};
};

TEST_F(PWMLoopOut, InitTakesTheChannelIntoPWMMode)
{
    CPWMLoopOut output(node({{"Channel", "Fan"}}));
    EXPECT_THAT(journal.entries(), IsEmpty()) << "construction does not";
    output.init();
    EXPECT_THAT(journal.entries(), ElementsAre("Fan PWM on"));
}

TEST_F(PWMLoopOut, WritesTheTruncatedValue)
{
    CPWMLoopOut output(&channel);
    output.init();
    output.write(50.7);
    output.write(0.4);
    output.write(99.9);
    EXPECT_THAT(journal.entries(), ElementsAre("Fan PWM on", "Fan duty 50", "Fan duty 0", "Fan duty 99"));
}

TEST_F(PWMLoopOut, NegativeValueWrapsAndTheChannelTakesItForZero)
{
    CPWMLoopOut output(&channel);
    output.init();
    output.write(-1.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Fan PWM on", "Fan duty 0"));
}

TEST_F(PWMLoopOut, RepeatedValueReachesTheDeviceOnce)
{
    CPWMLoopOut output(&channel);
    output.init();
    journal.clear();
    output.write(50.0);
    output.write(50.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Fan duty 50"));
    output.write(50.5);
    EXPECT_THAT(journal.entries(), ElementsAre("Fan duty 50", "Fan duty 50")) << "the value did change";
}

TEST_F(PWMLoopOut, EnableDisableAndDestructionTouchNothing)
{
    {
        CPWMLoopOut output(&channel);
        output.setEnabled(true);
        output.setEnabled(false);
    }
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(PWMLoopOut, MissingChannelKeyIsABadPath)
{
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([] { CPWMLoopOut(node({})); }));
}

TEST_F(PWMLoopOut, UnknownChannelIsNotRegistered)
{
    EXPECT_EQ(notRegistered("fan", CDigitalOutChannel::NameServer), faultOf([] {
                  CPWMLoopOut(node({{"Channel", "fan"}}));
              }));
}

TEST_F(PWMLoopOut, FactoryBuildsIt)
{
    Rvl::CPWMLoopOutFactory factory;
    EXPECT_EQ("Rvl::CPWMLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(node({{"Channel", "Fan"}})));
    ASSERT_NE(nullptr, dynamic_cast<CPWMLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([&] { factory.createObject(node({})); }));
}
