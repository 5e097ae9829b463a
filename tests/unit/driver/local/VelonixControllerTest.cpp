#include "driver/local/VelonixController.h"

#include "driver/local/VelonixControlChannelFactory.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"
#include "tests/unit/driver/local/FakeLoop.h"

#include <gmock/gmock.h>

#include <memory>

using namespace Rvl::Test;
using Rvl::CVelonixController;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Elements of which nothing is noted.
class SilentLoopIn : public Rvl::ILoopIn
{
public:
    double readInputValue() override { return 0.0; }
};

class SilentLoopOut : public Rvl::ILoopOut
{
public:
    void writeOutputValue(double) override {}
};

/// Its loop notes "loop enabled" and "loop disabled".
class NotingLoop : public FakeLoop
{
public:
    NotingLoop(Journal& journal) : FakeLoop("loop", journal), journal_(journal) {}
    void setEnabled(bool enabled) override
    {
        journal_.note(enabled ? "loop enabled" : "loop disabled");
        FakeLoop::setEnabled(enabled);
    }
    void init() override { journal_.note("loop init"); }
    int sampleTime_ms() const override { return 5; }

protected:
    void calculateOutput() override {}

private:
    Journal& journal_;
};

} // namespace

class VelonixController : public testing::Test
{
protected:
    VelonixController()
    {
        loop->setInput(std::make_shared<SilentLoopIn>());
        loop->setOutput(std::make_shared<SilentLoopOut>());
    }

    Journal journal;
    FakeDigitalOut release{"Release", journal};
    FakeDigitalOut other{"Other", journal};
    std::shared_ptr<NotingLoop> loop = std::make_shared<NotingLoop>(journal);
    CVelonixController channel{"Controller", loop};
};

TEST_F(VelonixController, IsALocalControllerChannel)
{
    EXPECT_EQ(&channel, Rvl::CLocalControllerChannel::NameServer.lookupObject("Controller"));
}

TEST_F(VelonixController, WithoutAnOutputItOnlySwitchesTheLoop)
{
    channel.setEnabled(true);
    EXPECT_THAT(journal.entries(), ElementsAre("loop init", "loop enabled"));
    EXPECT_TRUE(channel.isControlLoopEnabled());
}

TEST_F(VelonixController, SettingThePropertiesSwitchesNothing)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    EXPECT_THAT(journal.entries(), IsEmpty());
    EXPECT_EQ("Release", channel.properties().get<std::string>("PwmOutputEnable"));
}

TEST_F(VelonixController, OutputIsSwitchedBeforeTheLoop)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    channel.setEnabled(true);
    channel.setEnabled(false);
    EXPECT_THAT(journal.entries(),
                ElementsAre("Release on", "loop init", "loop enabled", "Release off", "loop disabled"));
}

TEST_F(VelonixController, OutputIsSwitchedOffEvenIfTheLoopWasNeverEnabled)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    channel.setEnabled(false);
    EXPECT_THAT(journal.entries(), ElementsAre("Release off", "loop disabled"));
}

TEST_F(VelonixController, LaterPropertiesReplaceTheOutput)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    channel.setProperties(node({{"PwmOutputEnable", "Other"}}));
    channel.setEnabled(false);
    EXPECT_THAT(journal.entries(), ElementsAre("Other off", "loop disabled"));
}

TEST_F(VelonixController, FaultyPropertiesKeepTheOutput)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    EXPECT_EQ("ptree_bad_path: No such node (PwmOutputEnable)",
              faultOf([&] { channel.setProperties(node({})); }));
    EXPECT_EQ(notRegistered("release", Rvl::CDigitalOutChannel::NameServer), faultOf([&] {
                  channel.setProperties(node({{"PwmOutputEnable", "release"}}));
              }));
    EXPECT_EQ("release", channel.properties().get<std::string>("PwmOutputEnable"))
        << "the base took the node before the name was looked for";
    channel.setEnabled(false);
    EXPECT_THAT(journal.entries(), ElementsAre("Release off", "loop disabled"));
}

TEST_F(VelonixController, OutputIsWrittenOnceAlsoIfTheLoopCannotBeEnabled)
{
    class FailingLoopIn : public SilentLoopIn
    {
    public:
        void init() override { throw std::runtime_error("no sensor"); }
    };
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    loop->setInput(std::make_shared<FailingLoopIn>());
    EXPECT_THROW(channel.setEnabled(true), std::runtime_error);
    EXPECT_THAT(journal.entries(), ElementsAre("Release on"));
}

TEST_F(VelonixController, FailingOutputLeavesTheLoopAsItIs)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    release.onWrite = [] { throw Rvl::CDeviceAccessException("the chip is offline"); };
    EXPECT_THROW(channel.setEnabled(true), Rvl::CDeviceAccessException);
    EXPECT_THAT(journal.entries(), IsEmpty());
    EXPECT_EQ(0u, channel.runs());
}

TEST_F(VelonixController, StoppingLeavesTheOutputAsItIs)
{
    channel.setProperties(node({{"PwmOutputEnable", "Release"}}));
    channel.setEnabled(true);
    journal.clear();
    channel.stop();
    Rvl::CEnvironment::getInstance()->aboutToDisconnect()();
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST(VelonixControlChannelFactory, BuildsTheChannelOfTheWholeConfiguration)
{
    Journal journal;
    FakeDigitalOut release("Release", journal);
    Rvl::CVelonixControlChannelFactory factory;
    EXPECT_EQ("Rvl::CVelonixController", factory.getTypeName());
    const auto tree = node({{"<xmlattr>.Name", "Controller"},
                            {"PwmOutputEnable", "Release"},
                            {"SetpointRange.<xmlattr>.Maximum", "50"},
                            {"ControlLoop.Type", "Rvl::CConditionalControlLoop"},
                            {"ControlLoop.Parameters.<xmlattr>.SampleTime_ms", "5"},
                            {"ControlLoop.Parameters.<xmlattr>.Setpoint", "1"},
                            {"ControlLoop.Parameters.<xmlattr>.U_Disabled", "0"},
                            {"ControlLoop.Input.Type", "Rvl::CPT1Element"},
                            {"ControlLoop.InputSameAsOutput", "true"}});
    const std::unique_ptr<Rvl::IIoChannelInterface> object(factory.createObject(tree));
    auto* const channel = dynamic_cast<CVelonixController*>(object.get());
    ASSERT_NE(nullptr, channel);
    EXPECT_EQ(50.0, channel->setpointMaximum());
    channel->setEnabled(true);
    EXPECT_THAT(journal.entries(), IsEmpty()) << "the output is bound by setProperties() only";
    object->setProperties(tree);
    channel->setEnabled(true);
    channel->setEnabled(false);
    EXPECT_THAT(journal.entries(), ElementsAre("Release on", "Release off"));
}
