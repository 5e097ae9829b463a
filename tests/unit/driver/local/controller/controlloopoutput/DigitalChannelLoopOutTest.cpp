#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOut.h"

#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOutFactory.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <cmath>
#include <memory>

using namespace Rvl::Test;
using Rvl::CDigitalChannelLoopOut;
using Rvl::CDigitalOutChannel;
using testing::ElementsAre;
using testing::IsEmpty;

class DigitalChannelLoopOut : public testing::Test
{
protected:
    Journal journal;
    FakeDigitalOut channel{"Valve", journal};
};

TEST_F(DigitalChannelLoopOut, ZeroOfEitherSignSwitchesOff)
{
    CDigitalChannelLoopOut output(node({{"Channel", "Valve"}}));
    output.writeOutputValue(0.0);
    output.writeOutputValue(-0.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Valve off", "Valve off"));
}

TEST_F(DigitalChannelLoopOut, EveryOtherValueSwitchesOn)
{
    CDigitalChannelLoopOut output(&channel);
    output.writeOutputValue(1.0);
    output.writeOutputValue(1e-300);
    output.writeOutputValue(-5.0);
    output.writeOutputValue(std::nan(""));
    EXPECT_THAT(journal.entries(), ElementsAre("Valve on", "Valve on", "Valve on", "Valve on"));
}

TEST_F(DigitalChannelLoopOut, RepeatedValueReachesTheDeviceOnce)
{
    CDigitalChannelLoopOut output(&channel);
    output.write(1.0);
    output.write(1.0);
    output.write(0.0);
    output.write(-0.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Valve on", "Valve off"));
}

TEST_F(DigitalChannelLoopOut, InitEnableDisableAndDestructionTouchNothing)
{
    {
        CDigitalChannelLoopOut output(&channel);
        output.init();
        output.setEnabled(true);
        output.setEnabled(false);
    }
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(DigitalChannelLoopOut, FailureOfTheChannelPasses)
{
    channel.onWrite = [] { throw Rvl::CDeviceAccessException("the valve is offline"); };
    CDigitalChannelLoopOut output(&channel);
    try {
        output.write(1.0);
        FAIL() << "nothing was thrown";
    } catch (const Rvl::CDeviceAccessException& exception) {
        EXPECT_STREQ("the valve is offline", exception.what());
    }
}

TEST_F(DigitalChannelLoopOut, NullChannelIsAllowedWhileNothingIsWritten)
{
    CDigitalChannelLoopOut output(static_cast<CDigitalOutChannel*>(nullptr));
    output.init();
    output.setEnabled(false);
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(DigitalChannelLoopOut, MissingChannelKeyIsABadPath)
{
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([] { CDigitalChannelLoopOut(node({})); }));
}

TEST_F(DigitalChannelLoopOut, UnknownChannelIsNotRegistered)
{
    EXPECT_EQ(notRegistered("VALVE", CDigitalOutChannel::NameServer), faultOf([] {
                  CDigitalChannelLoopOut(node({{"Channel", "VALVE"}}));
              }));
}

TEST_F(DigitalChannelLoopOut, FactoryBuildsIt)
{
    Rvl::CDigitalChannelLoopOutFactory factory;
    EXPECT_EQ("Rvl::CDigitalChannelLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(node({{"Channel", "Valve"}})));
    ASSERT_NE(nullptr, dynamic_cast<CDigitalChannelLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([&] { factory.createObject(node({})); }));
}
