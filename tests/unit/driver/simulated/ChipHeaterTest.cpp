#include "driver/simulated/ChipHeater.h"

#include "tests/unit/driver/simulated/DeviceTesting.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

/// A heater with a digital output on each of its actuators, the first of them in PWM mode.
struct SChip
{
    explicit SChip(const std::string& attributes = "", const std::string& content = "")
        : device(rig<CChipHeater>(attributes, content)), duty(channelOn<CSignalDigitalOutChannel>("Duty")),
          enable(channelOn<CSignalDigitalOutChannel>("Enable"))
    {
        duty->setPWMMode(true);
    }
    std::unique_ptr<CChipHeater> device;
    std::unique_ptr<CSignalDigitalOutChannel> duty;
    std::unique_ptr<CSignalDigitalOutChannel> enable;
};

} // namespace

TEST(ChipHeater, HeatsOnlyWhileItIsEnabled)
{
    SChip chip;
    const auto power = channelOn<CSignalAnalogInChannel>("Power");
    const auto enabled = channelOn<CSignalAnalogInChannel>("Enabled");
    chip.duty->safeWritePWMDutyCycle(60);
    chip.device->step(5.0);
    EXPECT_EQ(22.0, chip.device->temperature());
    EXPECT_EQ(0.0, power->readValue());
    EXPECT_EQ(0.0, enabled->readValue());
    chip.enable->writeOutput(true);
    chip.device->step(5.0);
    EXPECT_GT(chip.device->temperature(), 30.0);
    EXPECT_DOUBLE_EQ(12.0, power->readValue());
    EXPECT_EQ(1.0, enabled->readValue());
    chip.enable->writeOutput(false);
    chip.device->step(0.1);
    EXPECT_EQ(0.0, power->readValue());
    EXPECT_EQ(0.0, enabled->readValue());
}

TEST(ChipHeater, EnablingAloneDoesNotHeat)
{
    SChip chip;
    chip.enable->writeOutput(true);
    chip.device->step(5.0);
    EXPECT_EQ(22.0, chip.device->temperature());
}

TEST(ChipHeater, StepResponseIsOfFirstOrder)
{
    // C = 3 J/K and G = 1.5 W/K: time constant 2 s
    SChip chip("HeatCapacity=\"3\" AmbientConductance=\"1.5\" HeaterPower=\"30\"");
    const auto temperature = channelOn<CSignalAnalogInChannel>("Temperature");
    chip.enable->writeOutput(true);
    chip.duty->safeWritePWMDutyCycle(50);
    for (const double time_s : {1.0, 2.0, 3.0}) {
        chip.device->step(1.0);
        EXPECT_NEAR(22.0 + 10.0 * (1.0 - std::exp(-time_s / 2.0)), chip.device->temperature(), 1e-9);
        EXPECT_EQ(chip.device->temperature(), temperature->readValue());
    }
}

TEST(ChipHeater, DeadEnableLineKeepsItFromHeating)
{
    SChip chip;
    chip.enable->writeOutput(true);
    chip.duty->safeWritePWMDutyCycle(100);
    chip.device->setFault(CSimulatedDevice::ActuatorDead, "Enable", true);
    chip.device->step(1.0);
    EXPECT_EQ(0.0, chip.device->power());
    EXPECT_EQ("", chip.enable->fault());
    chip.device->setFault(CSimulatedDevice::ActuatorDead, "Enable", false);
    chip.device->step(1.0);
    EXPECT_EQ(20.0, chip.device->power());
}

TEST(ChipHeater, AbsenceStopsItAndReturnRestoresBothOutputs)
{
    SChip chip;
    chip.enable->writeOutput(true);
    chip.duty->safeWritePWMDutyCycle(100);
    chip.device->step(1.0);
    EXPECT_EQ(20.0, chip.device->power());
    chip.device->setFault(CSimulatedDevice::DeviceAway, "", true);
    chip.device->step(1.0);
    EXPECT_EQ(0.0, chip.device->power());
    EXPECT_EQ("Device Rig is offline", chip.enable->fault());
    chip.device->setFault(CSimulatedDevice::DeviceAway, "", false);
    chip.device->step(1.0);
    EXPECT_EQ(20.0, chip.device->power());
    EXPECT_EQ("", chip.enable->fault());
}

TEST(ChipHeater, SilentSensorPublishesNothing)
{
    SChip chip("", "<Fault Kind=\"SensorSilent\" Signal=\"Temperature\" From_s=\"1\"/>");
    const auto temperature = channelOn<CSignalAnalogInChannel>("Temperature");
    chip.enable->writeOutput(true);
    chip.duty->safeWritePWMDutyCycle(100);
    chip.device->step(0.5);
    const double last = temperature->readValue();
    chip.device->step(2.0);
    EXPECT_EQ(last, temperature->readValue());
    EXPECT_GT(chip.device->temperature(), last);
}
