#include "driver/common/SignalChannels.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_device/LinearScaling.h"
#include "tests/support/DeviceTools.h"
#include "tests/unit/driver/common/TestDevice.h"

#include <gmock/gmock.h>

#include <cmath>
#include <memory>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

/// A device of another plug-in.
class CForeignDevice : public IDeviceInterface
{
public:
    explicit CForeignDevice(const std::string& name) : IDeviceInterface(name) {}
    void connect() override {}
    void disconnect() override {}
    bool isConnected() const override { return false; }
};

/// A device with a port "Lines" of three lines and an actuator "Level" that is none.
class CPortDevice final : public CSignalDevice
{
public:
    explicit CPortDevice(const std::string& name) : CSignalDevice(name, 1)
    {
        addPort("Lines", 3);
        addActuator("Level", 0.0, 7.0);
    }
    ~CPortDevice() override { disconnect(); }
    using CSignalDevice::setActuatorRange;
    using CSignalDevice::setOffline;
    void updateOnce()
    {
        withUpdateLock([this] { update(0.0); });
    }

protected:
    void update(double) override { reportOffline(); }
};

const SDeviceFamily portDevices{
    "a port device", "port devices",
    [](IDeviceInterface* device) -> CSignalDevice* { return dynamic_cast<CPortDevice*>(device); }};

/// A device with an actuator of 4 to 20, as a current loop has.
class CCurrentDevice final : public CSignalDevice
{
public:
    explicit CCurrentDevice(const std::string& name) : CSignalDevice(name, 1)
    {
        addActuator("Current", 4.0, 20.0);
    }
    ~CCurrentDevice() override { disconnect(); }
    using CSignalDevice::setOffline;
    void updateOnce()
    {
        withUpdateLock([this] { update(0.0); });
    }

protected:
    void update(double) override { reportOffline(); }
};

const SDeviceFamily currentDevices{
    "a current device", "current devices",
    [](IDeviceInterface* device) -> CSignalDevice* { return dynamic_cast<CCurrentDevice*>(device); }};

template <class Channel>
std::unique_ptr<Channel> bound(const std::string& name, const std::string& device, const std::string& signal,
                               const SDeviceFamily& family = testDevices, const std::string& safeValue = "")
{
    auto channel = std::make_unique<Channel>(name, family);
    boost::property_tree::ptree node;
    if (!safeValue.empty()) {
        node.put("<xmlattr>.SafeValue", safeValue);
    }
    node.put("Device", device);
    node.put("Signal", signal);
    channel->setProperties(node);
    channel->connectToDevice();
    return channel;
}

template <class Channel> std::string bindingError(const std::string& device, const std::string& signal)
{
    return messageOf<CConfigurationException>([&] { bound<Channel>("Channel 1", device, signal); });
}

} // namespace

TEST(SignalChannels, UnknownDeviceIsNamedWithThoseThereAre)
{
    EXPECT_EQ("Channel Channel 1: there is no device Rug; test devices are: none",
              bindingError<CSignalAnalogInChannel>("Rug", "Level"));
    CTestDevice first("Rig 1");
    CTestDevice second("Rig 2");
    CForeignDevice foreign("Other");
    EXPECT_EQ("Channel Channel 1: there is no device Rug; test devices are: Rig 1, Rig 2",
              bindingError<CSignalAnalogInChannel>("Rug", "Level"));
}

TEST(SignalChannels, DeviceOfAnotherSortIsRefused)
{
    CTestDevice device("Rig");
    CForeignDevice foreign("Other");
    EXPECT_EQ("Channel Channel 1: device Other is not a test device; test devices are: Rig",
              bindingError<CSignalDigitalOutChannel>("Other", "Valve"));
}

TEST(SignalChannels, UnknownSignalIsNamedWithThoseThereAre)
{
    CTestDevice device("Rig");
    EXPECT_EQ("Channel Channel 1: device Rig has no sensor Valve; its sensors are: Level, Flow",
              bindingError<CSignalAnalogInChannel>("Rig", "Valve"));
    EXPECT_EQ("Channel Channel 1: device Rig has no actuator Level; its actuators are: Valve, Pump",
              bindingError<CSignalAnalogOutChannel>("Rig", "Level"));
    EXPECT_EQ("Channel Channel 1: device Rig has no actuator valve; its actuators are: Valve, Pump",
              bindingError<CSignalDigitalOutChannel>("Rig", "valve"));
}

TEST(SignalChannels, AnActuatorHasOneDriver)
{
    CTestDevice device("Rig");
    const auto first = bound<CSignalAnalogOutChannel>("First", "Rig", "Valve");
    EXPECT_EQ("Channel Channel 1: actuator Valve of device Rig is already driven by channel First",
              bindingError<CSignalDigitalOutChannel>("Rig", "Valve"));
    first->connectToDevice(); // once more is no conflict with itself
    EXPECT_EQ("nothing was thrown", bindingError<CSignalDigitalOutChannel>("Rig", "Pump"));
}

TEST(SignalChannels, MissingKeysAreNamed)
{
    CSignalAnalogInChannel channel("Level", testDevices);
    EXPECT_EQ("No such node (Device)", messageOf<boost::property_tree::ptree_error>([&] {
                  channel.setProperties(nodeOf("<Channel><Signal>Level</Signal></Channel>"));
              }));
    EXPECT_EQ("No such node (Signal)", messageOf<boost::property_tree::ptree_error>([&] {
                  channel.setProperties(nodeOf("<Channel><Device>Rig</Device></Channel>"));
              }));
}

TEST(SignalChannels, BindingDrivesNothing)
{
    CTestDevice device("Rig");
    const auto analog = bound<CSignalAnalogOutChannel>("Analog", "Rig", "Valve");
    const auto digital = bound<CSignalDigitalOutChannel>("Digital", "Rig", "Pump");
    EXPECT_THAT(device.notes(), testing::IsEmpty());
}

TEST(SignalChannels, SeveralInputsMayShowOneSensor)
{
    CTestDevice device("Rig");
    const auto first = bound<CSignalAnalogInChannel>("First", "Rig", "Level");
    const auto second = bound<CSignalAnalogInChannel>("Second", "Rig", "Level");
    second->setScaling(new CLinearScaling(10.0, 1.0, "mm"));
    device.updateOnce();
    EXPECT_EQ(1.0, first->readValue());
    EXPECT_EQ(11.0, second->readValue());
}

TEST(SignalChannels, AnalogOutputPassesTheUnscaledValue)
{
    CTestDevice device("Rig");
    const auto valve = bound<CSignalAnalogOutChannel>("Valve", "Rig", "Valve");
    valve->setScaling(new CLinearScaling(0.5, 0.0, "turns"));
    valve->safeWriteOutput(20.0);
    EXPECT_EQ(40.0, device.actuatorCommand("Valve"));
}

TEST(SignalChannels, DigitalOutputGivesAllOrNothing)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalDigitalOutChannel>("Pump", "Rig", "Pump");
    pump->writeOutput(true);
    EXPECT_EQ(5.0, device.actuatorCommand("Pump"));
    pump->writeOutput(false);
    EXPECT_EQ(0.0, device.actuatorCommand("Pump"));
}

TEST(SignalChannels, DutyCycleCountsInPwmModeOnly)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalDigitalOutChannel>("Pump", "Rig", "Pump");
    pump->safeWritePWMDutyCycle(40);
    EXPECT_EQ(2.0, device.actuatorCommand("Pump"));
    pump->setPWMMode(false);
    EXPECT_EQ(0.0, device.actuatorCommand("Pump")) << "it was never switched on";
    pump->setPWMMode(true);
    EXPECT_EQ(2.0, device.actuatorCommand("Pump"));
    pump->writeOutput(true);
    EXPECT_EQ(2.0, device.actuatorCommand("Pump")) << "on and off have no effect in PWM mode";
    pump->safeWritePWMDutyCycle(100);
    EXPECT_EQ(5.0, device.actuatorCommand("Pump"));
    pump->safeWritePWMDutyCycle(20);
    pump->setPWMMode(false);
    EXPECT_EQ(5.0, device.actuatorCommand("Pump")) << "it was switched on meanwhile";
}

TEST(SignalChannels, ChoosingTheModeAfterAReconnectDoesNotBringBackTheOldDutyCycle)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalDigitalOutChannel>("Pump", "Rig", "Pump");
    device.connect();
    pump->setPWMMode(true);
    pump->safeWritePWMDutyCycle(40);
    EXPECT_EQ(2.0, device.actuatorCommand("Pump"));
    device.disconnect();
    device.connect();
    pump->setPWMMode(true);
    EXPECT_EQ(0.0, device.actuatorCommand("Pump"));
    pump->safeWritePWMDutyCycle(20);
    EXPECT_EQ(1.0, device.actuatorCommand("Pump"));
}

TEST(SignalChannels, ReturnRestoresModeAndDutyCycle)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalDigitalOutChannel>("Pump", "Rig", "Pump");
    pump->setPWMMode(true);
    pump->safeWritePWMDutyCycle(40);
    device.setOffline(true);
    pump->safeWritePWMDutyCycle(60);
    EXPECT_EQ("Device Rig is offline", pump->fault());
    device.setOffline(false);
    device.updateOnce();
    EXPECT_EQ(3.0, device.actuatorCommand("Pump"));
    EXPECT_EQ("", pump->fault());
}

TEST(SignalChannels, UnboundOutputIsFaultyInsteadOfThrowing)
{
    CSignalAnalogOutChannel analog("Analog", testDevices);
    CSignalDigitalOutChannel digital("Digital", testDevices);
    analog.safeWriteOutput(1.0);
    digital.writeOutput(true);
    EXPECT_EQ("Channel Analog is not bound to a device", analog.fault());
    EXPECT_EQ("Channel Digital is not bound to a device", digital.fault());
}

TEST(SignalChannels, PortWritesTheLinesOfTheMaskAndLeavesTheOthers)
{
    CPortDevice device("Rig");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices);
    IDigitalOutInterface& found = *IDigitalOutInterface::NameServer.lookupObject("Port");
    found.writeMasked(3, 2);
    EXPECT_EQ(2.0, device.actuatorCommand("Lines"));
    found.writeMasked(4, 7);
    EXPECT_EQ(6.0, device.actuatorCommand("Lines"));
    found.writeMasked(3, 1);
    EXPECT_EQ(5.0, device.actuatorCommand("Lines"));
    EXPECT_EQ("", port->fault());
}

TEST(SignalChannels, PortWithoutAWrittenLineIsFaultyAndWritesTheOthers)
{
    CPortDevice device("Rig");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices);
    port->writeMasked(9, 9);
    EXPECT_EQ(1.0, device.actuatorCommand("Lines"));
    EXPECT_EQ("Channel Port: the port does not have all lines that were written", port->fault());
    port->writeMasked(7, 4);
    EXPECT_EQ(4.0, device.actuatorCommand("Lines"));
    EXPECT_EQ("", port->fault());
}

TEST(SignalChannels, PortBindsToAPortOnly)
{
    CPortDevice device("Rig");
    const auto bind = [] { bound<CSignalDigitalPortChannel>("Port", "Rig", "Level", portDevices); };
    EXPECT_EQ("Channel Port: actuator Level of device Rig is no digital port",
              messageOf<CConfigurationException>(bind));
    const auto level = bound<CSignalAnalogOutChannel>("Level", "Rig", "Level", portDevices);
    level->safeWriteOutput(3.0);
    EXPECT_EQ(3.0, device.actuatorCommand("Level")) << "the refused channel does not hold the actuator";
}

TEST(SignalChannels, ReturnRestoresThePort)
{
    CPortDevice device("Rig");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices);
    port->writeMasked(7, 6);
    device.setOffline(true);
    port->writeMasked(3, 1);
    EXPECT_EQ("Device Rig is offline", port->fault());
    EXPECT_EQ(0.0, device.actuatorCommand("Lines"));
    device.setOffline(false);
    device.updateOnce();
    EXPECT_EQ(5.0, device.actuatorCommand("Lines"));
    EXPECT_EQ("", port->fault());
}

TEST(SignalChannels, WritingALineAfterAReconnectDoesNotBringBackTheOthers)
{
    CPortDevice device("Rig");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices);
    device.connect();
    port->writeMasked(7, 6);
    device.disconnect();
    device.connect();
    port->writeMasked(1, 1);
    EXPECT_EQ(1.0, device.actuatorCommand("Lines"));
}

TEST(SignalChannels, PumpGeneratesASignedFlowUpToItsMaximum)
{
    CTestDevice device("Rig");
    const auto channel = bound<CSignalPumpChannel>("Feed", "Rig", "Pump");
    IPumpInterface& pump = *IPumpInterface::NameServer.lookupObject("Feed");
    EXPECT_EQ(5.0, pump.maximumFlow());
    pump.generateFlow(3.5);
    EXPECT_EQ(3.5, device.actuatorCommand("Pump"));
    pump.generateFlow(-1.5);
    EXPECT_EQ(-1.5, device.actuatorCommand("Pump"));
    pump.generateFlow(8.0);
    EXPECT_EQ(5.0, device.actuatorCommand("Pump"));
    EXPECT_EQ("", channel->fault());
}

TEST(SignalChannels, PumpTakesItsSafeValueForWhatIsNotANumber)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalPumpChannel>("Feed", "Rig", "Pump");
    pump->generateFlow(3.5);
    pump->generateFlow(std::nan(""));
    EXPECT_EQ(0.0, device.actuatorCommand("Pump"));
    EXPECT_EQ("Device Rig refuses a value that is not a number; the safe value was taken instead",
              pump->fault());
    pump->generateFlow(2.0);
    EXPECT_EQ("", pump->fault());
}

TEST(SignalChannels, ReturnRestoresThePumpsFlow)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalPumpChannel>("Feed", "Rig", "Pump");
    pump->generateFlow(3.5);
    device.setOffline(true);
    pump->generateFlow(2.5);
    EXPECT_EQ("Device Rig is offline", pump->fault());
    device.setOffline(false);
    device.updateOnce();
    EXPECT_EQ(2.5, device.actuatorCommand("Pump"));
    EXPECT_EQ("", pump->fault());
}

TEST(SignalChannels, ReturnWritesNothingToAPortOrPumpNeverWritten)
{
    CTestDevice device("Rig");
    CPortDevice other("Other");
    const auto pump = bound<CSignalPumpChannel>("Feed", "Rig", "Pump");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Other", "Lines", portDevices);
    device.writeActuator(1, 2.0);
    other.writeActuator(0, 2.0);
    for (const bool offline : {true, false}) {
        device.setOffline(offline);
        other.setOffline(offline);
        device.updateOnce();
        other.updateOnce();
    }
    EXPECT_EQ(0.0, device.actuatorCommand("Pump"));
    EXPECT_EQ(0.0, other.actuatorCommand("Lines"));
}

TEST(SignalChannels, UnboundPortAndPumpAreFaultyInsteadOfThrowing)
{
    CSignalDigitalPortChannel port("Port", portDevices);
    CSignalPumpChannel pump("Feed", testDevices);
    port.writeMasked(1, 1);
    pump.generateFlow(1.0);
    EXPECT_EQ(0.0, pump.maximumFlow());
    EXPECT_EQ("Channel Port is not bound to a device", port.fault());
    EXPECT_EQ("Channel Feed is not bound to a device", pump.fault());
}

TEST(SignalChannels, AnActuatorsNewRangeLimitsWhatWasWrittenBefore)
{
    CPortDevice device("Rig");
    const auto pump = bound<CSignalPumpChannel>("Feed", "Rig", "Level", portDevices);
    pump->generateFlow(6.0);
    device.setActuatorRange(1, -4.0, 4.0);
    EXPECT_EQ(4.0, device.actuatorCommand("Level"));
    EXPECT_EQ(4.0, pump->maximumFlow());
    pump->generateFlow(-9.0);
    EXPECT_EQ(-4.0, device.actuatorCommand("Level"));
}

TEST(SignalChannels, ChannelsMayGoWhileTheirDeviceRuns)
{
    CTestDevice device("Rig");
    device.connect();
    for (int round = 0; round < 50; ++round) {
        const auto level = bound<CSignalAnalogInChannel>("Level", "Rig", "Level");
        const auto valve = bound<CSignalAnalogOutChannel>("Valve", "Rig", "Valve");
        valve->safeWriteOutput(round);
        device.setOffline(round % 3 == 0);
        ASSERT_TRUE(waitUntil([&] { return level->readValue() > 0.0; }));
    }
    device.setOffline(false);
    device.writeActuator(0, 7.0);
    EXPECT_EQ(7.0, device.actuatorCommand("Valve")) << "the actuator outlives its channels";
}

TEST(SignalChannels, ActuatorHasItsChannelsSafeValueWheneverItIsNotDriven)
{
    CCurrentDevice device("Rig");
    EXPECT_EQ(4.0, device.actuatorCommand("Current")) << "without a channel the end nearest to 0";
    const auto current = bound<CSignalAnalogOutChannel>("Current", "Rig", "Current", currentDevices, "5");
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "before anything is written";
    device.connect();
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "connected and not yet written";
    current->safeWriteOutput(12.0);
    EXPECT_EQ(12.0, device.actuatorCommand("Current"));
    current->safeWriteOutput(std::nan(""));
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "in the place of what is not a number";
    current->safeWriteOutput(14.0);
    device.setOffline(true);
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "lost";
    device.setOffline(false);
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "back, and not written again yet";
    device.updateOnce();
    EXPECT_EQ(14.0, device.actuatorCommand("Current"));
    device.disconnect();
    EXPECT_EQ(5.0, device.actuatorCommand("Current")) << "at the end";
}

TEST(SignalChannels, SafeValueIsOnTheChannelsScale)
{
    CCurrentDevice device("Rig");
    CSignalAnalogOutChannel valve("Valve", currentDevices);
    boost::property_tree::ptree node;
    node.put("Device", "Rig");
    node.put("Signal", "Current");
    node.put("<xmlattr>.SafeValue", "25");
    valve.setProperties(node);
    valve.setScaling(new CLinearScaling(6.25, -25.0, "%")); // 4 to 20 are 0 to 100 %
    valve.connectToDevice();
    EXPECT_EQ(8.0, device.actuatorCommand("Current"));
}

TEST(SignalChannels, SafeValueOutsideTheActuatorsRangeIsRefused)
{
    const auto error = [](const std::string& safeValue) {
        return messageOf<CConfigurationException>(
            [&] { bound<CSignalAnalogOutChannel>("Current", "Rig", "Current", currentDevices, safeValue); });
    };
    CCurrentDevice device("Rig");
    EXPECT_EQ(
        "Channel Current: the safe value 0 is outside the range of actuator Current of device Rig; expected "
        "one from 4 to 20",
        error(""))
        << "the default";
    EXPECT_EQ("Channel Current: the safe value 20.5 is outside the range of actuator Current of device Rig; "
              "expected one from 4 to 20",
              error("20.5"));
    EXPECT_EQ(4.0, device.actuatorCommand("Current"));
    EXPECT_EQ("nothing was thrown", error("20")) << "the refused channels do not hold the actuator";
}

TEST(SignalChannels, BindingLeavesWhatWasWritten)
{
    CCurrentDevice device("Rig");
    device.writeActuator(0, 12.0);
    const auto current = bound<CSignalAnalogOutChannel>("Current", "Rig", "Current", currentDevices, "5");
    EXPECT_EQ(12.0, device.actuatorCommand("Current"));
}

TEST(SignalChannels, DigitalOutputHasItsSafeDutyCycleUntilItsStateIsWritten)
{
    CTestDevice device("Rig");
    const auto valve = bound<CSignalDigitalOutChannel>("Valve", "Rig", "Valve", testDevices, "40");
    EXPECT_EQ(40.0, device.actuatorCommand("Valve"));
    device.connect();
    valve->setPWMMode(true);
    EXPECT_EQ(40.0, device.actuatorCommand("Valve")) << "a mode is no state";
    valve->safeWritePWMDutyCycle(70);
    EXPECT_EQ(70.0, device.actuatorCommand("Valve"));
    valve->setPWMMode(false);
    EXPECT_EQ(40.0, device.actuatorCommand("Valve")) << "on or off was never written";
    valve->writeOutput(false);
    EXPECT_EQ(0.0, device.actuatorCommand("Valve"));
    valve->writeOutput(true);
    EXPECT_EQ(100.0, device.actuatorCommand("Valve"));
    device.disconnect();
    EXPECT_EQ(40.0, device.actuatorCommand("Valve"));
    device.connect();
    valve->setPWMMode(false);
    EXPECT_EQ(40.0, device.actuatorCommand("Valve")) << "the state from before the loss does not come back";
}

TEST(SignalChannels, DigitalOutputsSafeValueIsAPercentage)
{
    CTestDevice device("Rig");
    const auto error = [](const std::string& safeValue) {
        return messageOf<CConfigurationException>(
            [&] { bound<CSignalDigitalOutChannel>("Valve", "Rig", "Valve", testDevices, safeValue); });
    };
    EXPECT_EQ("SafeValue of channel Valve does not lie between 0 and 100 percent", error("101"));
    EXPECT_EQ("SafeValue of channel Valve does not lie between 0 and 100 percent", error("-1"));
    EXPECT_THROW(bound<CSignalDigitalOutChannel>("Valve", "Rig", "Valve", testDevices, "on"),
                 boost::property_tree::ptree_bad_data);
}

TEST(SignalChannels, PortHasItsSafeLinesUntilTheyAreWritten)
{
    CPortDevice device("Rig");
    const auto port = bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices, "0x5");
    EXPECT_EQ(5.0, device.actuatorCommand("Lines"));
    device.connect();
    port->writeMasked(2, 2);
    EXPECT_EQ(7.0, device.actuatorCommand("Lines"));
    port->writeMasked(5, 0);
    EXPECT_EQ(2.0, device.actuatorCommand("Lines"));
    device.disconnect();
    EXPECT_EQ(5.0, device.actuatorCommand("Lines"));
    device.connect();
    port->writeMasked(2, 0);
    EXPECT_EQ(5.0, device.actuatorCommand("Lines"));
}

TEST(SignalChannels, PortsSafeValueIsAPatternOfItsLines)
{
    CPortDevice device("Rig");
    const auto error = [](const std::string& safeValue) {
        return messageOf<CConfigurationException>(
            [&] { bound<CSignalDigitalPortChannel>("Port", "Rig", "Lines", portDevices, safeValue); });
    };
    EXPECT_EQ("Channel Port: the safe value \"up\" is no hexadecimal number", error("up"));
    EXPECT_EQ(
        "Channel Port: the safe value 8 is outside the range of actuator Lines of device Rig; expected one "
        "from 0 to 7",
        error("8"));
}

TEST(SignalChannels, PumpHasItsSafeFlowWheneverItIsNotDriven)
{
    CTestDevice device("Rig");
    const auto pump = bound<CSignalPumpChannel>("Feed", "Rig", "Pump", testDevices, "-0.5");
    EXPECT_EQ(-0.5, device.actuatorCommand("Pump"));
    device.connect();
    pump->generateFlow(3.0);
    pump->generateFlow(std::nan(""));
    EXPECT_EQ(-0.5, device.actuatorCommand("Pump"));
    pump->generateFlow(3.0);
    device.disconnect();
    EXPECT_EQ(-0.5, device.actuatorCommand("Pump"));
}
