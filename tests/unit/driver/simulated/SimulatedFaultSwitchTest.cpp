#include "driver/simulated/SimulatedFaultSwitch.h"

#include "driver/simulated/ThermalBench.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <cmath>
#include <memory>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

std::unique_ptr<CSimulatedFaultSwitch> faultSwitch(const std::string& kind, const std::string& signal,
                                                   const std::string& device = "Bench")
{
    auto channel = std::make_unique<CSimulatedFaultSwitch>("Switch");
    channel->setProperties(nodeOf("<Channel><Device>" + device + "</Device><Kind>" + kind + "</Kind>" +
                                  (signal.empty() ? "" : "<Signal>" + signal + "</Signal>") + "</Channel>"));
    channel->connectToDevice();
    return channel;
}

std::string errorOf(const std::string& kind, const std::string& signal, const std::string& device = "Bench")
{
    return messageOf<CConfigurationException>([&] { faultSwitch(kind, signal, device); });
}

} // namespace

TEST(SimulatedFaultSwitch, SwitchesItsFault)
{
    CThermalBench device("Bench");
    CSignalAnalogInChannel vessel("Vessel", simulatedDevices);
    vessel.setProperties(
        nodeOf("<Channel><Device>Bench</Device><Signal>VesselTemperature</Signal></Channel>"));
    vessel.connectToDevice();
    const auto channel = faultSwitch("SensorNaN", "VesselTemperature");
    device.step(0.02);
    EXPECT_EQ(22.0, vessel.readValue()) << "binding switches nothing";
    channel->writeOutput(true);
    device.step(0.02);
    EXPECT_TRUE(std::isnan(vessel.readValue()));
    channel->writeOutput(false);
    device.step(0.02);
    EXPECT_EQ(22.0, vessel.readValue());
    EXPECT_EQ("", channel->fault());
}

TEST(SimulatedFaultSwitch, CanEndAnAbsence)
{
    CThermalBench device("Bench");
    const auto channel = faultSwitch("DeviceAway", "");
    CSignalDigitalOutChannel heater("Heater", simulatedDevices);
    heater.setProperties(nodeOf("<Channel><Device>Bench</Device><Signal>Heater</Signal></Channel>"));
    heater.connectToDevice();
    heater.writeOutput(true);
    channel->writeOutput(true);
    device.step(0.02);
    EXPECT_EQ("Device Bench is offline", heater.fault());
    EXPECT_EQ(0.0, device.actuatorCommand("Heater"));
    EXPECT_EQ("", channel->fault()) << "the switch is not part of what is offline";
    channel->writeOutput(false);
    device.step(0.02);
    EXPECT_EQ("", heater.fault());
    EXPECT_EQ(100.0, device.actuatorCommand("Heater"));
}

TEST(SimulatedFaultSwitch, HasNoPwmMode)
{
    CThermalBench device("Bench");
    const auto channel = faultSwitch("DeviceAway", "");
    const std::string message =
        "Channel Switch is a fault switch: it can be on or off, but has no duty cycle";
    channel->setPWMMode(true);
    EXPECT_EQ(message, channel->fault());
    channel->setPWMMode(false);
    EXPECT_EQ("", channel->fault());
    channel->safeWritePWMDutyCycle(100);
    EXPECT_EQ(message, channel->fault());
    channel->writeOutput(false);
    EXPECT_EQ("", channel->fault());
}

TEST(SimulatedFaultSwitch, ConfigurationIsChecked)
{
    CThermalBench device("Bench");
    EXPECT_EQ("Channel Switch: there is no device Banch; simulated devices are: Bench",
              errorOf("DeviceAway", "", "Banch"));
    EXPECT_EQ(
        "There is no kind of fault Away; kinds are: SensorStuck, SensorNaN, SensorSilent, ActuatorDead, "
        "DeviceAway",
        errorOf("Away", ""));
    EXPECT_EQ("Device Bench: there is no actuator Cooler for fault ActuatorDead; actuators are: Heater",
              errorOf("ActuatorDead", "Cooler"));
}

TEST(SimulatedFaultSwitch, UnboundSwitchIsFaulty)
{
    CSimulatedFaultSwitch channel("Switch");
    channel.writeOutput(true);
    EXPECT_EQ("Channel Switch is not bound to a device", channel.fault());
}
