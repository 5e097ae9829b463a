#include "driver/simulated/ChipHeater.h"

#include "driver/common/DeviceProperties.h"
#include "driver/simulated/ThermalMass.h"

#include <boost/property_tree/ptree.hpp>

#include <limits>

namespace Rvl {

namespace {

enum eSensor : std::size_t
{
    Temperature,
    Power,
    Enabled
};

enum eActuator : std::size_t
{
    Duty,
    Enable
};

} // namespace

struct CChipHeater::Private
{
    CThermalMass body;
    double heaterPower = 0.0;

    double duty = 0.0;
    bool enabled = false;

    void configure(const CDeviceProperties& properties);
    double power() const { return enabled ? duty / 100.0 * heaterPower : 0.0; }
};

/// The attributes with their ranges and the one place of their defaults.
void CChipHeater::Private::configure(const CDeviceProperties& properties)
{
    const double readPower = properties.real("HeaterPower", 20.0, {0.0, 1e9, "W"});
    body.configure(properties);
    heaterPower = readPower;
}

CChipHeater::CChipHeater(const std::string& name)
    : CSimulatedDevice(name), private_(std::make_unique<Private>())
{
    addSensor("Temperature");
    addSensor("Power");
    addSensor("Enabled");
    addActuator("Duty", 0.0, 100.0);
    addActuator("Enable", 0.0, 1.0);
    private_->configure(CDeviceProperties("", boost::property_tree::ptree()));
}

CChipHeater::~CChipHeater()
{
    disconnect();
}

void CChipHeater::setProperties(const boost::property_tree::ptree& tree)
{
    CSimulatedDevice::setProperties(tree);
    const CDeviceProperties properties("Device " + getName(), tree);
    withUpdateLock([&] { private_->configure(properties); });
}

double CChipHeater::temperature() const
{
    double temperature = 0.0;
    withUpdateLock([&] { temperature = private_->body.temperature(); });
    return temperature;
}

double CChipHeater::power() const
{
    double power = 0.0;
    withUpdateLock([&] { power = private_->power(); });
    return power;
}

void CChipHeater::applyActuator(std::size_t actuator, double value)
{
    if (actuator == Enable) {
        private_->enabled = value >= 0.5; // a logic level
    } else {
        private_->duty = value;
    }
}

void CChipHeater::advance(double step_s)
{
    private_->body.advance(step_s, private_->power());
}

double CChipHeater::maximumStep_s() const
{
    return std::numeric_limits<double>::infinity(); // the solution is exact
}

double CChipHeater::measure(std::size_t sensor)
{
    if (sensor == Temperature) {
        return private_->body.measure();
    }
    const double enabled = private_->enabled ? 1.0 : 0.0;
    return sensor == Power ? private_->power() : enabled;
}

} // namespace Rvl
