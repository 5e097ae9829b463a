#include "driver/simulated/ThermalBench.h"

#include "driver/common/DeviceProperties.h"

#include <boost/property_tree/ptree.hpp>

#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <random>

namespace Rvl {

namespace {

enum eSensor : std::size_t
{
    Jacket,
    Vessel
};

/// phi(t) = (exp(rate t) - 1) / rate, the integral of exp(rate t) from 0 to t.
double integratedExponential(double rate, double time)
{
    return rate == 0.0 ? time : std::expm1(rate * time) / rate;
}

} // namespace

struct CThermalBench::Private
{
    double ambient = 0.0;
    double power = 0.0;
    double jacketCapacity = 0.0;
    double vesselCapacity = 0.0;
    double jacketVessel = 0.0;
    double jacketAmbient = 0.0;
    double vesselAmbient = 0.0;
    double deadTime_s = 0.0;
    double noise = 0.0;

    double time_s = 0.0;
    double jacket = 0.0; ///< above ambient, in K
    double vessel = 0.0; ///< above ambient, in K
    double heaterPower = 0.0;
    /// The powers that will reach the jacket, with their times.
    std::deque<std::pair<double, double>> underWay;
    std::array<std::mt19937_64, 2> random;
    std::array<std::normal_distribution<double>, 2> gauss;

    void configure(const CDeviceProperties& properties);
    void solve(double duration_s);
};

/// The attributes with their ranges and the one place of their defaults.
void CThermalBench::Private::configure(const CDeviceProperties& properties)
{
    const SNumberRange temperature{-273.15, 2000.0, "degC"};
    const SNumberRange capacity{0.001, 1e9, "J/K"};
    const SNumberRange loss{0.0, 1e6, "W/K"};
    Private read;
    read.ambient = properties.real("AmbientTemperature", 22.0, temperature);
    const double initial = properties.optionalReal("InitialTemperature", temperature).value_or(read.ambient);
    read.power = properties.real("HeaterPower", 100.0, {0.0, 1e9, "W"});
    read.jacketCapacity = properties.real("JacketHeatCapacity", 5.0, capacity);
    read.vesselCapacity = properties.real("VesselHeatCapacity", 10.0, capacity);
    read.jacketVessel = properties.real("JacketVesselConductance", 5.0, {0.001, 1e6, "W/K"});
    read.jacketAmbient = properties.real("JacketAmbientConductance", 1.0, loss);
    read.vesselAmbient = properties.real("VesselAmbientConductance", 1.0, loss);
    read.deadTime_s = properties.real("DeadTime_s", 0.2, {0.0, 3600.0, "s"});
    read.noise = properties.real("Noise", 0.0, {0.0, 1000.0, "K"});
    const auto seed = static_cast<std::uint32_t>(properties.integer("Seed", 1, {0.0, 4294967295.0, ""}));
    for (std::uint32_t i = 0; i < read.random.size(); ++i) {
        std::seed_seq sequence{seed, i};
        read.random[i].seed(sequence);
    }
    read.jacket = read.vessel = initial - read.ambient;
    *this = read;
}

/// The exact solution of x' = A x + u with x = (jacket, vessel), u = (power / C_j, 0). A has two real
/// eigenvalues, fast < 0 and fast < slow <= 0, because the coupling is not 0. With the projectors
/// P = (I +- (A - mean I) / spread) / 2 on their eigenvectors
///   x(t) = sum over both of exp(rate t) P x(0) + phi(rate, t) P u.
void CThermalBench::Private::solve(double duration_s)
{
    const double a = -(jacketVessel + jacketAmbient) / jacketCapacity;
    const double b = jacketVessel / jacketCapacity;
    const double c = jacketVessel / vesselCapacity;
    const double d = -(jacketVessel + vesselAmbient) / vesselCapacity;
    const double mean = (a + d) / 2.0;
    const double half = (a - d) / 2.0;
    const double spread = std::sqrt(half * half + b * c);
    const double fast = mean - spread;
    // by the determinant: mean + spread would lose digits for a well insulated bench
    const double slow = (jacketVessel * (jacketAmbient + vesselAmbient) + jacketAmbient * vesselAmbient) /
                        (jacketCapacity * vesselCapacity) / fast;
    const double u = heaterPower / jacketCapacity;

    double nextJacket = 0.0;
    double nextVessel = 0.0;
    const auto addMode = [&](double rate, double sign) {
        const double decay = std::exp(rate * duration_s);
        const double gain = integratedExponential(rate, duration_s);
        const double x = decay * jacket + gain * u;
        const double y = decay * vessel;
        nextJacket += (x + sign * (half * x + b * y) / spread) / 2.0;
        nextVessel += (y + sign * (c * x - half * y) / spread) / 2.0;
    };
    addMode(slow, 1.0);
    addMode(fast, -1.0);
    jacket = nextJacket;
    vessel = nextVessel;
}

CThermalBench::CThermalBench(const std::string& name)
    : CSimulatedDevice(name), private_(std::make_unique<Private>())
{
    addSensor("JacketTemperature");
    addSensor("VesselTemperature");
    addActuator("Heater", 0.0, 100.0);
    private_->configure(CDeviceProperties("", boost::property_tree::ptree()));
}

CThermalBench::~CThermalBench()
{
    disconnect();
}

void CThermalBench::setProperties(const boost::property_tree::ptree& tree)
{
    CSimulatedDevice::setProperties(tree);
    const CDeviceProperties properties("Device " + getName(), tree);
    withUpdateLock([&] { private_->configure(properties); });
}

double CThermalBench::jacketTemperature() const
{
    double temperature = 0.0;
    withUpdateLock([&] { temperature = private_->ambient + private_->jacket; });
    return temperature;
}

double CThermalBench::vesselTemperature() const
{
    double temperature = 0.0;
    withUpdateLock([&] { temperature = private_->ambient + private_->vessel; });
    return temperature;
}

double CThermalBench::heaterPower() const
{
    double power = 0.0;
    withUpdateLock([&] { power = private_->heaterPower; });
    return power;
}

void CThermalBench::applyActuator(std::size_t, double value)
{
    private_->underWay.emplace_back(private_->time_s + private_->deadTime_s, private_->power * value / 100.0);
}

void CThermalBench::advance(double step_s)
{
    auto& underWay = private_->underWay;
    const double end_s = private_->time_s + step_s;
    while (!underWay.empty() && underWay.front().first < end_s) {
        const auto [arrival_s, power] = underWay.front();
        private_->solve(arrival_s - private_->time_s);
        private_->time_s = arrival_s;
        private_->heaterPower = power;
        underWay.pop_front();
    }
    private_->solve(end_s - private_->time_s);
    private_->time_s = end_s;
}

double CThermalBench::maximumStep_s() const
{
    return std::numeric_limits<double>::infinity(); // the solution is exact
}

double CThermalBench::measure(std::size_t sensor)
{
    const double temperature = private_->ambient + (sensor == Jacket ? private_->jacket : private_->vessel);
    return temperature + private_->noise * private_->gauss[sensor](private_->random[sensor]);
}

} // namespace Rvl
