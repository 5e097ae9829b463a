#include "host/session/Session.h"

#include "host/configuration/Configuration.h"
#include "host/plugins/PluginLoader.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Rvl::Test {

namespace {

/// A session of the tests' plug-in within this process.
struct SLoadedSession
{
    explicit SLoadedSession(const SFakeConfiguration& fake)
        : configuration(CConfiguration::parse(fake.text(), "c.xml")),
          plugins(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}), catalogue), session(configuration, catalogue)
    {
        plugins.load("rivlink_fake");
        plugins.registerFactories();
        catalogue.resolve();
        CFaultList faults;
        session.build(faults);
        EXPECT_EQ(faults.report("c.xml"), "");
    }

    SControllerState vessel() { return session.states().at(0); }

    CConfiguration configuration;
    CTypeCatalogue catalogue;
    CPluginLoader plugins;
    CSession session;
};

} // namespace

TEST(SessionTest, NothingIsEnabledBeforeTheStart)
{
    SLoadedSession loaded({});
    EXPECT_EQ(loaded.vessel().state, "off");
    EXPECT_FALSE(loaded.vessel().enabled);
    EXPECT_TRUE(std::isnan(loaded.vessel().actualValue));
}

TEST(SessionTest, StartEnablesTheControllersThatSaySo)
{
    SFakeConfiguration configuration;
    configuration.moreChannels = SFakeConfiguration::controller("Off", "Enabled=\"false\"") +
                                 SFakeConfiguration::controller("Silent", "");
    SLoadedSession loaded(configuration);
    loaded.session.start();
    const auto states = loaded.session.states();
    ASSERT_EQ(states.size(), 3U);
    EXPECT_EQ(states[0].name + " " + modeOf(states[0]) + " " + states[0].state, "Vessel auto ok");
    EXPECT_EQ(states[1].name + " " + modeOf(states[1]) + " " + states[1].state, "Off off off");
    EXPECT_EQ(states[2].name + " " + modeOf(states[2]) + " " + states[2].state, "Silent off off");
    EXPECT_TRUE(eventually([&] { return loaded.vessel().controlValue == 10.0; }));
}

TEST(SessionTest, ManualControllerStartsWithItsManualValue)
{
    SFakeConfiguration configuration;
    configuration.vessel = "Enabled=\"true\" Manual=\"true\" ManualControlValue=\"42\"";
    SLoadedSession loaded(configuration);
    loaded.session.start();
    EXPECT_EQ(modeOf(loaded.vessel()), "manual");
    EXPECT_TRUE(eventually([&] { return loaded.vessel().controlValue == 42.0; }));
}

TEST(SessionTest, ScalingIsAppliedToEveryScalableChannel)
{
    SFakeConfiguration configuration;
    configuration.vesselContent = "<Scaling Factor=\"2\" Offset=\"1\" Unit=\"degC\"/>";
    configuration.moreChannels =
        "<Channel Name=\"Scaled\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" Value=\"3\">"
        "<Scaling Factor=\"10\"/></Channel>";
    SLoadedSession loaded(configuration);
    loaded.session.start();
    EXPECT_EQ(loaded.vessel().unit, "degC");
    EXPECT_EQ(loaded.vessel().actualValue, 51.0);
    EXPECT_EQ(loaded.vessel().setPoint, 61.0);
    EXPECT_EQ(CAnalogInChannel::NameServer.lookupObject("Scaled")->readValue(), 30.0);
}

TEST(SessionTest, FaultOfAChannelIsTheControllersFault)
{
    SFakeConfiguration configuration;
    configuration.heater = "Stuck=\"true\"";
    SLoadedSession loaded(configuration);
    loaded.session.start();
    EXPECT_TRUE(eventually([&] { return loaded.vessel().state == "fault: Heater: the valve is stuck"; }))
        << loaded.vessel().state;
}

TEST(SessionTest, MissingActualValueIsAFault)
{
    SFakeConfiguration configuration;
    configuration.temperature = "";
    configuration.vessel = "Enabled=\"true\" Manual=\"true\"";
    SLoadedSession loaded(configuration);
    loaded.session.start();
    EXPECT_EQ(loaded.vessel().state, "fault: Vessel: the actual value is not a number");
}

TEST(SessionTest, ControllersAreInFileOrder)
{
    SFakeConfiguration configuration;
    configuration.moreChannels =
        SFakeConfiguration::controller("B", "") + SFakeConfiguration::controller("A", "");
    SLoadedSession loaded(configuration);
    std::string names;
    for (const IControllerChannel* controller : loaded.session.controllers()) {
        names += controller->getName() + " ";
    }
    EXPECT_EQ(names, "Vessel B A ");
}

TEST(SessionTest, ControllerThatCannotBeDisabledIsTold)
{
    SFakeConfiguration configuration;
    configuration.vessel = "Enabled=\"true\" FailAt=\"disable\"";
    SLoadedSession loaded(configuration);
    loaded.session.start();
    EXPECT_EQ(loaded.session.shutDown(),
              (std::vector<std::string>{"disabling Vessel: failing at disable as told"}));
    EXPECT_EQ(loaded.session.shutDown(), std::vector<std::string>());
    EXPECT_TRUE(loaded.session.controllers().empty());
}

TEST(SessionTest, BadInputThatNoPlugInCanSeeToIsAFault)
{
    SFakeConfiguration fake;
    fake.vesselContent = "<BadInput Action=\"hold\"/>";
    const CConfiguration configuration = CConfiguration::parse(fake.text(), "c.xml");
    CTypeCatalogue catalogue;
    CPluginLoader plugins(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}), catalogue);
    CSession session(configuration, catalogue);
    plugins.load("rivlink_fake");
    plugins.registerFactories();
    catalogue.resolve();
    CFaultList faults;
    session.build(faults, {plugins.loops(), plugins.loopRearmers()});
    EXPECT_EQ(faults.report("c.xml"),
              "c.xml:4: /Configuration/Channels/Channel[1]/BadInput: cannot be carried out: no plug-in "
              "supervises the loops of this channel; expected no BadInput\n");
}

} // namespace Rvl::Test
