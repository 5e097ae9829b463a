#include "driver/common/SignalTable.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <limits>
#include <mutex>
#include <utility>

namespace Rvl {

namespace {

struct SActuator
{
    CSignalTable::SActuatorLimits limits;
    double safeValue;
    bool written; ///< since it has had its safe value
};

struct SActuatorBinding
{
    std::size_t actuator;
    IIoChannelInterface* channel;
    std::function<void()> restore;
};

std::string realText(double value)
{
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

} // namespace

struct CSignalTable::Private
{
    std::string deviceName;
    std::vector<std::string> sensors;
    std::vector<std::string> actuatorNames;

    /// The update lock. Recursive, because a listener called by an update may come back.
    mutable std::recursive_mutex updateMutex;
    std::vector<std::vector<CAnalogInChannel*>> sensorBindings; ///< by sensor
    std::vector<SActuatorBinding> actuatorBindings;
    bool offlineReported = false;

    /// The state lock.
    mutable std::mutex stateMutex;
    std::vector<SActuator> actuators;
    std::vector<double> commands; ///< by actuator
    std::atomic<std::uint64_t> commandChanges{0};
    /// Written with the state lock, which readers need not take.
    std::atomic<bool> offline{false};
    std::atomic<bool> wentOffline{false};
    std::atomic<std::uint64_t> timesTakenToSafeValues{0};
};

CSignalTable::CSignalTable(const std::string& deviceName) : private_(std::make_unique<Private>())
{
    private_->deviceName = deviceName;
}

CSignalTable::~CSignalTable() = default;

const std::vector<std::string>& CSignalTable::sensors() const
{
    return private_->sensors;
}

const std::vector<std::string>& CSignalTable::actuators() const
{
    return private_->actuatorNames;
}

double CSignalTable::SActuatorLimits::atPercent(double percent) const
{
    return std::clamp(maximum * percent / 100.0, minimum, maximum);
}

void CSignalTable::bindSensor(const std::string& sensor, CAnalogInChannel& channel)
{
    const auto found = std::find(private_->sensors.begin(), private_->sensors.end(), sensor);
    if (found == private_->sensors.end()) {
        RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": device " +
                                               private_->deviceName + " has no sensor " + sensor +
                                               "; its sensors are: " + listed(private_->sensors));
    }
    unbind(channel);
    const std::lock_guard lock(private_->updateMutex);
    private_->sensorBindings[static_cast<std::size_t>(found - private_->sensors.begin())].push_back(&channel);
    if (private_->offlineReported) {
        channel.setFault(offlineText());
    }
}

std::size_t CSignalTable::bindActuator(const std::string& actuator, IIoChannelInterface& channel,
                                       SActuatorUse use)
{
    const std::vector<std::string>& names = actuators();
    const auto found = std::find(names.begin(), names.end(), actuator);
    if (found == names.end()) {
        RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": device " +
                                               private_->deviceName + " has no actuator " + actuator +
                                               "; its actuators are: " + listed(names));
    }
    const auto index = static_cast<std::size_t>(found - names.begin());
    unbind(channel);
    const std::lock_guard lock(private_->updateMutex);
    for (const SActuatorBinding& binding : private_->actuatorBindings) {
        if (binding.actuator == index) {
            RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": actuator " + actuator +
                                                   " of device " + private_->deviceName +
                                                   " is already driven by channel " +
                                                   binding.channel->getName());
        }
    }
    setSafeValue(index, channel, use.safeValue(actuatorLimits(index)));
    private_->actuatorBindings.push_back({index, &channel, std::move(use.restore)});
    if (private_->offlineReported) {
        channel.setFault(offlineText());
    }
    return index;
}

void CSignalTable::unbind(const IIoChannelInterface& channel)
{
    const std::lock_guard lock(private_->updateMutex);
    for (auto& channels : private_->sensorBindings) {
        std::erase_if(channels, [&channel](const CAnalogInChannel* bound) { return bound == &channel; });
    }
    std::erase_if(private_->actuatorBindings,
                  [&channel](const SActuatorBinding& binding) { return binding.channel == &channel; });
}

void CSignalTable::writeActuator(std::size_t actuator, double value)
{
    const bool isNumber = !std::isnan(value);
    bool offline = false;
    {
        const std::lock_guard lock(private_->stateMutex);
        SActuator& written = private_->actuators.at(actuator);
        offline = private_->offline;
        if (!offline && isNumber) {
            written.written = true;
            private_->commands[actuator] = std::clamp(value, written.limits.minimum, written.limits.maximum);
            ++private_->commandChanges;
            actuatorWritten(actuator, private_->commands[actuator]);
        } else if (!offline) {
            takeToSafeValue(actuator);
        }
    }
    if (offline) {
        RVL_THROW(CDeviceAccessException, offlineText());
    }
    if (!isNumber) {
        RVL_THROW(CDeviceAccessException, "Device " + private_->deviceName +
                                              " refuses a value that is not a number; the safe value was "
                                              "taken instead");
    }
}

CSignalTable::SActuatorLimits CSignalTable::actuatorLimits(std::size_t actuator) const
{
    const std::lock_guard lock(private_->stateMutex);
    return private_->actuators.at(actuator).limits;
}

double CSignalTable::actuatorSafeValue(std::size_t actuator) const
{
    const std::lock_guard lock(private_->stateMutex);
    return private_->actuators.at(actuator).safeValue;
}

std::uint64_t CSignalTable::timesTakenToSafeValues() const
{
    return private_->timesTakenToSafeValues;
}

double CSignalTable::actuatorCommand(const std::string& actuator) const
{
    const std::vector<std::string>& names = actuators();
    const auto found = std::find(names.begin(), names.end(), actuator);
    if (found == names.end()) {
        RVL_THROW(CConfigurationException, "Device " + private_->deviceName + " has no actuator " + actuator +
                                               "; its actuators are: " + listed(names));
    }
    const std::lock_guard lock(private_->stateMutex);
    return private_->commands[static_cast<std::size_t>(found - names.begin())];
}

std::size_t CSignalTable::addSensor(const std::string& name)
{
    private_->sensors.push_back(name);
    private_->sensorBindings.emplace_back();
    return private_->sensors.size() - 1;
}

std::size_t CSignalTable::addActuator(const std::string& name, double minimum, double maximum)
{
    private_->actuatorNames.push_back(name);
    const double safeValue = std::clamp(0.0, minimum, maximum);
    private_->actuators.push_back({{minimum, maximum, 0}, safeValue, false});
    private_->commands.push_back(safeValue);
    return private_->actuators.size() - 1;
}

std::size_t CSignalTable::addPort(const std::string& name, unsigned lineCount)
{
    const std::uint32_t lines = std::numeric_limits<std::uint32_t>::max() >> (32U - lineCount);
    const std::size_t index = addActuator(name, 0.0, static_cast<double>(lines));
    private_->actuators[index].limits.lines = lines;
    return index;
}

void CSignalTable::setActuatorRange(std::size_t actuator, double minimum, double maximum)
{
    const std::lock_guard lock(private_->stateMutex);
    SActuator& changed = private_->actuators.at(actuator);
    changed.limits.minimum = minimum;
    changed.limits.maximum = maximum;
    changed.safeValue = std::clamp(changed.safeValue, minimum, maximum);
    private_->commands[actuator] = std::clamp(private_->commands[actuator], minimum, maximum);
    ++private_->commandChanges;
}

void CSignalTable::actuatorWritten(std::size_t, double) {}

void CSignalTable::withUpdateLock(const std::function<void()>& action) const
{
    const std::lock_guard lock(private_->updateMutex);
    action();
}

void CSignalTable::publish(std::size_t sensor, double value)
{
    for (CAnalogInChannel* const channel : private_->sensorBindings[sensor]) {
        channel->publishValue(value);
    }
}

void CSignalTable::setSensorFault(std::size_t sensor, const std::string& fault)
{
    for (CAnalogInChannel* const channel : private_->sensorBindings[sensor]) {
        channel->setFault(fault);
    }
}

std::vector<double> CSignalTable::actuatorCommands() const
{
    const std::lock_guard lock(private_->stateMutex);
    return private_->commands;
}

void CSignalTable::updateActuatorCommands(SActuatorCommands& commands) const
{
    if (commands.values.size() == private_->commands.size() && commands.change == private_->commandChanges) {
        return;
    }
    const std::lock_guard lock(private_->stateMutex);
    commands.values = private_->commands;
    commands.change = private_->commandChanges;
}

void CSignalTable::setOffline(bool offline)
{
    if (private_->offline == offline) {
        return; // as it is nearly always, without the lock
    }
    const std::lock_guard lock(private_->stateMutex);
    if (private_->offline == offline) {
        return;
    }
    // last of all: it is read without the lock
    if (offline) {
        private_->wentOffline = true;
        takeAllToSafeValues();
    }
    private_->offline = offline;
}

bool CSignalTable::isOffline() const
{
    return private_->offline;
}

void CSignalTable::reportOffline()
{
    // remembered, because a short absence between two updates also lost what was written meanwhile
    const bool wentOffline = private_->wentOffline && private_->wentOffline.exchange(false);
    if (!wentOffline && !private_->offlineReported) {
        return;
    }
    const std::string text = offlineText();
    const auto forEachChannel = [this](const auto& action) {
        for (const auto& channels : private_->sensorBindings) {
            for (CAnalogInChannel* const channel : channels) {
                action(*channel);
            }
        }
        for (const SActuatorBinding& binding : private_->actuatorBindings) {
            action(*binding.channel);
        }
    };
    if (wentOffline && !private_->offlineReported) {
        private_->offlineReported = true;
        forEachChannel([&text](IIoChannelInterface& channel) { channel.setFault(text); });
    }
    if (!isOffline() && private_->offlineReported) {
        private_->offlineReported = false;
        forEachChannel([&text](IIoChannelInterface& channel) {
            if (channel.fault() == text) {
                channel.setFault("");
            }
        });
        for (const SActuatorBinding& binding : private_->actuatorBindings) {
            binding.restore();
        }
    }
}

void CSignalTable::takeActuatorsToSafeValues()
{
    const std::lock_guard lock(private_->stateMutex);
    takeAllToSafeValues();
}

void CSignalTable::takeAllToSafeValues()
{
    ++private_->timesTakenToSafeValues;
    for (std::size_t i = 0; i < private_->actuators.size(); ++i) {
        takeToSafeValue(i);
    }
}

void CSignalTable::takeToSafeValue(std::size_t actuator)
{
    SActuator& taken = private_->actuators[actuator];
    taken.written = false;
    private_->commands[actuator] = taken.safeValue;
    ++private_->commandChanges;
    actuatorWritten(actuator, taken.safeValue);
}

void CSignalTable::setSafeValue(std::size_t actuator, const IIoChannelInterface& channel, double value)
{
    const SActuatorLimits limits = actuatorLimits(actuator);
    if (!(limits.minimum <= value && value <= limits.maximum)) {
        RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": the safe value " +
                                               realText(value) + " is outside the range of actuator " +
                                               actuators()[actuator] + " of device " + private_->deviceName +
                                               "; expected one from " + realText(limits.minimum) + " to " +
                                               realText(limits.maximum));
    }
    const std::lock_guard lock(private_->stateMutex);
    SActuator& changed = private_->actuators[actuator];
    changed.safeValue = value;
    if (!changed.written && private_->commands[actuator] != value) {
        takeToSafeValue(actuator);
    }
}

std::string CSignalTable::offlineText() const
{
    return "Device " + private_->deviceName + " is offline";
}

std::string listed(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list.empty() ? "none" : list;
}

} // namespace Rvl
