#include "host/session/Session.h"

#include "host/configuration/Configuration.h"
#include "host/plugins/PluginLoader.h"
#include "host/session/RigBuilder.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "tests/unit/host/HostProgram.h"
#include "tests/unit/host/session/CountedController.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace Rvl::Test {

namespace {

/// A session of the tests' plug-in within this process.
struct SLoadedSession
{
    explicit SLoadedSession(const SFakeConfiguration& fake)
        : configuration(CConfiguration::parse(fake.text(), "c.xml")),
          plugins(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}), catalogue)
    {
        plugins.load("rivlink_fake");
        plugins.registerFactories();
        catalogue.resolve();
        CFaultList faults;
        session.emplace(CRigBuilder(configuration, catalogue).build(faults));
        EXPECT_EQ(faults.report("c.xml"), "");
    }

    SControllerState vessel() { return session->snapshot().controllers.at(0); }

    CConfiguration configuration;
    CTypeCatalogue catalogue;
    CPluginLoader plugins;
    std::optional<CSession> session;
};

} // namespace

TEST(SessionTest, NothingIsEnabledBeforeTheStart)
{
    SLoadedSession loaded({});
    EXPECT_EQ(loaded.vessel().health.text, "off");
    EXPECT_FALSE(loaded.vessel().enabled);
    EXPECT_TRUE(std::isnan(loaded.vessel().actualValue));
}

TEST(SessionTest, StartEnablesTheControllersThatSaySo)
{
    SFakeConfiguration configuration;
    configuration.moreChannels = SFakeConfiguration::controller("Off", "Enabled=\"false\"") +
                                 SFakeConfiguration::controller("Silent", "");
    SLoadedSession loaded(configuration);
    loaded.session->start();
    const auto states = loaded.session->snapshot().controllers;
    ASSERT_EQ(states.size(), 3U);
    EXPECT_EQ(states[0].name + " " + modeOf(states[0]) + " " + states[0].health.text, "Vessel auto ok");
    EXPECT_EQ(states[1].name + " " + modeOf(states[1]) + " " + states[1].health.text, "Off off off");
    EXPECT_EQ(states[2].name + " " + modeOf(states[2]) + " " + states[2].health.text, "Silent off off");
    EXPECT_TRUE(eventually([&] { return loaded.vessel().controlValue == 10.0; }));
}

TEST(SessionTest, ManualControllerStartsWithItsManualValue)
{
    SFakeConfiguration configuration;
    configuration.vessel = "Enabled=\"true\" Manual=\"true\" ManualControlValue=\"42\"";
    SLoadedSession loaded(configuration);
    loaded.session->start();
    EXPECT_EQ(modeOf(loaded.vessel()), "manual");
    EXPECT_TRUE(eventually([&] { return loaded.vessel().controlValue == 42.0; }));
}

TEST(SessionTest, ControllerWhoseEnablingFailsIsDisabledAtOnce)
{
    SRig rig;
    std::vector<bool> calls;
    addCounted(rig, "Vessel").onEnable = [&](bool enable) {
        calls.push_back(enable);
        if (enable) {
            throw std::runtime_error("no sensor");
        }
    };
    CSession session(std::move(rig));
    EXPECT_THROW(session.start(), std::runtime_error);
    EXPECT_EQ((std::vector<bool>{true, false}), calls);
}

TEST(SessionTest, LoopThatMakesNoStepForThreeOfItsSampleTimesIsAFault)
{
    SRig rig;
    CCountedController& vessel = addCounted(rig, "Vessel"); // with a sample time of 100 ms
    CSession session(std::move(rig));
    session.start();
    const auto state = [&] { return session.snapshot().controllers.at(0).health.text; };
    vessel.sinceStep_ms = 299.0;
    EXPECT_EQ("ok", state());
    vessel.sinceStep_ms = 300.0;
    EXPECT_EQ("fault: Vessel: loop 0 has made no step for three of its sample times", state());
    session.findController("Vessel")->setManual(true);
    EXPECT_EQ("fault: Vessel: loop 0 has made no step for three of its sample times", state())
        << "a manual value is written in each step";
    vessel.sinceStep_ms = 299.0;
    EXPECT_EQ("ok", state());
    vessel.enabled = false;
    EXPECT_EQ("off", state());
}

TEST(SessionTest, ScalingIsAppliedToEveryScalableChannel)
{
    SFakeConfiguration configuration;
    configuration.vesselContent = "<Scaling Factor=\"2\" Offset=\"1\" Unit=\"degC\"/>";
    configuration.moreChannels =
        "<Channel Name=\"Scaled\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" Value=\"3\">"
        "<Scaling Factor=\"10\"/></Channel>";
    SLoadedSession loaded(configuration);
    loaded.session->start();
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
    loaded.session->start();
    EXPECT_TRUE(eventually([&] {
        return loaded.vessel().health.text == "fault: Heater: the valve is stuck";
    })) << loaded.vessel().health.text;
}

TEST(SessionTest, MissingActualValueIsAFault)
{
    SFakeConfiguration configuration;
    configuration.temperature = "";
    configuration.vessel = "Enabled=\"true\" Manual=\"true\"";
    SLoadedSession loaded(configuration);
    loaded.session->start();
    EXPECT_EQ(loaded.vessel().health.text, "fault: Vessel: the actual value is not a number");
}

TEST(SessionTest, ControllersAreInFileOrder)
{
    SFakeConfiguration configuration;
    configuration.moreChannels =
        SFakeConfiguration::controller("B", "") + SFakeConfiguration::controller("A", "");
    SLoadedSession loaded(configuration);
    std::string names;
    for (const CController* controller : loaded.session->controllers()) {
        names += controller->name() + " ";
    }
    EXPECT_EQ(names, "Vessel B A ");
}

TEST(SessionTest, ControllerThatCannotBeDisabledIsReported)
{
    SFakeConfiguration configuration;
    configuration.vessel = "Enabled=\"true\" FailAt=\"disable\"";
    SLoadedSession loaded(configuration);
    loaded.session->start();
    const SShutdownReport report = loaded.session->shutDown();
    EXPECT_EQ(report.failures,
              (std::vector<std::string>{"disabling Vessel: failing at disable as configured"}));
    EXPECT_FALSE(report.hung);
    EXPECT_EQ(loaded.session->shutDown().failures, std::vector<std::string>());
    EXPECT_TRUE(loaded.session->controllers().empty());
}

} // namespace Rvl::Test
