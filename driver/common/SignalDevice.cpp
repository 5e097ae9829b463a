#include "driver/common/SignalDevice.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/Clock.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace Rvl {

namespace {

struct SActuator
{
    std::string name;
    double minimum;
    double maximum;
    std::uint32_t lines = 0;
    double command = 0.0;
};

struct SSensorBinding
{
    std::size_t sensor;
    CAnalogInChannel* channel;
};

struct SActuatorBinding
{
    std::size_t actuator;
    IIoChannelInterface* channel;
    std::function<void()> restore;
};

} // namespace

struct CSignalDevice::Private
{
    int defaultUpdateInterval_ms = 0;
    int updateInterval_ms = 0;
    std::vector<std::string> sensors;

    /// The update lock. Recursive, because a listener called by update() may come back.
    mutable std::recursive_mutex updateMutex;
    std::vector<SSensorBinding> sensorBindings;
    std::vector<SActuatorBinding> actuatorBindings;
    bool offlineReported = false;

    /// The state lock.
    mutable std::mutex stateMutex;
    std::vector<SActuator> actuators;
    bool away = false;
    bool wentOffline = false;
    std::atomic<std::uint64_t> timesTakenToZero{0};

    std::atomic<bool> connected{false};
    std::mutex threadMutex;
    std::condition_variable threadChanged;
    bool stop = false;
    bool isReady = false;
    std::thread thread;
};

CSignalDevice::CSignalDevice(const std::string& name, int updateInterval_ms)
    : IDeviceInterface(name), private_(std::make_unique<Private>())
{
    private_->defaultUpdateInterval_ms = updateInterval_ms;
    private_->updateInterval_ms = updateInterval_ms;
}

CSignalDevice::~CSignalDevice() = default;

void CSignalDevice::setProperties(const boost::property_tree::ptree& tree)
{
    const CDeviceProperties properties("Device " + getName(), tree);
    private_->updateInterval_ms = static_cast<int>(
        properties.integer("UpdateInterval_ms", private_->defaultUpdateInterval_ms, {1.0, 60000.0, "ms"}));
}

void CSignalDevice::connect()
{
    if (isConnected()) {
        return;
    }
    starting();
    private_->stop = false;
    private_->isReady = false;
    try {
        private_->thread = std::thread([this] { run(); });
    } catch (const std::system_error& error) {
        stopped();
        RVL_THROW(CDeviceAccessException,
                  "Device " + getName() + ": its thread could not be started: " + error.what());
    }
    std::unique_lock<std::mutex> lock(private_->threadMutex);
    private_->threadChanged.wait(lock, [this] { return private_->isReady; });
    private_->connected = true;
}

void CSignalDevice::disconnect()
{
    if (!isConnected()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(private_->threadMutex);
        private_->stop = true;
    }
    private_->threadChanged.notify_all();
    private_->thread.join();
    private_->connected = false;
    {
        const std::lock_guard lock(private_->stateMutex);
        takeActuatorsToZero();
    }
    stopped();
}

bool CSignalDevice::isConnected() const
{
    return private_->connected;
}

int CSignalDevice::updateInterval_ms() const
{
    return private_->updateInterval_ms;
}

const std::vector<std::string>& CSignalDevice::sensors() const
{
    return private_->sensors;
}

std::vector<std::string> CSignalDevice::actuators() const
{
    std::vector<std::string> names;
    for (const SActuator& actuator : private_->actuators) {
        names.push_back(actuator.name);
    }
    return names;
}

void CSignalDevice::bindSensor(const std::string& sensor, CAnalogInChannel& channel)
{
    const auto found = std::find(private_->sensors.begin(), private_->sensors.end(), sensor);
    if (found == private_->sensors.end()) {
        RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": device " + getName() +
                                               " has no sensor " + sensor +
                                               "; its sensors are: " + listed(private_->sensors));
    }
    unbind(channel);
    const std::lock_guard lock(private_->updateMutex);
    private_->sensorBindings.push_back(
        {static_cast<std::size_t>(found - private_->sensors.begin()), &channel});
    if (private_->offlineReported) {
        channel.setFault(offlineText());
    }
}

std::size_t CSignalDevice::bindActuator(const std::string& actuator, IIoChannelInterface& channel,
                                        std::function<void()> restore)
{
    const std::vector<std::string> names = actuators();
    const auto found = std::find(names.begin(), names.end(), actuator);
    if (found == names.end()) {
        RVL_THROW(CConfigurationException, "Channel " + channel.getName() + ": device " + getName() +
                                               " has no actuator " + actuator +
                                               "; its actuators are: " + listed(names));
    }
    const auto index = static_cast<std::size_t>(found - names.begin());
    unbind(channel);
    const std::lock_guard lock(private_->updateMutex);
    for (const SActuatorBinding& binding : private_->actuatorBindings) {
        if (binding.actuator == index) {
            RVL_THROW(CConfigurationException,
                      "Channel " + channel.getName() + ": actuator " + actuator + " of device " + getName() +
                          " is already driven by channel " + binding.channel->getName());
        }
    }
    private_->actuatorBindings.push_back({index, &channel, std::move(restore)});
    if (private_->offlineReported) {
        channel.setFault(offlineText());
    }
    return index;
}

void CSignalDevice::unbind(const IIoChannelInterface& channel)
{
    const std::lock_guard lock(private_->updateMutex);
    std::erase_if(private_->sensorBindings,
                  [&channel](const SSensorBinding& binding) { return binding.channel == &channel; });
    std::erase_if(private_->actuatorBindings,
                  [&channel](const SActuatorBinding& binding) { return binding.channel == &channel; });
}

void CSignalDevice::writeActuator(std::size_t actuator, double value)
{
    if (std::isnan(value)) {
        RVL_THROW(CDeviceAccessException, "Device " + getName() + " refuses a value that is not a number");
    }
    bool away = false;
    {
        const std::lock_guard lock(private_->stateMutex);
        away = private_->away;
        if (!away) {
            SActuator& written = private_->actuators.at(actuator);
            written.command = std::clamp(value, written.minimum, written.maximum);
            actuatorWritten(actuator, written.command);
        }
    }
    if (away) {
        RVL_THROW(CDeviceAccessException, offlineText());
    }
}

double CSignalDevice::actuatorMaximum(std::size_t actuator) const
{
    const std::lock_guard lock(private_->stateMutex);
    return private_->actuators.at(actuator).maximum;
}

std::uint32_t CSignalDevice::actuatorLines(std::size_t actuator) const
{
    return private_->actuators.at(actuator).lines;
}

std::uint64_t CSignalDevice::timesTakenToZero() const
{
    return private_->timesTakenToZero;
}

double CSignalDevice::actuatorCommand(const std::string& actuator) const
{
    const std::lock_guard lock(private_->stateMutex);
    for (const SActuator& candidate : private_->actuators) {
        if (candidate.name == actuator) {
            return candidate.command;
        }
    }
    RVL_THROW(CConfigurationException, "Device " + getName() + " has no actuator " + actuator +
                                           "; its actuators are: " + listed(actuators()));
}

std::size_t CSignalDevice::addSensor(const std::string& name)
{
    private_->sensors.push_back(name);
    return private_->sensors.size() - 1;
}

std::size_t CSignalDevice::addActuator(const std::string& name, double minimum, double maximum)
{
    private_->actuators.push_back({name, minimum, maximum});
    return private_->actuators.size() - 1;
}

std::size_t CSignalDevice::addPort(const std::string& name, unsigned lineCount)
{
    const std::uint32_t lines = std::numeric_limits<std::uint32_t>::max() >> (32U - lineCount);
    private_->actuators.push_back({name, 0.0, static_cast<double>(lines), lines});
    return private_->actuators.size() - 1;
}

void CSignalDevice::setActuatorRange(std::size_t actuator, double minimum, double maximum)
{
    const std::lock_guard lock(private_->stateMutex);
    SActuator& changed = private_->actuators.at(actuator);
    changed.minimum = minimum;
    changed.maximum = maximum;
    changed.command = std::clamp(changed.command, minimum, maximum);
}

void CSignalDevice::starting() {}

void CSignalDevice::actuatorWritten(std::size_t, double) {}

void CSignalDevice::stopped() {}

void CSignalDevice::withUpdateLock(const std::function<void()>& action) const
{
    const std::lock_guard lock(private_->updateMutex);
    action();
}

void CSignalDevice::publish(std::size_t sensor, double value)
{
    for (const SSensorBinding& binding : private_->sensorBindings) {
        if (binding.sensor == sensor) {
            binding.channel->publishValue(value);
        }
    }
}

void CSignalDevice::setSensorFault(std::size_t sensor, const std::string& fault)
{
    for (const SSensorBinding& binding : private_->sensorBindings) {
        if (binding.sensor == sensor) {
            binding.channel->setFault(fault);
        }
    }
}

std::vector<double> CSignalDevice::actuatorCommands() const
{
    const std::lock_guard lock(private_->stateMutex);
    std::vector<double> commands;
    for (const SActuator& actuator : private_->actuators) {
        commands.push_back(actuator.command);
    }
    return commands;
}

void CSignalDevice::setOffline(bool away)
{
    const std::lock_guard lock(private_->stateMutex);
    if (private_->away == away) {
        return;
    }
    private_->away = away;
    if (away) {
        private_->wentOffline = true;
        takeActuatorsToZero();
    }
}

bool CSignalDevice::isOffline() const
{
    const std::lock_guard lock(private_->stateMutex);
    return private_->away;
}

void CSignalDevice::reportOffline()
{
    bool away = false;
    bool wentOffline = false;
    {
        const std::lock_guard lock(private_->stateMutex);
        away = private_->away;
        // remembered, because a short absence between two updates also lost what was written meanwhile
        wentOffline = std::exchange(private_->wentOffline, false);
    }
    const std::string text = offlineText();
    const auto forEachChannel = [this](const auto& action) {
        for (const SSensorBinding& binding : private_->sensorBindings) {
            action(*binding.channel);
        }
        for (const SActuatorBinding& binding : private_->actuatorBindings) {
            action(*binding.channel);
        }
    };
    if (wentOffline && !private_->offlineReported) {
        private_->offlineReported = true;
        forEachChannel([&text](IIoChannelInterface& channel) { channel.setFault(text); });
    }
    if (!away && private_->offlineReported) {
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

bool CSignalDevice::ready() const
{
    return true;
}

void CSignalDevice::run()
{
    const std::chrono::milliseconds interval(private_->updateInterval_ms);
    constexpr std::chrono::milliseconds soon(50);
    auto wakeUp = std::chrono::steady_clock::now();
    auto last = IClock::current().monotonic();
    for (bool lastOne = false;;) {
        const auto now = IClock::current().monotonic();
        const std::chrono::duration<double> elapsed = now - last;
        last = now;
        {
            const std::lock_guard lock(private_->updateMutex);
            // a clock put in force meanwhile may read less; time does not run back for a device
            update(std::max(elapsed.count(), 0.0));
        }
        if (lastOne) {
            return;
        }
        std::unique_lock<std::mutex> lock(private_->threadMutex);
        private_->isReady = private_->isReady || ready();
        private_->threadChanged.notify_all();
        // after a delay the next update comes at once, and those missed are not made up for; while somebody
        // waits for the first values, they come soon
        wakeUp = std::max(wakeUp + (private_->isReady ? interval : std::min(interval, soon)),
                          std::chrono::steady_clock::now());
        // once told to stop, one more update carries out what was written until then
        lastOne = private_->threadChanged.wait_until(lock, wakeUp, [this] { return private_->stop; });
    }
}

void CSignalDevice::takeActuatorsToZero()
{
    ++private_->timesTakenToZero;
    for (std::size_t i = 0; i < private_->actuators.size(); ++i) {
        private_->actuators[i].command = 0.0;
        actuatorWritten(i, 0.0);
    }
}

std::string CSignalDevice::offlineText() const
{
    return "Device " + getName() + " is offline";
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
