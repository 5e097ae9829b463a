#include "host/session/RigBuilder.h"

#include "host/configuration/Configuration.h"
#include "host/plugins/PluginLoader.h"
#include "host/session/Session.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "platform/rivlink_device/Scalable.h"
#include "tests/support/ForeignLocale.h"
#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#include <functional>
#include <locale>
#include <string>
#include <vector>

namespace Rvl::Test {

namespace {

/// What is wrong with the configuration when it is built with the fake plug-in, whose loops cannot be
/// supervised. `inspect` is called with what was built.
std::string faultsOf(const SFakeConfiguration& fake, bool isVirtual, bool withLoops = true,
                     const std::function<void(CSession&)>& inspect = {})
{
    const CConfiguration configuration = CConfiguration::parse(fake.text(), "c.xml");
    CTypeCatalogue catalogue;
    CPluginLoader plugins(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}), catalogue);
    plugins.load("rivlink_fake");
    plugins.registerFactories();
    catalogue.resolve();
    CFaultList faults;
    const auto loops = withLoops ? plugins.loops() : std::vector<const SLoops*>();
    CSession session(CRigBuilder(configuration, catalogue, {loops, isVirtual}).build(faults)); // destroys it
    if (inspect) {
        inspect(session);
    }
    return faults.report("c.xml");
}

} // namespace

TEST(RigBuilderTest, ControllerWithoutLoopsIsRefusedOnVirtualTime)
{
    const SFakeConfiguration fake;
    EXPECT_EQ("", faultsOf(fake, false, false));
    EXPECT_EQ("", faultsOf(fake, true, true));
    EXPECT_EQ(
        faultsOf(fake, true, false),
        "c.xml:4: /Configuration/Channels/Channel[1][@Name]: \"Vessel\" is not made of loops that go by "
        "virtual time; expected only controllers that are with --virtual\n");
}

TEST(RigBuilderTest, LocaleThatAnObjectSetsDoesNotReachTheNext)
{
    SFakeConfiguration fake;
    fake.vesselContent = "<Scaling Factor=\"2.5\"/>";
    fake.moreChannels = "<Channel Name=\"Foreign\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" Value=\"1\"/>";
    const std::locale before;
    EXPECT_EQ("", faultsOf(fake, false));
    EXPECT_EQ(before, std::locale());
}

TEST(RigBuilderTest, LocaleThatAnObjectSetsDoesNotReachItsOwnScaling)
{
    SFakeConfiguration fake;
    fake.moreChannels = "<Channel Name=\"Foreign\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" "
                        "Value=\"1\"><Scaling Factor=\"2.500\"/></Channel>";
    double scaled = 0.0;
    EXPECT_EQ("", faultsOf(fake, false, true, [&](CSession& session) {
                  for (const auto& entry : session.channels()) {
                      if (entry->name == "Foreign") {
                          scaled = dynamic_cast<IScalable&>(*entry->channel).getScaledValue(10.0);
                      }
                  }
              }));
    EXPECT_EQ(25.0, scaled);
}

TEST(RigBuilderTest, LocaleOfTheProgramDoesNotReachTheConfiguration)
{
    const CForeignLocale foreign;
    SFakeConfiguration fake;
    fake.vessel += " ManualControlValue=\"12.500\"";
    fake.vesselContent = "<Scaling Factor=\"2.500\"/><Scale Minimum=\"1.500\" Maximum=\"99.500\"/>";
    EXPECT_EQ("", faultsOf(fake, false, true, [](CSession& session) {
                  const CController& vessel = *session.controllers().at(0);
                  EXPECT_EQ(25.0, vessel.channel().getScaledValue(10.0));
                  EXPECT_EQ(1.5, vessel.presentation().scale.value().first);
                  EXPECT_EQ(99.5, vessel.presentation().scale.value().second);
              }));
}

TEST(RigBuilderTest, BadInputThatNoPlugInCanSeeToIsAFault)
{
    SFakeConfiguration fake;
    fake.vesselContent = "<BadInput Action=\"hold\"/>";
    EXPECT_EQ(faultsOf(fake, false),
              "c.xml:4: /Configuration/Channels/Channel[1]/BadInput: cannot be carried out: no plug-in "
              "supervises the loops of this channel; expected no BadInput\n");
}

} // namespace Rvl::Test
