#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOut.h"

#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOutFactory.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <memory>

using namespace Rvl::Test;
using Rvl::CAnalogChannelLoopOut;
using Rvl::CAnalogOutChannel;
using testing::ElementsAre;
using testing::IsEmpty;

class AnalogChannelLoopOut : public testing::Test
{
protected:
    Journal journal;
    FakeAnalogOut channel{"Heater", journal};
};

TEST_F(AnalogChannelLoopOut, WritesTheValueUnchanged)
{
    CAnalogChannelLoopOut output(node({{"Channel", "Heater"}}));
    output.write(-3.25);
    output.write(1e-300);
    EXPECT_THAT(journal.entries(), ElementsAre("Heater -3.25", "Heater 1e-300"));
}

TEST_F(AnalogChannelLoopOut, LeavesTheLimitsToTheChannel)
{
    channel.setRange(0.0, 10.0, 0.0);
    CAnalogChannelLoopOut output(&channel);
    output.write(12.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Heater 10"));
}

TEST_F(AnalogChannelLoopOut, RepeatedValueReachesTheDeviceOnce)
{
    CAnalogChannelLoopOut output(&channel);
    output.write(5.0);
    output.write(5.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Heater 5"));
}

TEST_F(AnalogChannelLoopOut, InitEnableDisableAndDestructionTouchNothing)
{
    {
        CAnalogChannelLoopOut output(&channel);
        output.init();
        output.setEnabled(true);
        output.setEnabled(false);
    }
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(AnalogChannelLoopOut, ChannelCanBeReplaced)
{
    FakeAnalogOut other("Cooler", journal);
    CAnalogChannelLoopOut output(static_cast<CAnalogOutChannel*>(nullptr));
    output.setAnalogOutputChannel(&channel);
    output.write(1.0);
    output.setAnalogOutputChannel(&other);
    output.write(2.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Heater 1", "Cooler 2"));
}

TEST_F(AnalogChannelLoopOut, MissingChannelKeyIsABadPath)
{
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([] { CAnalogChannelLoopOut(node({})); }));
}

TEST_F(AnalogChannelLoopOut, UnknownChannelIsNotRegistered)
{
    EXPECT_EQ(notRegistered("heater", CAnalogOutChannel::NameServer), faultOf([] {
                  CAnalogChannelLoopOut(node({{"Channel", "heater"}}));
              }));
}

TEST_F(AnalogChannelLoopOut, FactoryBuildsIt)
{
    Rvl::CAnalogChannelLoopOutFactory factory;
    EXPECT_EQ("Rvl::CAnalogChannelLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(node({{"Channel", "Heater"}})));
    ASSERT_NE(nullptr, dynamic_cast<CAnalogChannelLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([&] { factory.createObject(node({})); }));
}
