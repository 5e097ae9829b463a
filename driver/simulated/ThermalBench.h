#pragma once

#include "driver/simulated/SimulatedDevice.h"

#include <memory>

namespace Rvl {

/// A small bench: a vessel in a heated jacket.
///
///   C_j dT_j/dt = P(t - deadTime) - G_jv (T_j - T_v) - G_ja (T_j - T_a)
///   C_v dT_v/dt =                   G_jv (T_j - T_v) - G_va (T_v - T_a)
///
/// T_j, T_v, T_a: temperatures of jacket, vessel and ambient in degC; C: heat capacities in J/K; G: thermal
/// conductances in W/K; P: heater power in W, the actuator's percentage of the attribute "HeaterPower". The
/// equations are solved exactly from one change of the power to the next, so the update interval costs no
/// accuracy.
///
/// Sensors "JacketTemperature" and "VesselTemperature" in degC, each with independent Gaussian noise that
/// depends on the seed only. Actuator "Heater", 0 to 100 percent. Both bodies begin at the initial
/// temperature; time stands still for them while the bench is not connected.
///
/// Type name "Rvl::CThermalBench". Every attribute has a default, so that a bench without attributes reacts
/// within seconds; ranges and defaults stand in rivlink_simulated.types.json.
class CThermalBench final : public CSimulatedDevice
{
public:
    /// Registers the name; every property has its default.
    explicit CThermalBench(const std::string& name);
    ~CThermalBench() override;

    /// Takes the node's attributes and begins anew at the initial temperature. Throws CConfigurationException
    /// for a value out of range. Not while connected.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// The bodies' true temperatures in degC, without noise.
    double jacketTemperature() const;
    double vesselTemperature() const;
    /// The present power into the jacket in W: the heater's power one dead time ago.
    double heaterPower() const;

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
