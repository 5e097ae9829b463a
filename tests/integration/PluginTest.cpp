// The plug-in as the framework's host uses it: loaded as a shared library by a process that shares nothing
// with it but the platform, and has channels of its own for it to drive.

#include "common/LoopGraph.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "tests/support/DeviceTools.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/support/LogCapture.h"

#include <boost/dll/shared_library.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>

using namespace Rvl;
using namespace Rvl::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Loading connects the plug-in's registration once for the life of the process, as the system may keep a
/// library that was released: CTest runs each of these tests in a process of its own.
class Plugin : public testing::Test
{
protected:
    Plugin() : library(std::filesystem::absolute(RIVLINK_LOCAL_LIBRARY).string()) {}
    // what the plug-in filed is its code, which goes with the library
    ~Plugin() override
    {
        channel.reset();
        environment.releasePlugins();
    }

    void registerFactories() { environment.registerFactories()(); }

    IControllerChannel& makeChannel(const std::string& xml)
    {
        const auto node = nodeOf(xml);
        channel.reset(environment.getIoChannellFactoryRegistry()
                          .get(node.get<std::string>("<xmlattr>.Type"))
                          ->createObject(node));
        channel->setProperties(node);
        channel->connectToDevice();
        return *IControllerChannel::NameServer.lookupObject(node.get<std::string>("<xmlattr>.Name"));
    }

    CEnvironment& environment = *CEnvironment::getInstance();
    boost::dll::shared_library library;
    CAnalogInChannel temperature{"Temperature"};
    Journal journal;
    FakeDigitalOut heater{"Heater", journal};
    std::unique_ptr<IIoChannelInterface> channel;
};

const std::string input =
    "<Input><Type>Rvl::CAnalogChannelLoopIn</Type><Channel>Temperature</Channel></Input>";
const std::string output = "<Output><Type>Rvl::CPWMLoopOut</Type><Channel>Heater</Channel></Output>";

std::string pidLoop(const std::string& parameters, const std::string& outputElement)
{
    return "<Type>Rvl::CPIDControlLoop</Type><Enabled>false</Enabled><PIDParam " + parameters + "/>" + input +
           outputElement;
}

const std::string proportional =
    "Name=\"p\" K=\"2\" Ti=\"0\" Td=\"0\" DerivativeGainLimit=\"0\" MinU=\"0\" MaxU=\"100\" DisabledU=\"7\" "
    "Setpoint=\"30\" SampleTime_ms=\"20\"";

bool endsWith(const std::vector<std::string>& entries, const std::string& last)
{
    return !entries.empty() && entries.back() == last;
}

} // namespace

TEST_F(Plugin, LoadingAloneFilesNothing)
{
    EXPECT_EQ(1u, environment.registerFactories().num_slots());
    EXPECT_THAT(environment.getIoChannellFactoryRegistry().names(), IsEmpty());
    EXPECT_THAT(environment.getBusFactoryRegistry().names(), IsEmpty());
    EXPECT_THAT(environment.busRegistry().names(), IsEmpty());
}

TEST_F(Plugin, OneEmissionFilesChannelsBusFactoryAndBusInThisOrder)
{
    LogCapture log("EnvLogger");
    registerFactories();
    EXPECT_THAT(log.lines(), ElementsAre("TRACE Registering Local plugin factories",
                                         "INFO Factory Rvl::CLocalControllerChannel registered in registry",
                                         "INFO Factory Rvl::CVelonixController registered in registry",
                                         "INFO Factory Rvl::CLocalBus registered in registry"));
    EXPECT_THAT(environment.getIoChannellFactoryRegistry().names(),
                ElementsAre("Rvl::CLocalControllerChannel", "Rvl::CVelonixController"));
    EXPECT_THAT(environment.getBusFactoryRegistry().names(), ElementsAre("Rvl::CLocalBus"));
    EXPECT_THAT(environment.busRegistry().names(), ElementsAre("LocalBus"));
}

#if !defined(_MSC_VER) // the names are the Itanium ABI's, which every other compiler follows
TEST_F(Plugin, EntryCalledOnceMoreRunsTheRegistrationTwice)
{
    library.get<void()>("_ZN3Rvl19registerLocalPluginEv")();
    LogCapture log("EnvLogger");
    registerFactories();
    const auto lines = log.lines();
    EXPECT_EQ(2, std::count(lines.begin(), lines.end(), "TRACE Registering Local plugin factories"));
    EXPECT_EQ(1u, environment.busRegistry().size());
}

TEST_F(Plugin, WhatIsNotExportedIsHidden)
{
    EXPECT_TRUE(library.has("_ZN3Rvl23CLocalControllerChannel5startEv"));
    EXPECT_FALSE(library.has("_ZN3Rvl27ControlLoopOperationPrivate15armPeriodicallyEv"));
}
#endif

TEST_F(Plugin, ChannelControlsFromSensorToActuator)
{
    registerFactories();
    temperature.publishValue(10.0);
    IControllerChannel& controller =
        makeChannel("<Channel Name=\"Vessel\" Type=\"Rvl::CLocalControllerChannel\"><ControlLoop>" +
                    pidLoop(proportional, output) +
                    "</ControlLoop><SetpointRange Minimum=\"20\" Maximum=\"60\"/></Channel>");
    EXPECT_THAT(journal.entries(), IsEmpty()) << "nothing is driven before it is enabled";
    EXPECT_FALSE(controller.isControlLoopEnabled());

    controller.setEnabled(true);
    EXPECT_TRUE(controller.isControlLoopEnabled());
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 40"); }));
    EXPECT_EQ(10.0, controller.readActualValue());
    EXPECT_EQ(40.0, controller.readControlValue());

    temperature.publishValue(25.0);
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 10"); }));

    EXPECT_THROW(controller.writeSetPoint(61.0), std::out_of_range);
    EXPECT_EQ(30.0, controller.getSetPoint()) << "what is refused is not written";
    controller.writeSetPoint(60.0);
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 70"); }));

    controller.setManualMode(true);
    controller.writeManualControlValue(33.0);
    EXPECT_TRUE(endsWith(journal.entries(), "Heater duty 33"));
    controller.setManualMode(false);
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 70"); }));

    controller.setEnabled(false);
    EXPECT_TRUE(endsWith(journal.entries(), "Heater duty 7"));
    EXPECT_FALSE(controller.isControlLoopEnabled());
    EXPECT_EQ("Heater PWM on", journal.entries().front());
}

TEST_F(Plugin, OuterLoopOfACascadeSetsTheInnerOne)
{
    registerFactories();
    temperature.publishValue(10.0);
    // outer: 2 * (30 - 10) = 40 becomes the inner set point; inner: 2 * (40 - 10) = 60
    IControllerChannel& controller =
        makeChannel("<Channel Name=\"Vessel\" Type=\"Rvl::CLocalControllerChannel\"><ControlLoop>" +
                    pidLoop(proportional, "<Output>" + pidLoop(proportional, output) + "</Output>") +
                    "</ControlLoop></Channel>");
    controller.setEnabled(true);
    temperature.publishValue(10.0); // an inner loop's input waits for an event
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 60"); }));
    EXPECT_EQ(40.0, controller.readControlValue());
    controller.setEnabled(false);
    EXPECT_TRUE(endsWith(journal.entries(), "Heater duty 7"));
}

TEST_F(Plugin, AboutToDisconnectStopsTheLoops)
{
    registerFactories();
    temperature.publishValue(10.0);
    IControllerChannel& controller =
        makeChannel("<Channel Name=\"Vessel\" Type=\"Rvl::CLocalControllerChannel\"><ControlLoop>" +
                    pidLoop(proportional, output) + "</ControlLoop></Channel>");
    controller.setEnabled(true);
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 40"); }));
    environment.aboutToDisconnect()();
    EXPECT_FALSE(controller.isControlLoopEnabled());
    // the framework may connect again: the channel then runs on
    controller.setEnabled(false);
    controller.setEnabled(true);
    temperature.publishValue(20.0);
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 20"); }));
}

TEST_F(Plugin, ChipControllerReleasesItsPwmOutputWithTheLoop)
{
    registerFactories();
    FakeDigitalOut release("Release", journal);
    temperature.publishValue(10.0);
    IControllerChannel& controller =
        makeChannel("<Channel Name=\"Chip\" Type=\"Rvl::CVelonixController\"><PwmOutputEnable>Release"
                    "</PwmOutputEnable><ControlLoop>" +
                    pidLoop(proportional, output) + "</ControlLoop></Channel>");
    EXPECT_THAT(journal.entries(), IsEmpty());
    controller.setEnabled(true);
    EXPECT_EQ("Release on", journal.entries().front());
    EXPECT_TRUE(journal.waitFor([](const auto& entries) { return endsWith(entries, "Heater duty 40"); }));
    controller.setEnabled(false);
    const auto entries = journal.entries();
    ASSERT_GE(entries.size(), 2u);
    EXPECT_EQ("Heater duty 7", entries.back());
    EXPECT_EQ("Release off", entries[entries.size() - 2]);
    channel.reset();
}

TEST_F(Plugin, OneEntryGivesTheLoopsOfAChannel)
{
    registerFactories();
    temperature.publishValue(10.0);
    IControllerChannel& controller =
        makeChannel("<Channel Name=\"Vessel\" Type=\"Rvl::CLocalControllerChannel\"><ControlLoop>" +
                    pidLoop(proportional, "<Output>" + pidLoop(proportional, output) + "</Output>") +
                    "</ControlLoop></Channel>");
    const SLoops& loops = *library.get<LoopsFunction>(loopsFunctionName)();
    ASSERT_EQ(SLoops::currentVersion, loops.version);
    EXPECT_EQ(nullptr, loops.graphOf(temperature)) << "no controller of this plug-in";
    const std::unique_ptr<ILoopGraph> graph(loops.graphOf(*channel));
    ASSERT_TRUE(graph);
    EXPECT_EQ(2u, graph->loopCount());
    EXPECT_EQ(&temperature, graph->inputChannel(1));
    EXPECT_EQ(0.0, graph->status(0).actualValue) << "nothing was announced since the input was made";
    temperature.publishValue(9.0);
    EXPECT_EQ(9.0, graph->status(0).actualValue) << "announced last, as there was no step yet";
    controller.setEnabled(true);
    temperature.publishValue(10.0);
    EXPECT_TRUE(waitUntil([&] { return graph->status(1).steps >= 3; }));
    EXPECT_EQ(60.0, graph->status(1).proportional) << "2 * (40 - 10)";
    graph->setParameters(1, {{"K", 3.0}});
    EXPECT_TRUE(waitUntil([&] { return graph->status(1).proportional == 90.0; }));
    graph->setParameters(1, {{"MaxU", 50.0}});
    EXPECT_TRUE(waitUntil([&] { return graph->status(1).saturation == SLoopStatus::AtMaximum; }));
    controller.setEnabled(false);
    const SLoopStatus inner = graph->status(1);
    EXPECT_EQ("Rvl::CPIDControlLoop", inner.typeName);
    EXPECT_EQ(20, inner.sampleTime_ms);
    EXPECT_EQ(10.0, inner.actualValue);
    EXPECT_EQ(7.0, inner.setPoint) << "the outer loop's disabled value";
    EXPECT_FALSE(inner.enabled);
}

TEST_F(Plugin, UnknownElementsLeaveNothingBehind)
{
    registerFactories();
    EXPECT_EQ("Factory Rvl::CNoSuchOut does not exist in factory registry", messageOf<std::exception>([&] {
                  makeChannel("<Channel Name=\"Vessel\" Type=\"Rvl::CLocalControllerChannel\"><ControlLoop>" +
                              pidLoop(proportional, "<Output><Type>Rvl::CNoSuchOut</Type></Output>") +
                              "</ControlLoop></Channel>");
              }));
    EXPECT_THAT(IControllerChannel::NameServer.names(), IsEmpty());
    temperature.publishValue(3.0); // the input that had been built is gone from the channel's listeners
}
