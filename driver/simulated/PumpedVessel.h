#pragma once

#include "driver/simulated/SimulatedDevice.h"

#include <memory>

namespace Rvl {

/// A closed vessel with a cushion of gas over the liquid that a pump brings in or takes out, and a capillary
/// through which liquid leaks to a reservoir at ambient pressure.
///
///   dV/dt = -(q - k p) / 60           p = p_a (V_0 / V - 1)
///   dq/dt = (q_set - q) / T_p
///
/// V: gas volume in mL, V_0 at the start; p: pressure above ambient in kPa, 0 at the start; p_a: ambient
/// pressure in kPa; q: flow of the pump into the vessel in mL/min, negative out of it; q_set: its commanded
/// value; k: leak in mL/min per kPa; T_p: time constant of the pump. The gas keeps its temperature. A relief
/// valve lets out what would raise the pressure above its own, and from an empty vessel the pump draws no
/// more than leaks in.
///
/// Sensors "Pressure" in kPa above ambient and "Flow", q in mL/min, each with independent Gaussian noise that
/// depends on the seed only. Actuator "Pump" in mL/min, limited to the maximum flow in either direction.
/// Time stands still while the vessel is not connected.
///
/// Type name "Rvl::CPumpedVessel"; attributes, ranges and defaults stand in rivlink_simulated.types.json.
class CPumpedVessel final : public CSimulatedDevice
{
public:
    /// Registers the name; every property has its default.
    explicit CPumpedVessel(const std::string& name);
    ~CPumpedVessel() override;

    /// Takes the node's attributes and begins anew at ambient pressure. Throws CConfigurationException for a
    /// value out of range. Not while connected.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// The true pressure above ambient in kPa and the true flow of the pump in mL/min, without noise.
    double pressure() const;
    double flow() const;
    /// The gas's share of the vessel in mL.
    double gasVolume() const;

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
