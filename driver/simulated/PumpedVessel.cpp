#include "driver/simulated/PumpedVessel.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

namespace Rvl {

namespace {

enum eSensor : std::size_t
{
    Pressure,
    Flow
};

constexpr std::size_t pump = 0;

} // namespace

struct CPumpedVessel::Private
{
    double volume = 0.0;
    double initialGas = 0.0;
    double ambientPressure = 0.0;
    double leak = 0.0;
    double reliefPressure = 0.0;
    double maximumFlow = 0.0;
    double pumpTimeConstant_s = 0.0;
    std::array<double, 2> noise{};

    double gas = 0.0;
    double commanded = 0.0;
    double pumped = 0.0; ///< volume that the pump would move if the vessel were never empty
    std::array<std::mt19937_64, 2> random;
    std::array<std::normal_distribution<double>, 2> gauss;

    void configure(const std::string& device, const CDeviceProperties& properties);
    bool isEmpty() const { return gas >= volume; }
    double pressureAt(double gasVolume) const { return ambientPressure * (initialGas / gasVolume - 1.0); }
    /// From an empty vessel the pump draws no more than leaks in.
    double limited(double flow) const { return isEmpty() ? std::max(flow, leak * pressureAt(volume)) : flow; }
    double flow() const { return limited(pumped); }
    double smallestGas() const { return initialGas * ambientPressure / (ambientPressure + reliefPressure); }
    double pumpedAfter(double time_s) const;
    void advance(double step_s);
};

/// The attributes with their ranges and the one place of their defaults.
void CPumpedVessel::Private::configure(const std::string& device, const CDeviceProperties& properties)
{
    Private read;
    read.volume = properties.real("Volume", 50.0, {1.0, 1e6, "mL"});
    const double liquid = properties.real("InitialLiquid", 20.0, {0.0, 1e6, "mL"});
    read.ambientPressure = properties.real("AmbientPressure", 100.0, {50.0, 200.0, "kPa"});
    read.leak = properties.real("Leak", 4.0, {0.0, 100.0, "mL/min/kPa"});
    read.reliefPressure = properties.real("ReliefPressure", 300.0, {1.0, 1000.0, "kPa"});
    read.maximumFlow = properties.real("MaximumFlow", 400.0, {0.0, 1e6, "mL/min"});
    read.pumpTimeConstant_s = properties.real("PumpTimeConstant_s", 0.1, {0.0, 3600.0, "s"});
    read.noise[Pressure] = properties.real("PressureNoise", 0.0, {0.0, 1000.0, "kPa"});
    read.noise[Flow] = properties.real("FlowNoise", 0.0, {0.0, 1000.0, "mL/min"});
    const auto seed = static_cast<std::uint32_t>(properties.integer("Seed", 1, {0.0, 4294967295.0, ""}));
    if (liquid > 0.99 * read.volume) {
        RVL_THROW(CConfigurationException,
                  "Device " + device +
                      ": attribute InitialLiquid must leave 1 percent of Volume for the gas");
    }
    for (std::uint32_t i = 0; i < read.random.size(); ++i) {
        std::seed_seq sequence{seed, i};
        read.random[i].seed(sequence);
    }
    read.gas = read.initialGas = read.volume - liquid;
    read.commanded = commanded;
    *this = read;
}

double CPumpedVessel::Private::pumpedAfter(double time_s) const
{
    const double gone = pumpTimeConstant_s == 0.0 ? 0.0 : std::exp(-time_s / pumpTimeConstant_s);
    return commanded + gone * (pumped - commanded);
}

/// The pump exactly, the gas by fourth-order Runge-Kutta.
void CPumpedVessel::Private::advance(double step_s)
{
    // without inertia the pump has the new flow from the beginning of the step
    const double before = pumpTimeConstant_s == 0.0 ? commanded : pumped;
    const double middle = pumpedAfter(step_s / 2.0);
    const double after = pumpedAfter(step_s);
    const auto rate = [this](double gasVolume, double flow) {
        return -(limited(flow) - leak * pressureAt(gasVolume)) / 60.0;
    };
    const double k1 = rate(gas, before);
    const double k2 = rate(gas + step_s / 2.0 * k1, middle);
    const double k3 = rate(gas + step_s / 2.0 * k2, middle);
    const double k4 = rate(gas + step_s * k3, after);
    gas = std::clamp(gas + step_s / 6.0 * (k1 + 2.0 * k2 + 2.0 * k3 + k4), smallestGas(), volume);
    pumped = after;
}

CPumpedVessel::CPumpedVessel(const std::string& name)
    : CSimulatedDevice(name), private_(std::make_unique<Private>())
{
    addSensor("Pressure");
    addSensor("Flow");
    private_->configure(name, CDeviceProperties("", boost::property_tree::ptree()));
    addActuator("Pump", -private_->maximumFlow, private_->maximumFlow);
}

CPumpedVessel::~CPumpedVessel()
{
    disconnect();
}

void CPumpedVessel::setProperties(const boost::property_tree::ptree& tree)
{
    CSimulatedDevice::setProperties(tree);
    const CDeviceProperties properties("Device " + getName(), tree);
    withUpdateLock([&] { private_->configure(getName(), properties); });
    setActuatorRange(pump, -private_->maximumFlow, private_->maximumFlow);
}

double CPumpedVessel::pressure() const
{
    double pressure = 0.0;
    withUpdateLock([&] { pressure = private_->pressureAt(private_->gas); });
    return pressure;
}

double CPumpedVessel::flow() const
{
    double flow = 0.0;
    withUpdateLock([&] { flow = private_->flow(); });
    return flow;
}

double CPumpedVessel::gasVolume() const
{
    double gas = 0.0;
    withUpdateLock([&] { gas = private_->gas; });
    return gas;
}

void CPumpedVessel::applyActuator(std::size_t, double value)
{
    private_->commanded = value;
}

void CPumpedVessel::advance(double step_s)
{
    private_->advance(step_s);
}

double CPumpedVessel::maximumStep_s() const
{
    // stays stable at the fastest decay that the leak can cause, that of the smallest cushion
    const double smallest = private_->smallestGas();
    const double rate =
        private_->leak / 60.0 * private_->ambientPressure * private_->initialGas / (smallest * smallest);
    return std::min(0.001, 1.0 / rate);
}

double CPumpedVessel::measure(std::size_t sensor)
{
    const double value = sensor == Pressure ? private_->pressureAt(private_->gas) : private_->flow();
    return value + private_->noise[sensor] * private_->gauss[sensor](private_->random[sensor]);
}

} // namespace Rvl
