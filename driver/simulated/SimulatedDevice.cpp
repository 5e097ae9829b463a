#include "driver/simulated/SimulatedDevice.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
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

/// By signal; DeviceAway has none, and takes the place of the first.
struct SFaultInForce
{
    CSimulatedDevice::eFault kind;
    std::size_t signal;
};

struct SScheduledFault
{
    SFaultInForce fault;
    double from_s;
    double to_s;
};

constexpr std::size_t kindCount = faultNames.size();

} // namespace

struct CSimulatedDevice::Private
{
    // with the update lock
    double time_s = 0.0;
    CSignalTable::SActuatorCommands commands;
    std::vector<double> actuators; ///< what was given to applyActuator() last
    std::vector<double> shown;     ///< what each sensor shows, not a number before the first time
    /// What is in force since the last update, by kind and signal.
    std::array<std::vector<bool>, kindCount> inForce;

    mutable std::mutex faultsMutex;
    std::vector<SScheduledFault> scheduled;
    std::vector<SFaultInForce> switched;
    /// Whether there is any of these: without one, an update need not look.
    std::atomic<bool> hasFaults{false};

    bool isInForce(eFault kind, std::size_t signal) const
    {
        const std::vector<bool>& ofKind = inForce[kind];
        return signal < ofKind.size() && ofKind[signal];
    }

    void findFaultsInForce()
    {
        if (!hasFaults) {
            return;
        }
        for (auto& ofKind : inForce) {
            ofKind.clear();
        }
        const std::lock_guard<std::mutex> lock(faultsMutex);
        for (const SScheduledFault& fault : scheduled) {
            if (fault.from_s <= time_s && time_s < fault.to_s) {
                put(fault.fault);
            }
        }
        for (const SFaultInForce& fault : switched) {
            put(fault);
        }
    }

private:
    void put(const SFaultInForce& fault)
    {
        std::vector<bool>& ofKind = inForce[fault.kind];
        ofKind.resize(std::max(ofKind.size(), fault.signal + 1));
        ofKind[fault.signal] = true;
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
        scheduled.push_back({{kind, indexOfSignal(kind, signal)}, from_s, to_s});
    }
    const std::lock_guard<std::mutex> lock(private_->faultsMutex);
    private_->scheduled = std::move(scheduled);
    private_->hasFaults = private_->hasFaults || !private_->scheduled.empty();
}

void CSimulatedDevice::setFault(eFault kind, const std::string& signal, bool on)
{
    checkFault(kind, signal);
    const std::size_t index = indexOfSignal(kind, signal);
    {
        const std::lock_guard<std::mutex> lock(private_->faultsMutex);
        std::erase_if(private_->switched, [&](const SFaultInForce& fault) {
            return fault.kind == kind && fault.signal == index;
        });
        if (on) {
            private_->switched.push_back({kind, index});
        }
        private_->hasFaults = true; // for good: what is over has to be found out, too
    }
    if (kind == DeviceAway && on) {
        setOffline(true); // refuses accesses from now on; coming back takes the next update
    }
}

std::size_t CSimulatedDevice::indexOfSignal(eFault kind, const std::string& signal) const
{
    if (kind == DeviceAway) {
        return 0;
    }
    const std::vector<std::string>& signals = kind == ActuatorDead ? actuators() : sensors();
    return static_cast<std::size_t>(std::find(signals.begin(), signals.end(), signal) - signals.begin());
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

std::vector<IFaultSimulation::SFault> CSimulatedDevice::simulatedFaults() const
{
    std::vector<SFault> faults{{nameOfFault(DeviceAway), "", false}};
    for (const eFault kind : {SensorStuck, SensorNaN, SensorSilent}) {
        for (const std::string& sensor : sensors()) {
            faults.push_back({nameOfFault(kind), sensor, false});
        }
    }
    for (const std::string& actuator : actuators()) {
        faults.push_back({nameOfFault(ActuatorDead), actuator, false});
    }
    withUpdateLock([&] {
        private_->findFaultsInForce();
        for (SFault& fault : faults) {
            const eFault kind = faultOfName(fault.kind);
            fault.isActive = private_->isInForce(kind, indexOfSignal(kind, fault.signal));
        }
    });
    return faults;
}

void CSimulatedDevice::simulateFault(const std::string& kind, const std::string& signal, bool on)
{
    setFault(faultOfName(kind), signal, on);
}

void CSimulatedDevice::step(double duration_s)
{
    withUpdateLock([this, duration_s] {
        private_->findFaultsInForce();
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
    // every actuator was taken to its safe value; there is no worker any more to carry that out
    withUpdateLock([this] { takeActuators(); });
}

void CSimulatedDevice::followFaults()
{
    private_->findFaultsInForce();
    setOffline(private_->isInForce(DeviceAway, 0));
    reportOffline();
}

void CSimulatedDevice::takeActuators()
{
    Private& data = *private_;
    updateActuatorCommands(data.commands);
    const std::vector<double>& commands = data.commands.values;
    data.actuators.resize(commands.size(), 0.0);
    for (std::size_t i = 0; i < commands.size(); ++i) {
        const double value = data.isInForce(ActuatorDead, i) ? 0.0 : commands[i];
        if (value != data.actuators[i]) {
            data.actuators[i] = value;
            applyActuator(i, value);
        }
    }
}

void CSimulatedDevice::publishSensors()
{
    Private& data = *private_;
    const bool offline = isOffline();
    data.shown.resize(sensors().size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t i = 0; i < data.shown.size(); ++i) {
        const double value = measure(i);
        // a sensor that has shown nothing yet is stuck at the first thing it shows
        if (!data.isInForce(SensorStuck, i) || std::isnan(data.shown[i])) {
            data.shown[i] = value;
        }
        if (offline || data.isInForce(SensorSilent, i)) {
            continue;
        }
        publish(i, data.isInForce(SensorNaN, i) ? std::numeric_limits<double>::quiet_NaN() : data.shown[i]);
    }
}

} // namespace Rvl
