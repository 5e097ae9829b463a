#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOut.h"

#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOutFactory.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <memory>

using namespace Rvl::Test;
using Rvl::CAnalogOutChannel;
using Rvl::CAnalogTwoQuadrantLoopOut;
using testing::ElementsAre;
using testing::IsEmpty;

class AnalogTwoQuadrantLoopOut : public testing::Test
{
protected:
    static boost::property_tree::ptree configuration(const std::string& channelName = "Current")
    {
        return node({{"DigitalOut.<xmlattr>.Device", "Port"},
                     {"DigitalOut.<xmlattr>.Negative", "1"},
                     {"DigitalOut.<xmlattr>.Positive", "2"},
                     {"Channel", channelName}});
    }

    Journal journal;
    FakeDigitalPort port{"Port", journal};
    FakeAnalogOut channel{"Current", journal};
};

TEST_F(AnalogTwoQuadrantLoopOut, MagnitudeGoesUnchangedToTheAnalogChannel)
{
    CAnalogTwoQuadrantLoopOut output(configuration());
    output.write(3.5);
    output.write(-3.5);
    output.write(0.0);
    EXPECT_THAT(journal.entries(),
                ElementsAre("Port 3 2", "Current 3.5", "Port 3 1", "Current 3.5", "Current 0"));
}

TEST_F(AnalogTwoQuadrantLoopOut, InitTouchesNothing)
{
    CAnalogTwoQuadrantLoopOut(configuration()).init();
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(AnalogTwoQuadrantLoopOut, ChannelIsRequiredAndReadAfterTheKeysOfTheBase)
{
    auto tree = configuration();
    tree.erase("Channel");
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([&] { CAnalogTwoQuadrantLoopOut{tree}; }));
    tree.get_child("DigitalOut.<xmlattr>").erase("Positive");
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Positive)",
              faultOf([&] { CAnalogTwoQuadrantLoopOut{tree}; }));
}

TEST_F(AnalogTwoQuadrantLoopOut, UnknownChannelIsNotRegistered)
{
    EXPECT_EQ(notRegistered("current", CAnalogOutChannel::NameServer),
              faultOf([] { CAnalogTwoQuadrantLoopOut(configuration("current")); }));
}

TEST_F(AnalogTwoQuadrantLoopOut, FactoryBuildsIt)
{
    Rvl::CAnalogTwoQuadrantLoopOutFactory factory;
    EXPECT_EQ("Rvl::CAnalogTwoQuadrantLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(configuration()));
    EXPECT_NE(nullptr, dynamic_cast<CAnalogTwoQuadrantLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Device)",
              faultOf([&] { factory.createObject(node({})); }));
}
