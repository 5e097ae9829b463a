#include "driver/simulated/SimulatedDevice.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

namespace Rvl {

namespace {

const std::array<std::pair<const char*, CSimulatedDevice::eFault>, 5> faultNames{
    {{"SensorStuck", CSimulatedDevice::SensorStuck},
     {"SensorNaN", CSimulatedDevice::SensorNaN},
     {"SensorSilent", CSimulatedDevice::SensorSilent},
     {"ActuatorDead", CSimulatedDevice::ActuatorDead},
     {"DeviceAway", CSimulatedDevice::DeviceAway}}};

std::string nameOfFault(CSimulatedDevice::eFault kind)
{
    return faultNames[static_cast<std::size_t>(kind)].first;
}

using FaultKey = std::pair<CSimulatedDevice::eFault, std::string>;

struct SScheduledFault
{
    FaultKey fault;
    double from_s;
    double to_s;
};

} // namespace

struct CSimulatedDevice::Private
{
    // with the update lock
    double time_s = 0.0;
    std::vector<double> actuators; ///< what was given to applyActuator() last
    std::vector<double> shown;     ///< what each sensor shows, not a number before the first time

    mutable std::mutex faultsMutex;
    std::vector<SScheduledFault> scheduled;
    std::map<FaultKey, bool> switched;

    bool inForce(eFault kind, const std::string& signal) const
    {
        const FaultKey key(kind, signal);
        const std::lock_guard<std::mutex> lock(faultsMutex);
        const auto found = switched.find(key);
        return (found != switched.end() && found->second) ||
               std::any_of(scheduled.begin(), scheduled.end(), [&](const SScheduledFault& fault) {
                   return fault.fault == key && fault.from_s <= time_s && time_s < fault.to_s;
               });
    }
};

const SDeviceFamily simulatedDevices{
    "a simulated device", "simulated devices",
    [](IDeviceInterface* device) -> CSignalDevice* { return dynamic_cast<CSimulatedDevice*>(device); }};

CSimulatedDevice::CSimulatedDevice(const std::string& name)
    : CSignalDevice(name, 20), private_(std::make_unique<Private>())
{}

CSimulatedDevice::~CSimulatedDevice() = default;

CSimulatedDevice::eFault CSimulatedDevice::faultOfName(const std::string& name)
{
    std::vector<std::string> names;
    for (const auto& [candidate, kind] : faultNames) {
        if (name == candidate) {
            return kind;
        }
        names.emplace_back(candidate);
    }
    RVL_THROW(CConfigurationException, "There is no kind of fault " + name + "; kinds are: " + listed(names));
}

void CSimulatedDevice::setProperties(const boost::property_tree::ptree& tree)
{
    CSignalDevice::setProperties(tree);
    std::vector<SScheduledFault> scheduled;
    const double forEver = std::numeric_limits<double>::max();
    for (const auto& [element, node] : tree) {
        if (element != "Fault") {
            continue;
        }
        const eFault kind = faultOfName(node.get<std::string>("<xmlattr>.Kind"));
        const auto signal = node.get<std::string>("<xmlattr>.Signal", std::string());
        checkFault(kind, signal);
        const CDeviceProperties properties("Device " + getName() + ", fault " + nameOfFault(kind), node);
        const double from_s = properties.real("From_s", 0.0, {0.0, 1e9, "s"});
        const double to_s = properties.optionalReal("To_s", {0.0, 1e9, "s"}).value_or(forEver);
        if (to_s <= from_s) {
            RVL_THROW(CConfigurationException, "Device " + getName() + ", fault " + nameOfFault(kind) +
                                                   ": attribute To_s must be greater than From_s");
        }
        scheduled.push_back({{kind, signal}, from_s, to_s});
    }
    const std::lock_guard<std::mutex> lock(private_->faultsMutex);
    private_->scheduled = std::move(scheduled);
}

void CSimulatedDevice::setFault(eFault kind, const std::string& signal, bool on)
{
    checkFault(kind, signal);
    {
        const std::lock_guard<std::mutex> lock(private_->faultsMutex);
        private_->switched[{kind, signal}] = on;
    }
    if (kind == DeviceAway && on) {
        setOffline(true); // refuses accesses from now on; coming back takes the device's thread
    }
}

void CSimulatedDevice::checkFault(eFault kind, const std::string& signal) const
{
    if (kind == DeviceAway) {
        if (!signal.empty()) {
            RVL_THROW(CConfigurationException, "Device " + getName() + ": fault DeviceAway takes no signal");
        }
        return;
    }
    const bool ofActuator = kind == ActuatorDead;
    const std::vector<std::string> signals = ofActuator ? actuators() : sensors();
    if (std::find(signals.begin(), signals.end(), signal) == signals.end()) {
        const std::string sort = ofActuator ? "actuator" : "sensor";
        const std::string what =
            signal.empty() ? "fault " + nameOfFault(kind) + " needs the name of a signal"
                           : "there is no " + sort + " " + signal + " for fault " + nameOfFault(kind);
        RVL_THROW(CConfigurationException,
                  "Device " + getName() + ": " + what + "; " + sort + "s are: " + listed(signals));
    }
}

void CSimulatedDevice::step(double duration_s)
{
    withUpdateLock([this, duration_s] {
        takeActuators();
        update(duration_s);
    });
}

double CSimulatedDevice::maximumStep_s() const
{
    return 0.001;
}

void CSimulatedDevice::starting()
{
    withUpdateLock([this] { private_->time_s = 0.0; });
}

void CSimulatedDevice::update(double elapsed_s)
{
    if (elapsed_s > 0.0) {
        const double steps = std::max(std::ceil(elapsed_s / maximumStep_s()), 1.0);
        for (double i = 0.0; i < steps; ++i) {
            advance(elapsed_s / steps);
        }
        private_->time_s += elapsed_s;
    }
    followFaults();
    takeActuators();
    publishSensors();
}

void CSimulatedDevice::stopped()
{
    // every actuator was taken to 0; without a thread nobody else would carry that out
    withUpdateLock([this] { takeActuators(); });
}

void CSimulatedDevice::followFaults()
{
    setOffline(private_->inForce(DeviceAway, ""));
    reportOffline();
}

void CSimulatedDevice::takeActuators()
{
    std::vector<double> values = actuatorCommands();
    const std::vector<std::string> names = actuators();
    private_->actuators.resize(values.size(), 0.0);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double value = private_->inForce(ActuatorDead, names[i]) ? 0.0 : values[i];
        if (value != private_->actuators[i]) {
            private_->actuators[i] = value;
            applyActuator(i, value);
        }
    }
}

void CSimulatedDevice::publishSensors()
{
    const bool away = isOffline();
    const std::vector<std::string>& names = sensors();
    private_->shown.resize(names.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const double value = measure(i);
        // a sensor that has shown nothing yet is stuck at the first thing it shows
        if (!private_->inForce(SensorStuck, names[i]) || std::isnan(private_->shown[i])) {
            private_->shown[i] = value;
        }
        if (away || private_->inForce(SensorSilent, names[i])) {
            continue;
        }
        publish(i, private_->inForce(SensorNaN, names[i]) ? std::numeric_limits<double>::quiet_NaN()
                                                          : private_->shown[i]);
    }
}

} // namespace Rvl
