#include "driver/common/SignalDevice.h"

#include "platform/kor/EventListener.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "tests/support/DeviceTools.h"
#include "tests/unit/driver/common/TestDevice.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <limits>

using namespace Rvl;
using namespace Rvl::Test;
using testing::ElementsAre;

namespace {

class CEventCounter : public Kor::IEventListener
{
public:
    void deviceEvent(int event) override
    {
        if (event == IIoChannelInterface::EventNewValue) {
            thread = std::this_thread::get_id();
            ++values;
        }
    }
    std::atomic<int> values{0};
    std::atomic<std::thread::id> thread{};
};

} // namespace

TEST(SignalDevice, ReportsItsSignals)
{
    CTestDevice device("Rig");
    EXPECT_THAT(device.sensors(), ElementsAre("Level", "Flow"));
    EXPECT_THAT(device.actuators(), ElementsAre("Valve", "Pump"));
    EXPECT_EQ(100.0, device.actuatorLimits(0).maximum);
    EXPECT_EQ(0.0, device.actuatorCommand("Pump")) << "never written";
    EXPECT_EQ("Device Rig has no actuator Level; its actuators are: Valve, Pump",
              messageOf<CConfigurationException>([&] { device.actuatorCommand("Level"); }));
}

TEST(SignalDevice, ConnectReturnsAfterTheFirstUpdate)
{
    CTestDevice device("Rig");
    CSignalAnalogInChannel channel("Level", testDevices);
    device.bindSensor("Level", channel);
    EXPECT_FALSE(device.isConnected());
    device.connect();
    EXPECT_TRUE(device.isConnected());
    EXPECT_GE(channel.readValue(), 1.0);
    device.unbind(channel); // bound by hand, not by its connectToDevice()
}

TEST(SignalDevice, EachUpdateRaisesEvent1OnTheDevicesThread)
{
    CTestDevice device("Rig");
    CSignalAnalogInChannel channel("Level", testDevices);
    device.bindSensor("Level", channel);
    CEventCounter counter;
    channel.addEventListener(&counter);
    device.connect();
    ASSERT_TRUE(waitUntil([&] { return counter.values >= 5; }));
    device.disconnect();
    EXPECT_EQ(static_cast<int>(device.updates()), counter.values);
    EXPECT_EQ(device.updateThread(), counter.thread.load());
    EXPECT_NE(std::this_thread::get_id(), counter.thread.load());
    device.unbind(channel);
}

TEST(SignalDevice, SecondConnectAndDisconnectDoNothing)
{
    CTestDevice device("Rig");
    device.disconnect();
    EXPECT_THAT(device.notes(), ElementsAre());
    device.connect();
    device.connect();
    device.disconnect();
    device.disconnect();
    EXPECT_THAT(device.notes(), ElementsAre("starting", "written 0 0", "written 1 0", "stopped"));
}

TEST(SignalDevice, DisconnectCarriesOutWhatWasLastWrittenThenTakesOutputsToTheirSafeValues)
{
    for (int round = 1; round <= 20; ++round) { // whatever the thread is doing at the moment
        CTestDevice device("Rig");
        device.connect();
        device.writeActuator(0, round);
        device.disconnect();
        const std::string value = std::to_string(round);
        EXPECT_THAT(device.notes(), ElementsAre("starting", "written 0 " + value, "carried out " + value,
                                                "written 0 0", "written 1 0", "stopped"));
        EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
        EXPECT_FALSE(device.isConnected());
    }
}

TEST(SignalDevice, PendingWritesAreCarriedOutWithoutWaitingForTheNextUpdate)
{
    CTestDevice device("Rig");
    device.writeActuator(0, 3.0);
    device.carryOutPendingWrites(); // not connected
    EXPECT_THAT(device.notes(), ElementsAre("written 0 3"));
    boost::property_tree::ptree slow;
    slow.put("<xmlattr>.UpdateInterval_ms", 60000);
    device.setProperties(slow);
    device.connect();
    device.writeActuator(0, 7.0);
    device.carryOutPendingWrites();
    EXPECT_THAT(device.notes(),
                ElementsAre("written 0 3", "starting", "carried out 3", "written 0 7", "carried out 7"));
}

TEST(SignalDevice, WhatIsWrittenBeforeConnectingIsCarriedOutOnceConnected)
{
    CTestDevice device("Rig");
    device.writeActuator(0, 30.0);
    EXPECT_THAT(device.notes(), ElementsAre("written 0 30"));
    device.connect();
    EXPECT_THAT(device.notes(), ElementsAre("written 0 30", "starting", "carried out 30"));
}

TEST(SignalDevice, CanBeConnectedAgainAndBeginsAtTheSafeValues)
{
    CTestDevice device("Rig");
    device.connect();
    device.writeActuator(0, 30.0);
    device.disconnect();
    const unsigned before = device.updates();
    device.connect();
    EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
    EXPECT_GT(device.updates(), before);
}

TEST(SignalDevice, ActuatorsAreLimitedToTheirRange)
{
    CTestDevice device("Rig");
    device.writeActuator(1, 7.0);
    EXPECT_EQ(5.0, device.actuatorCommand("Pump"));
    device.writeActuator(1, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(-2.0, device.actuatorCommand("Pump"));
    EXPECT_EQ("Device Rig refuses a value that is not a number; the safe value was taken instead",
              messageOf<CDeviceAccessException>([&] { device.writeActuator(1, std::nan("")); }));
    EXPECT_EQ(0.0, device.actuatorCommand("Pump"));
}

TEST(SignalDevice, OfflineRefusesAccessAndTakesOutputsToTheirSafeValuesAtOnce)
{
    CTestDevice device("Rig");
    device.writeActuator(0, 30.0);
    device.setOffline(true);
    EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
    EXPECT_EQ("Device Rig is offline",
              messageOf<CDeviceAccessException>([&] { device.writeActuator(0, 40.0); }));
    EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
    device.setOffline(false);
    device.writeActuator(0, 50.0);
    EXPECT_EQ(50.0, device.actuatorCommand("Valve"));
}

TEST(SignalDevice, OfflineMarksEveryChannelAndReturnRestoresOutputs)
{
    CTestDevice device("Rig");
    CSignalAnalogInChannel level("Level", testDevices);
    CSignalAnalogOutChannel valve("Valve", testDevices);
    level.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Level</Signal></Channel>"));
    valve.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Valve</Signal></Channel>"));
    level.connectToDevice();
    valve.connectToDevice();
    valve.safeWriteOutput(30.0);

    device.setOffline(true);
    device.updateOnce();
    EXPECT_EQ("Device Rig is offline", level.fault());
    EXPECT_EQ("Device Rig is offline", valve.fault());
    valve.safeWriteOutput(60.0); // throws nothing

    device.setOffline(false);
    EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
    device.updateOnce();
    EXPECT_EQ("", level.fault());
    EXPECT_EQ("", valve.fault());
    EXPECT_EQ(60.0, device.actuatorCommand("Valve")) << "the newest request, without its being repeated";
}

TEST(SignalDevice, AnAbsenceBetweenTwoUpdatesLosesNothing)
{
    CTestDevice device("Rig");
    CSignalAnalogOutChannel valve("Valve", testDevices);
    valve.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Valve</Signal></Channel>"));
    valve.connectToDevice();
    device.setOffline(true);
    valve.safeWriteOutput(60.0);
    device.setOffline(false);
    EXPECT_TRUE(valve.isFaulty());
    device.updateOnce();
    EXPECT_EQ("", valve.fault());
    EXPECT_EQ(60.0, device.actuatorCommand("Valve"));
}

TEST(SignalDevice, ReturnLeavesFaultsOfOthers)
{
    CTestDevice device("Rig");
    CSignalAnalogInChannel level("Level", testDevices);
    device.bindSensor("Level", level);
    device.setOffline(true);
    device.updateOnce();
    level.setFault("the cable is broken");
    device.setOffline(false);
    device.updateOnce();
    EXPECT_EQ("the cable is broken", level.fault());
    device.unbind(level);
}

TEST(SignalDevice, ChannelBoundWhileOfflineIsMarked)
{
    CTestDevice device("Rig");
    device.setOffline(true);
    device.updateOnce();
    CSignalAnalogInChannel level("Level", testDevices);
    CSignalAnalogOutChannel valve("Valve", testDevices);
    device.bindSensor("Level", level);
    device.bindActuator("Valve", valve, {[](const auto&) { return 0.0; }, [] {}});
    EXPECT_EQ("Device Rig is offline", level.fault());
    EXPECT_EQ("Device Rig is offline", valve.fault());
    device.unbind(level);
    device.unbind(valve);
}

TEST(SignalDevice, SensorFaultMarksOnlyChannelsOfThatSensor)
{
    CTestDevice device("Rig");
    CSignalAnalogInChannel level("Level", testDevices);
    CSignalAnalogInChannel flow("Flow", testDevices);
    device.bindSensor("Level", level);
    device.bindSensor("Flow", flow);
    device.setSensorFault(1, "broken");
    EXPECT_EQ("", level.fault());
    EXPECT_EQ("broken", flow.fault());
    device.setSensorFault(1, "");
    EXPECT_EQ("", flow.fault());
    device.unbind(level);
    device.unbind(flow);
}

TEST(SignalDevice, UpdateIntervalIsReadAndChecked)
{
    CTestDevice device("Rig");
    EXPECT_EQ(1, device.updateInterval_ms());
    device.setProperties(nodeOf("<Device UpdateInterval_ms=\"250\"/>"));
    EXPECT_EQ(250, device.updateInterval_ms());
    device.setProperties(nodeOf("<Device/>"));
    EXPECT_EQ(1, device.updateInterval_ms());
    EXPECT_EQ(
        "Device Rig: attribute UpdateInterval_ms is \"0\", but must be a whole number from 1 to 60000 ms",
        messageOf<CConfigurationException>(
            [&] { device.setProperties(nodeOf("<Device UpdateInterval_ms=\"0\"/>")); }));
}
