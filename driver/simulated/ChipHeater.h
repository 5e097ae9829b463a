#pragma once

#include "driver/simulated/SimulatedDevice.h"

#include <memory>

namespace Rvl {

/// A heater whose driver chip generates the PWM signal and passes it on only while a separate enable line is
/// on: a CThermalMass with the power P = duty * HeaterPower while enabled, else 0.
///
/// Sensors "Temperature" in degC, noisy, "Power", the present heater power, in W, and "Enabled", 1 or 0.
/// Actuators "Duty", 0 to 100 percent, and "Enable", on or off. Time stands still while the device is not
/// connected.
///
/// Type name "Rvl::CChipHeater"; attributes, ranges and defaults stand in rivlink_simulated.types.json.
class CChipHeater final : public CSimulatedDevice
{
public:
    /// Registers the name; every property has its default.
    explicit CChipHeater(const std::string& name);
    ~CChipHeater() override;

    /// Takes the node's attributes and begins anew at the initial temperature. Throws CConfigurationException
    /// for a value out of range. Not while connected.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// The true temperature in degC, without noise.
    double temperature() const;
    /// The present heater power in W.
    double power() const;

protected:
    void applyActuator(std::size_t actuator, double value) override;
    void advance(double step_s) override;
    double maximumStep_s() const override;
    double measure(std::size_t sensor) override;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
