#include "driver/simulated/ThermalMass.h"

#include "driver/common/DeviceProperties.h"

#include <cmath>
#include <cstdint>

namespace Rvl {

/// The attributes with their ranges and the one place of their defaults.
void CThermalMass::configure(const CDeviceProperties& properties)
{
    const SNumberRange temperature{-273.15, 2000.0, "degC"};
    CThermalMass read;
    read.ambient_ = properties.real("AmbientTemperature", 22.0, temperature);
    const double initial = properties.optionalReal("InitialTemperature", temperature).value_or(read.ambient_);
    read.capacity_ = properties.real("HeatCapacity", 2.0, {0.001, 1e9, "J/K"});
    read.conductance_ = properties.real("AmbientConductance", 0.5, {0.0, 1e6, "W/K"});
    read.noise_ = properties.real("Noise", 0.0, {0.0, 1000.0, "K"});
    const auto seed = static_cast<std::uint32_t>(properties.integer("Seed", 1, {0.0, 4294967295.0, ""}));
    std::seed_seq sequence{seed};
    read.random_.seed(sequence);
    read.aboveAmbient_ = initial - read.ambient_;
    *this = read;
}

void CThermalMass::advance(double duration_s, double power)
{
    const double rate = -conductance_ / capacity_;
    const double gain = rate == 0.0 ? duration_s : std::expm1(rate * duration_s) / rate;
    aboveAmbient_ = std::exp(rate * duration_s) * aboveAmbient_ + gain * power / capacity_;
}

double CThermalMass::temperature() const
{
    return ambient_ + aboveAmbient_;
}

double CThermalMass::measure()
{
    return temperature() + noise_ * gauss_(random_);
}

} // namespace Rvl
