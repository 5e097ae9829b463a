#pragma once

#include <random>

namespace Rvl {

class CDeviceProperties;

/// One body that is heated or cooled and exchanges heat with its surroundings:
///
///   C dT/dt = P - G (T - T_a)
///
/// T, T_a: temperatures of body and ambient in degC; C: heat capacity in J/K; G: conductance in W/K; P: power
/// in W, negative if it cools. Solved exactly over a time of constant power.
class CThermalMass
{
public:
    /// Takes the attributes of a device's node and begins anew at the initial temperature. Throws
    /// CConfigurationException for a value out of range, and changes nothing then.
    void configure(const CDeviceProperties& properties);
    void advance(double duration_s, double power);
    /// The true temperature in degC.
    double temperature() const;
    /// The temperature with Gaussian noise that depends on the seed only.
    double measure();

private:
    double ambient_ = 0.0;
    double capacity_ = 1.0;
    double conductance_ = 0.0;
    double noise_ = 0.0;
    double aboveAmbient_ = 0.0; ///< in K
    std::mt19937_64 random_;
    std::normal_distribution<double> gauss_;
};

} // namespace Rvl
