#include "driver/simulated/PumpedVessel.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/unit/driver/simulated/DeviceTesting.h"

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

void pump(CPumpedVessel& device, double flow)
{
    device.writeActuator(0, flow);
}

/// The time in which the default vessel, without the pump's inertia, comes from one gas volume to another at
/// a constant flow: the integral of dV / (dV/dt) with dV/dt = a + b / V.
double timeBetween(double from, double to, double flow)
{
    const double a = -(flow + 4.0 * 100.0) / 60.0;
    const double b = 4.0 * 100.0 * 30.0 / 60.0;
    const auto antiderivative = [&](double volume) {
        return volume / a - b / (a * a) * std::log(std::abs(a * volume + b));
    };
    return antiderivative(to) - antiderivative(from);
}

std::vector<double> noiseOf(const std::string& attributes, const std::string& signal)
{
    const auto device = rig<CPumpedVessel>(attributes);
    const auto channel = channelOn<CSignalAnalogInChannel>(signal);
    std::vector<double> values;
    for (int i = 0; i < 10000; ++i) {
        device->step(0.0);
        values.push_back(channel->readValue());
    }
    return values;
}

double deviation(const std::vector<double>& values)
{
    double squares = 0.0;
    for (const double value : values) {
        squares += value * value;
    }
    return std::sqrt(squares / static_cast<double>(values.size()));
}

} // namespace

TEST(PumpedVessel, RestsAtAmbientPressure)
{
    const auto device = rig<CPumpedVessel>("");
    device->step(10.0);
    EXPECT_EQ(0.0, device->pressure());
    EXPECT_EQ(0.0, device->flow());
    EXPECT_EQ(30.0, device->gasVolume());
}

TEST(PumpedVessel, WithoutALeakPressureTimesVolumeIsConstant)
{
    const auto device = rig<CPumpedVessel>("Leak=\"0\" PumpTimeConstant_s=\"0\"");
    pump(*device, 300.0); // 5 mL/s
    for (const double time_s : {1.0, 2.0, 3.0}) {
        device->step(1.0);
        EXPECT_NEAR(30.0 - 5.0 * time_s, device->gasVolume(), 1e-9);
        EXPECT_NEAR(100.0 * 30.0 / (30.0 - 5.0 * time_s) - 100.0, device->pressure(), 1e-9);
    }
    pump(*device, -300.0);
    device->step(3.0);
    EXPECT_NEAR(0.0, device->pressure(), 1e-9) << "and empties as it fills";
}

TEST(PumpedVessel, FillsAgainstItsLeakInTheTimeOfTheClosedForm)
{
    const auto device = rig<CPumpedVessel>("PumpTimeConstant_s=\"0\"");
    pump(*device, 240.0);
    double time_s = 0.0;
    for (int i = 0; i < 4; ++i) {
        device->step(0.6);
        time_s += 0.6;
        EXPECT_NEAR(time_s, timeBetween(30.0, device->gasVolume(), 240.0), 1e-6);
    }
}

TEST(PumpedVessel, LeaksOutInTheTimeOfTheClosedForm)
{
    const auto device = rig<CPumpedVessel>("PumpTimeConstant_s=\"0\"");
    pump(*device, 400.0);
    device->step(2.0);
    const double full = device->gasVolume();
    EXPECT_GT(device->pressure(), 40.0);
    pump(*device, 0.0);
    device->step(1.5);
    EXPECT_NEAR(1.5, timeBetween(full, device->gasVolume(), 0.0), 1e-6);
}

TEST(PumpedVessel, SteadyPressureIsFlowByLeak)
{
    const auto device = rig<CPumpedVessel>("Leak=\"2.5\"");
    pump(*device, 125.0);
    device->step(200.0);
    EXPECT_NEAR(50.0, device->pressure(), 1e-6);
    pump(*device, -50.0);
    device->step(200.0);
    EXPECT_NEAR(-20.0, device->pressure(), 1e-6) << "the leak lets in at less than ambient pressure";
}

TEST(PumpedVessel, PumpFollowsWithItsTimeConstant)
{
    const auto device = rig<CPumpedVessel>("PumpTimeConstant_s=\"0.5\" Leak=\"0\"");
    const auto flow = channelOn<CSignalAnalogInChannel>("Flow");
    pump(*device, 200.0);
    device->step(0.5);
    EXPECT_NEAR(200.0 * (1.0 - std::exp(-1.0)), flow->readValue(), 1e-9);
    // pumped so far: 200 mL/min * (t - T (1 - exp(-t / T)))
    EXPECT_NEAR(30.0 - 200.0 / 60.0 * (0.5 - 0.5 * (1.0 - std::exp(-1.0))), device->gasVolume(), 1e-9);
    device->step(0.5);
    EXPECT_NEAR(200.0 * (1.0 - std::exp(-2.0)), flow->readValue(), 1e-9);
}

TEST(PumpedVessel, ReliefValveLimitsThePressure)
{
    const auto device = rig<CPumpedVessel>("Leak=\"0\" ReliefPressure=\"80\"");
    pump(*device, 400.0);
    device->step(20.0);
    EXPECT_NEAR(80.0, device->pressure(), 1e-9);
    EXPECT_NEAR(400.0, device->flow(), 1e-9);
}

TEST(PumpedVessel, StaysSteadyWithATinyCushionAndALargeLeak)
{
    const auto device = rig<CPumpedVessel>("Volume=\"1\" InitialLiquid=\"0.98\" Leak=\"100\" "
                                           "AmbientPressure=\"200\" ReliefPressure=\"1000\"");
    pump(*device, 400.0);
    device->step(2.0);
    EXPECT_NEAR(4.0, device->pressure(), 1e-6) << "flow by leak";
}

TEST(PumpedVessel, EmptyVesselGivesNoMoreThanLeaksIn)
{
    const auto device = rig<CPumpedVessel>("");
    pump(*device, -400.0);
    device->step(60.0);
    EXPECT_EQ(50.0, device->gasVolume());
    EXPECT_NEAR(-40.0, device->pressure(), 1e-9) << "30 mL of gas in 50 mL";
    EXPECT_NEAR(-160.0, device->flow(), 1e-9) << "4 mL/min per kPa";
    pump(*device, 400.0);
    device->step(1.0);
    EXPECT_GT(device->pressure(), -40.0);
    EXPECT_GT(device->flow(), 390.0);
}

TEST(PumpedVessel, PumpChannelKnowsTheConfiguredMaximum)
{
    const auto device = rig<CPumpedVessel>("MaximumFlow=\"150\" PumpTimeConstant_s=\"0\"");
    const auto channel = channelOn<CSignalPumpChannel>("Pump");
    IPumpInterface& registered = *IPumpInterface::NameServer.lookupObject("Pump");
    EXPECT_EQ(150.0, registered.maximumFlow());
    registered.generateFlow(-500.0);
    device->step(0.1);
    EXPECT_EQ(-150.0, device->flow());
    registered.generateFlow(75.0);
    device->step(0.1);
    EXPECT_EQ(75.0, device->flow());
}

TEST(PumpedVessel, DeadPumpPumpsNothing)
{
    const auto device = rig<CPumpedVessel>("PumpTimeConstant_s=\"0\"");
    pump(*device, 200.0);
    device->setFault(CSimulatedDevice::ActuatorDead, "Pump", true);
    device->step(1.0);
    EXPECT_EQ(0.0, device->flow());
    EXPECT_EQ(0.0, device->pressure());
    device->setFault(CSimulatedDevice::ActuatorDead, "Pump", false);
    device->step(0.0);
    device->step(1.0);
    EXPECT_EQ(200.0, device->flow());
}

TEST(PumpedVessel, AbsenceStopsThePumpAndReturnRestoresItsFlow)
{
    const auto device = rig<CPumpedVessel>("PumpTimeConstant_s=\"0\"");
    const auto channel = channelOn<CSignalPumpChannel>("Pump");
    channel->generateFlow(200.0);
    device->setFault(CSimulatedDevice::DeviceAway, "", true);
    device->step(0.1);
    device->step(0.1);
    EXPECT_EQ(0.0, device->flow());
    channel->generateFlow(120.0);
    EXPECT_EQ("Device Rig is offline", channel->fault());
    device->setFault(CSimulatedDevice::DeviceAway, "", false);
    device->step(0.1);
    device->step(0.1);
    EXPECT_EQ(120.0, device->flow());
    EXPECT_EQ("", channel->fault());
}

TEST(PumpedVessel, PressureSensorCanFail)
{
    const auto device =
        rig<CPumpedVessel>("", "<Fault Kind=\"SensorStuck\" Signal=\"Pressure\" From_s=\"1\" To_s=\"3\"/>");
    const auto pressure = channelOn<CSignalAnalogInChannel>("Pressure");
    pump(*device, 200.0);
    device->step(0.9);
    const double before = pressure->readValue();
    device->step(1.0);
    EXPECT_EQ(before, pressure->readValue());
    EXPECT_GT(device->pressure(), before + 1.0);
    device->step(1.2);
    EXPECT_EQ(device->pressure(), pressure->readValue());
}

TEST(PumpedVessel, NoiseOfEachSensorHasItsDeviationAndIsReproducedByTheSeed)
{
    const std::string attributes = "PressureNoise=\"0.5\" FlowNoise=\"2\" Seed=\"7\"";
    const auto pressure = noiseOf(attributes, "Pressure");
    const auto flow = noiseOf(attributes, "Flow");
    EXPECT_NEAR(0.5, deviation(pressure), 0.02);
    EXPECT_NEAR(2.0, deviation(flow), 0.08);
    EXPECT_EQ(pressure, noiseOf(attributes, "Pressure"));
    EXPECT_NE(pressure, noiseOf("PressureNoise=\"0.5\" Seed=\"8\"", "Pressure"));
    double product = 0.0;
    for (std::size_t i = 0; i < pressure.size(); ++i) {
        product += pressure[i] * flow[i];
    }
    EXPECT_NEAR(0.0, product / static_cast<double>(pressure.size()), 0.05) << "the noises are independent";
}

TEST(PumpedVessel, GasNeedsRoom)
{
    EXPECT_EQ("Device Rig: attribute InitialLiquid must leave 1 percent of Volume for the gas",
              messageOf<CConfigurationException>(
                  [] { rig<CPumpedVessel>("Volume=\"20\" InitialLiquid=\"19.9\""); }));
}
