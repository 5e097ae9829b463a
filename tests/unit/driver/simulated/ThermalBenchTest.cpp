#include "driver/simulated/ThermalBench.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

std::unique_ptr<CThermalBench> bench(const std::string& attributes)
{
    auto device = std::make_unique<CThermalBench>("Bench");
    device->setProperties(nodeOf("<Device " + attributes + "/>"));
    return device;
}

void heat(CThermalBench& device, double percent)
{
    device.writeActuator(0, percent);
}

std::unique_ptr<CSignalAnalogInChannel> sensor(const std::string& name)
{
    auto channel = std::make_unique<CSignalAnalogInChannel>(name, simulatedDevices);
    channel->setProperties(nodeOf("<Channel><Device>Bench</Device><Signal>" + name + "</Signal></Channel>"));
    channel->connectToDevice();
    return channel;
}

struct SBodies
{
    double jacket;
    double vessel;
};

/// The same equations by fourth-order Runge-Kutta in small steps, for the default bench at constant power.
SBodies integrated(SBodies start, double power, double duration_s)
{
    const auto derivative = [power](const SBodies& t) {
        return SBodies{(power - 5.0 * (t.jacket - t.vessel) - 1.0 * (t.jacket - 22.0)) / 5.0,
                       (5.0 * (t.jacket - t.vessel) - 1.0 * (t.vessel - 22.0)) / 10.0};
    };
    const auto moved = [](const SBodies& t, const SBodies& rate, double h) {
        return SBodies{t.jacket + h * rate.jacket, t.vessel + h * rate.vessel};
    };
    constexpr double h = 0.001;
    for (int i = static_cast<int>(std::lround(duration_s / h)); i > 0; --i) {
        const SBodies k1 = derivative(start);
        const SBodies k2 = derivative(moved(start, k1, h / 2.0));
        const SBodies k3 = derivative(moved(start, k2, h / 2.0));
        const SBodies k4 = derivative(moved(start, k3, h));
        start.jacket += h / 6.0 * (k1.jacket + 2.0 * k2.jacket + 2.0 * k3.jacket + k4.jacket);
        start.vessel += h / 6.0 * (k1.vessel + 2.0 * k2.vessel + 2.0 * k3.vessel + k4.vessel);
    }
    return start;
}

std::vector<double> noiseOf(const std::string& attributes, const std::string& name, int count)
{
    const auto device = bench(attributes);
    const auto channel = sensor(name);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        device->step(0.02);
        values.push_back(channel->readValue() - 22.0);
    }
    return values;
}

double mean(const std::vector<double>& values)
{
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    return sum / static_cast<double>(values.size());
}

double correlation(const std::vector<double>& a, const std::vector<double>& b)
{
    double ab = 0.0;
    double aa = 0.0;
    double bb = 0.0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        ab += a[i] * b[i];
        aa += a[i] * a[i];
        bb += b[i] * b[i];
    }
    return ab / std::sqrt(aa * bb);
}

} // namespace

TEST(ThermalBench, RestsAtAmbientTemperatureUnheated)
{
    const auto device = bench("AmbientTemperature=\"18.5\"");
    device->step(1000.0);
    EXPECT_DOUBLE_EQ(18.5, device->jacketTemperature());
    EXPECT_DOUBLE_EQ(18.5, device->vesselTemperature());
}

TEST(ThermalBench, ShowsItsTemperaturesAtItsSensors)
{
    const auto device = bench("InitialTemperature=\"40\"");
    const auto jacket = sensor("JacketTemperature");
    const auto vessel = sensor("VesselTemperature");
    heat(*device, 70.0);
    device->step(1.5);
    EXPECT_EQ(device->jacketTemperature(), jacket->readValue());
    EXPECT_EQ(device->vesselTemperature(), vessel->readValue());
    EXPECT_NE(jacket->readValue(), vessel->readValue());
}

TEST(ThermalBench, SteadyStateIsPowerByLoss)
{
    const auto device = bench("HeaterPower=\"80\" JacketAmbientConductance=\"0\" "
                              "VesselAmbientConductance=\"1.6\" JacketVesselConductance=\"4\"");
    heat(*device, 50.0);
    device->step(1000.0);
    EXPECT_NEAR(22.0 + 40.0 / 1.6, device->vesselTemperature(), 1e-9) << "all heat leaves through the vessel";
    EXPECT_NEAR(22.0 + 40.0 / 1.6 + 40.0 / 4.0, device->jacketTemperature(), 1e-9);
}

TEST(ThermalBench, SteadyStateWithBothLosses)
{
    const auto device = bench("");
    heat(*device, 100.0);
    device->step(1000.0);
    // vessel = 5/6 of the jacket, and together they lose 100 W at 1 W/K each
    EXPECT_NEAR(22.0 + 100.0 / (1.0 + 5.0 / 6.0), device->jacketTemperature(), 1e-9);
    EXPECT_NEAR(22.0 + 100.0 / (1.0 + 5.0 / 6.0) * 5.0 / 6.0, device->vesselTemperature(), 1e-9);
}

TEST(ThermalBench, JacketIsOfFirstOrder)
{
    // the vessel is so large that it stays at ambient temperature: C = 6 J/K, G = 3 W/K, time constant 2 s
    const auto device = bench("JacketHeatCapacity=\"6\" JacketVesselConductance=\"2\" "
                              "VesselHeatCapacity=\"1e9\" HeaterPower=\"30\" DeadTime_s=\"0\"");
    heat(*device, 100.0);
    for (const double time_s : {1.0, 2.0, 3.0, 4.0}) {
        device->step(1.0);
        EXPECT_NEAR(22.0 + 10.0 * (1.0 - std::exp(-time_s / 2.0)), device->jacketTemperature(), 1e-6);
    }
}

TEST(ThermalBench, VesselIsOfFirstOrder)
{
    // the jacket is so small that it follows the vessel: C = 10 J/K, G = 2 W/K, time constant 5 s
    const auto device = bench("InitialTemperature=\"42\" JacketHeatCapacity=\"0.001\" "
                              "JacketVesselConductance=\"1e6\" JacketAmbientConductance=\"0\" "
                              "VesselAmbientConductance=\"2\"");
    for (const double time_s : {2.5, 5.0, 7.5}) {
        device->step(2.5);
        EXPECT_NEAR(22.0 + 20.0 * std::exp(-time_s / 5.0), device->vesselTemperature(), 0.01);
    }
}

TEST(ThermalBench, InsulatedBenchKeepsItsHeat)
{
    const auto device =
        bench("JacketAmbientConductance=\"0\" VesselAmbientConductance=\"0\" DeadTime_s=\"0\"");
    heat(*device, 30.0);
    device->step(10.0);
    EXPECT_NEAR(
        300.0, 5.0 * (device->jacketTemperature() - 22.0) + 10.0 * (device->vesselTemperature() - 22.0), 1e-9)
        << "30 W for 10 s";
    heat(*device, 0.0);
    device->step(1e6);
    EXPECT_NEAR(22.0 + 300.0 / 15.0, device->jacketTemperature(), 1e-6);
    EXPECT_NEAR(22.0 + 300.0 / 15.0, device->vesselTemperature(), 1e-6);
}

TEST(ThermalBench, AgreesWithNumericalIntegration)
{
    const auto device = bench("DeadTime_s=\"0\" InitialTemperature=\"30\"");
    SBodies expected{30.0, 30.0};
    for (const double percent : {100.0, 20.0, 0.0}) {
        heat(*device, percent);
        device->step(1.7);
        expected = integrated(expected, percent, 1.7);
        EXPECT_NEAR(expected.jacket, device->jacketTemperature(), 1e-8);
        EXPECT_NEAR(expected.vessel, device->vesselTemperature(), 1e-8);
    }
}

TEST(ThermalBench, ManyShortStepsGiveTheSameAsOneLong)
{
    const auto device = bench("");
    const auto other = std::make_unique<CThermalBench>("Other");
    heat(*device, 60.0);
    heat(*other, 60.0);
    device->step(3.0);
    for (int i = 0; i < 300; ++i) {
        other->step(0.01);
    }
    EXPECT_NEAR(device->jacketTemperature(), other->jacketTemperature(), 1e-9);
    EXPECT_NEAR(device->vesselTemperature(), other->vesselTemperature(), 1e-9);
}

TEST(ThermalBench, HeaterActsAfterTheDeadTime)
{
    const auto device = bench("DeadTime_s=\"0.5\"");
    heat(*device, 100.0);
    device->step(0.5);
    EXPECT_DOUBLE_EQ(22.0, device->jacketTemperature());
    EXPECT_EQ(0.0, device->heaterPower());
    device->step(0.1);
    EXPECT_EQ(100.0, device->heaterPower());
    const SBodies expected = integrated({22.0, 22.0}, 100.0, 0.1);
    EXPECT_NEAR(expected.jacket, device->jacketTemperature(), 1e-8);
}

TEST(ThermalBench, EveryChangeIsDelayedByTheSameDeadTime)
{
    const auto device = bench("DeadTime_s=\"0.5\"");
    heat(*device, 100.0);
    device->step(0.2);
    heat(*device, 40.0);
    device->step(0.4);
    EXPECT_EQ(100.0, device->heaterPower());
    device->step(0.2);
    EXPECT_EQ(40.0, device->heaterPower());
    SBodies expected = integrated({22.0, 22.0}, 100.0, 0.2);
    expected = integrated(expected, 40.0, 0.1);
    EXPECT_NEAR(expected.jacket, device->jacketTemperature(), 1e-8);
    EXPECT_NEAR(expected.vessel, device->vesselTemperature(), 1e-8);
}

TEST(ThermalBench, DefaultBenchGains20KWithin10SecondsAtFullPower)
{
    const auto device = bench("");
    heat(*device, 100.0);
    device->step(10.0);
    EXPECT_GT(device->vesselTemperature(), 42.0);
}

TEST(ThermalBench, CascadeOfTwoPIControllersSettlesWithin25Seconds)
{
    const auto device = bench("");
    double outerSum = 0.0;
    double innerSum = 0.0;
    double jacketSetPoint = 22.0;
    double worst = 0.0;
    for (int step = 0; step < 800; ++step) { // 40 s of 50 ms
        if (step % 4 == 0) {
            const double error = 40.0 - device->vesselTemperature();
            const double unlimited = 22.0 + 2.0 * error + outerSum;
            jacketSetPoint = std::clamp(unlimited, 22.0, 60.0);
            if (jacketSetPoint == unlimited) {
                outerSum += 2.0 / 5.0 * 0.2 * error;
            }
        }
        const double error = jacketSetPoint - device->jacketTemperature();
        const double unlimited = 8.0 * error + innerSum;
        const double output = std::clamp(unlimited, 0.0, 100.0);
        if (output == unlimited) {
            innerSum += 8.0 / 2.0 * 0.05 * error;
        }
        heat(*device, output);
        device->step(0.05);
        if (step >= 500) {
            worst = std::max(worst, std::abs(device->vesselTemperature() - 40.0));
        }
    }
    EXPECT_LT(worst, 0.1);
}

TEST(ThermalBench, WithoutNoiseSensorsShowTheTruth)
{
    for (const double value : noiseOf("", "VesselTemperature", 20)) {
        EXPECT_EQ(0.0, value);
    }
}

TEST(ThermalBench, NoiseIsGaussianWithTheGivenDeviation)
{
    const std::vector<double> noise = noiseOf("Noise=\"0.5\"", "VesselTemperature", 20000);
    double squares = 0.0;
    int within = 0;
    for (const double value : noise) {
        squares += value * value;
        within += std::abs(value) < 0.5 ? 1 : 0;
    }
    EXPECT_NEAR(0.0, mean(noise), 0.02);
    EXPECT_NEAR(0.5, std::sqrt(squares / 20000.0), 0.02);
    EXPECT_NEAR(0.6827, within / 20000.0, 0.02) << "share within one standard deviation";
}

TEST(ThermalBench, NoiseIsReproducedByItsSeed)
{
    const auto first = noiseOf("Noise=\"0.5\" Seed=\"7\"", "VesselTemperature", 1000);
    EXPECT_EQ(first, noiseOf("Noise=\"0.5\" Seed=\"7\"", "VesselTemperature", 1000));
    const auto other = noiseOf("Noise=\"0.5\" Seed=\"8\"", "VesselTemperature", 1000);
    EXPECT_LT(std::abs(correlation(first, other)), 0.15);
}

TEST(ThermalBench, NoiseOfTheSensorsIsIndependent)
{
    const auto vessel = noiseOf("Noise=\"0.5\"", "VesselTemperature", 1000);
    const auto jacket = noiseOf("Noise=\"0.5\"", "JacketTemperature", 1000);
    EXPECT_LT(std::abs(correlation(vessel, jacket)), 0.15);
}

TEST(ThermalBench, NoiseDoesNotTouchThePhysics)
{
    const auto device = bench("Noise=\"5\"");
    device->step(10.0);
    EXPECT_DOUBLE_EQ(22.0, device->vesselTemperature());
}

TEST(ThermalBench, HeaterTakesAnalogPwmAndOnOff)
{
    const auto device = bench("DeadTime_s=\"0\"");
    const auto node = nodeOf("<Channel><Device>Bench</Device><Signal>Heater</Signal></Channel>");
    {
        CSignalAnalogOutChannel analog("Heater", simulatedDevices);
        analog.setProperties(node);
        analog.connectToDevice();
        analog.safeWriteOutput(35.0);
        device->step(0.02);
        EXPECT_DOUBLE_EQ(35.0, device->heaterPower());
        analog.safeWriteOutput(250.0);
        device->step(0.02);
        EXPECT_DOUBLE_EQ(100.0, device->heaterPower()) << "the heater has no more than 100 percent";
    }
    CSignalDigitalOutChannel digital("Heater", simulatedDevices);
    digital.setProperties(node);
    digital.connectToDevice();
    digital.writeOutput(false);
    device->step(0.02);
    EXPECT_EQ(0.0, device->heaterPower());
    digital.writeOutput(true);
    device->step(0.02);
    EXPECT_EQ(100.0, device->heaterPower());
    digital.setPWMMode(true);
    digital.safeWritePWMDutyCycle(15);
    device->step(0.02);
    EXPECT_DOUBLE_EQ(15.0, device->heaterPower());
}

TEST(ThermalBench, RunsInRealTime)
{
    const auto device = bench("DeadTime_s=\"0\" UpdateInterval_ms=\"5\"");
    const auto vessel = sensor("VesselTemperature");
    heat(*device, 100.0);
    device->connect();
    EXPECT_NEAR(22.0, vessel->readValue(), 5.0) << "a value is there once the device is connected";
    ASSERT_TRUE(waitUntil([&] { return vessel->readValue() > 23.0; }));
    device->disconnect();
    EXPECT_EQ(0.0, device->actuatorCommand("Heater"));
    device->step(0.0001);
    EXPECT_EQ(0.0, device->heaterPower());
}

TEST(ThermalBench, ConfigurationMessagesNameKeyValueAndRange)
{
    const auto message = [](const std::string& attributes) {
        return messageOf<CConfigurationException>([&] { bench(attributes); });
    };
    EXPECT_EQ("Device Bench: attribute JacketHeatCapacity is \"0\", but must be a number from 0.001 to "
              "1000000000 J/K",
              message("JacketHeatCapacity=\"0\""));
    EXPECT_EQ("Device Bench: attribute VesselHeatCapacity is \"-1\", but must be a number from 0.001 to "
              "1000000000 J/K",
              message("VesselHeatCapacity=\"-1\""));
    EXPECT_EQ("Device Bench: attribute HeaterPower is \"much\", but must be a number from 0 to 1000000000 W",
              message("HeaterPower=\"much\""));
    EXPECT_EQ("Device Bench: attribute Seed is \"-1\", but must be a whole number from 0 to 4294967295",
              message("Seed=\"-1\""));
}
