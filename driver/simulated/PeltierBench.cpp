#include "driver/simulated/PeltierBench.h"

#include "driver/common/DeviceProperties.h"
#include "driver/simulated/ThermalMass.h"

#include <boost/property_tree/ptree.hpp>

#include <limits>

namespace Rvl {

namespace {

enum eSensor : std::size_t
{
    Temperature,
    Power
};

enum eActuator : std::size_t
{
    Direction,
    Magnitude
};

constexpr double coolingPattern = 1.0;
constexpr double heatingPattern = 2.0;

} // namespace

struct CPeltierBench::Private
{
    CThermalMass body;
    double heatingPower = 0.0;
    double coolingPower = 0.0;

    double direction = 0.0;
    double magnitude = 0.0;

    void configure(const CDeviceProperties& properties);
    double power() const;
};

/// The attributes with their ranges and the one place of their defaults.
void CPeltierBench::Private::configure(const CDeviceProperties& properties)
{
    const SNumberRange power{0.0, 1e9, "W"};
    const double readHeating = properties.real("HeatingPower", 20.0, power);
    const double readCooling = properties.real("CoolingPower", 10.0, power);
    body.configure(properties);
    heatingPower = readHeating;
    coolingPower = readCooling;
}

double CPeltierBench::Private::power() const
{
    if (direction == heatingPattern) {
        return magnitude / 100.0 * heatingPower;
    }
    return direction == coolingPattern ? -magnitude / 100.0 * coolingPower : 0.0;
}

CPeltierBench::CPeltierBench(const std::string& name)
    : CSimulatedDevice(name), private_(std::make_unique<Private>())
{
    addSensor("Temperature");
    addSensor("Power");
    addPort("Direction", 2);
    addActuator("Magnitude", 0.0, 100.0);
    private_->configure(CDeviceProperties("", boost::property_tree::ptree()));
}

CPeltierBench::~CPeltierBench()
{
    disconnect();
}

void CPeltierBench::setProperties(const boost::property_tree::ptree& tree)
{
    CSimulatedDevice::setProperties(tree);
    const CDeviceProperties properties("Device " + getName(), tree);
    withUpdateLock([&] { private_->configure(properties); });
}

double CPeltierBench::temperature() const
{
    double temperature = 0.0;
    withUpdateLock([&] { temperature = private_->body.temperature(); });
    return temperature;
}

double CPeltierBench::power() const
{
    double power = 0.0;
    withUpdateLock([&] { power = private_->power(); });
    return power;
}

void CPeltierBench::applyActuator(std::size_t actuator, double value)
{
    (actuator == Direction ? private_->direction : private_->magnitude) = value;
}

void CPeltierBench::advance(double step_s)
{
    private_->body.advance(step_s, private_->power());
}

double CPeltierBench::maximumStep_s() const
{
    return std::numeric_limits<double>::infinity(); // the solution is exact
}

double CPeltierBench::measure(std::size_t sensor)
{
    return sensor == Temperature ? private_->body.measure() : private_->power();
}

} // namespace Rvl
