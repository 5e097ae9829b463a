#pragma once

#include "driver/simulated/SimulatedDevice.h"

#include <memory>

namespace Rvl {

/// A body on a Peltier element, which heats or cools it: a CThermalMass with the power
///
///   P = +magnitude * HeatingPower   with line 1 of the direction on and line 0 off (pattern 2)
///   P = -magnitude * CoolingPower   with line 0 on and line 1 off (pattern 1)
///   P = 0                           with both or none: no current flows
///
/// Sensors "Temperature" in degC, noisy, and "Power", the present power into the body, in W. Actuators
/// "Direction", a digital port of two lines, and "Magnitude", 0 to 100 percent. Time stands still while the
/// bench is not connected.
///
/// Type name "Rvl::CPeltierBench"; attributes, ranges and defaults stand in rivlink_simulated.types.json.
class CPeltierBench final : public CSimulatedDevice
{
public:
    /// Registers the name; every property has its default.
    explicit CPeltierBench(const std::string& name);
    ~CPeltierBench() override;

    /// Takes the node's attributes and begins anew at the initial temperature. Throws CConfigurationException
    /// for a value out of range. Not while connected.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// The body's true temperature in degC, without noise.
    double temperature() const;
    /// The present power of the Peltier element into the body in W; negative if it cools.
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
