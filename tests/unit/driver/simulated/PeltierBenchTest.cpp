#include "driver/simulated/PeltierBench.h"

#include "tests/unit/driver/simulated/DeviceTesting.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

constexpr std::size_t direction = 0;
constexpr std::size_t magnitude = 1;

void drive(CPeltierBench& device, unsigned lines, double percent)
{
    device.writeActuator(direction, lines);
    device.writeActuator(magnitude, percent);
}

} // namespace

TEST(PeltierBench, StepResponsesOfHeatingAndCoolingAreOfFirstOrder)
{
    // C = 3 J/K and G = 1.5 W/K: time constant 2 s
    const auto device = rig<CPeltierBench>("HeatCapacity=\"3\" AmbientConductance=\"1.5\" "
                                           "HeatingPower=\"24\" CoolingPower=\"12\"");
    drive(*device, 2, 50.0);
    device->step(2.0);
    EXPECT_NEAR(22.0 + 8.0 * (1.0 - std::exp(-1.0)), device->temperature(), 1e-9);
    device->step(1000.0);
    EXPECT_NEAR(30.0, device->temperature(), 1e-9);
    drive(*device, 1, 50.0);
    device->step(2.0);
    EXPECT_NEAR(18.0 + 12.0 * std::exp(-1.0), device->temperature(), 1e-9);
    device->step(1000.0);
    EXPECT_NEAR(18.0, device->temperature(), 1e-9);
}

TEST(PeltierBench, NoCurrentFlowsWithBothLinesOrNone)
{
    const auto device = rig<CPeltierBench>("");
    for (const unsigned lines : {0U, 3U}) {
        drive(*device, lines, 100.0);
        device->step(10.0);
        EXPECT_EQ(22.0, device->temperature());
        EXPECT_EQ(0.0, device->power());
    }
    drive(*device, 1, 100.0);
    device->step(0.1);
    EXPECT_EQ(-10.0, device->power());
    drive(*device, 2, 100.0);
    device->step(0.1);
    EXPECT_EQ(20.0, device->power());
}

TEST(PeltierBench, IsDrivenThroughAPortAndAnAnalogOutput)
{
    const auto device = rig<CPeltierBench>("");
    const auto port = channelOn<CSignalDigitalPortChannel>("Direction");
    const auto current = channelOn<CSignalAnalogOutChannel>("Magnitude");
    const auto temperature = channelOn<CSignalAnalogInChannel>("Temperature");
    const auto power = channelOn<CSignalAnalogInChannel>("Power");
    IDigitalOutInterface::NameServer.lookupObject("Direction")->writeMasked(3, 1);
    current->safeWriteOutput(40.0);
    device->step(1.0);
    EXPECT_DOUBLE_EQ(-4.0, power->readValue());
    EXPECT_EQ(device->temperature(), temperature->readValue());
    EXPECT_LT(temperature->readValue(), 22.0);
    current->safeWriteOutput(400.0);
    device->step(1.0);
    EXPECT_DOUBLE_EQ(-10.0, power->readValue()) << "the element takes no more than 100 percent";
}

TEST(PeltierBench, MagnitudeTakesADutyCycle)
{
    const auto device = rig<CPeltierBench>("");
    const auto port = channelOn<CSignalDigitalPortChannel>("Direction");
    const auto current = channelOn<CSignalDigitalOutChannel>("Magnitude");
    port->writeMasked(3, 2);
    current->setPWMMode(true);
    current->safeWritePWMDutyCycle(25);
    device->step(0.1);
    EXPECT_DOUBLE_EQ(5.0, device->power());
}

TEST(PeltierBench, DeadActuatorsStopTheCurrent)
{
    const auto device = rig<CPeltierBench>("");
    drive(*device, 2, 100.0);
    for (const std::string actuator : {"Direction", "Magnitude"}) {
        device->setFault(CSimulatedDevice::ActuatorDead, actuator, true);
        device->step(0.1);
        EXPECT_EQ(0.0, device->power()) << actuator;
        device->setFault(CSimulatedDevice::ActuatorDead, actuator, false);
        device->step(0.1);
        EXPECT_EQ(20.0, device->power()) << actuator;
    }
}

TEST(PeltierBench, AbsenceStopsTheCurrentAndReturnRestoresIt)
{
    const auto device = rig<CPeltierBench>("");
    const auto port = channelOn<CSignalDigitalPortChannel>("Direction");
    const auto current = channelOn<CSignalAnalogOutChannel>("Magnitude");
    port->writeMasked(3, 1);
    current->safeWriteOutput(100.0);
    device->setFault(CSimulatedDevice::DeviceAway, "", true);
    device->step(0.1);
    EXPECT_EQ(0.0, device->power());
    port->writeMasked(3, 2);
    EXPECT_EQ("Device Rig is offline", port->fault());
    device->setFault(CSimulatedDevice::DeviceAway, "", false);
    device->step(0.1);
    EXPECT_EQ(20.0, device->power()) << "the direction written meanwhile, and the magnitude from before";
    EXPECT_EQ("", port->fault());
}

TEST(PeltierBench, ItsSensorCanFail)
{
    const auto device =
        rig<CPeltierBench>("", "<Fault Kind=\"SensorStuck\" Signal=\"Temperature\" From_s=\"1\" To_s=\"3\"/>"
                               "<Fault Kind=\"SensorNaN\" Signal=\"Power\" From_s=\"1\" To_s=\"3\"/>");
    const auto temperature = channelOn<CSignalAnalogInChannel>("Temperature");
    const auto power = channelOn<CSignalAnalogInChannel>("Power");
    drive(*device, 2, 100.0);
    device->step(0.5);
    const double before = temperature->readValue();
    device->step(1.5);
    EXPECT_EQ(before, temperature->readValue());
    EXPECT_TRUE(std::isnan(power->readValue()));
    device->step(1.5);
    EXPECT_EQ(device->temperature(), temperature->readValue());
    EXPECT_EQ(20.0, power->readValue());
}

TEST(PeltierBench, DisconnectingTakesTheCurrentTo0)
{
    const auto device = rig<CPeltierBench>("UpdateInterval_ms=\"1\"");
    const auto power = channelOn<CSignalAnalogInChannel>("Power");
    drive(*device, 2, 100.0);
    device->connect();
    ASSERT_TRUE(waitUntil([&] { return power->readValue() == 20.0; }));
    device->disconnect();
    EXPECT_EQ(0.0, device->power());
}
