#include "driver/common/SignalChannels.h"

#include "common/LoggedThrow.h"
#include "common/Numbers.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

namespace Rvl {

CSignalDevice& findDevice(const std::string& channelName, const std::string& deviceName,
                          const SDeviceFamily& family)
{
    const auto& nameServer = IDeviceInterface::NameServer;
    const bool known = nameServer.contains(deviceName);
    CSignalDevice* const device = known ? family.member(nameServer.lookupObject(deviceName)) : nullptr;
    if (device) {
        return *device;
    }
    const std::vector<std::string> names = nameServer.names();
    std::vector<std::string> members;
    std::copy_if(names.begin(), names.end(), std::back_inserter(members), [&](const std::string& name) {
        return family.member(nameServer.lookupObject(name)) != nullptr;
    });
    RVL_THROW(CConfigurationException, "Channel " + channelName + ": " +
                                           (known ? "device " + deviceName + " is not " + family.oneOfThem
                                                  : "there is no device " + deviceName) +
                                           "; " + family.allOfThem + " are: " + listed(members));
}

CSignalBinding::CSignalBinding(IIoChannelInterface& channel, const SDeviceFamily& family)
    : channel_(channel), family_(family)
{}

CSignalBinding::~CSignalBinding()
{
    unbind();
}

void CSignalBinding::setProperties(const boost::property_tree::ptree& tree)
{
    const auto device = tree.get<std::string>("Device");
    signal_ = tree.get<std::string>("Signal");
    deviceName_ = device;
}

void CSignalBinding::bindSensor(CAnalogInChannel& channel)
{
    unbind();
    CSignalDevice& device = findDevice(channel_.getName(), deviceName_, family_);
    device.bindSensor(signal_, channel);
    device_ = &device;
}

void CSignalBinding::bindActuator(CSignalTable::SActuatorUse use)
{
    unbind();
    CSignalDevice& device = findDevice(channel_.getName(), deviceName_, family_);
    actuator_ = device.bindActuator(signal_, channel_, std::move(use));
    device_ = &device;
}

void CSignalBinding::bindPort(CSignalTable::SActuatorUse use)
{
    bindActuator(std::move(use));
    if (limits().lines == 0) {
        const std::string device = device_->getName();
        unbind();
        RVL_THROW(CConfigurationException, "Channel " + channel_.getName() + ": actuator " + signal_ +
                                               " of device " + device + " is no digital port");
    }
}

void CSignalBinding::write(double value)
{
    boundDevice().writeActuator(actuator_, value);
}

void CSignalBinding::writePercent(double percent)
{
    CSignalDevice& device = boundDevice();
    device.writeActuator(actuator_, device.actuatorLimits(actuator_).atPercent(percent));
}

CSignalTable::SActuatorLimits CSignalBinding::limits() const
{
    return device_ ? device_->actuatorLimits(actuator_) : CSignalTable::SActuatorLimits{0.0, 0.0, 0};
}

std::uint64_t CSignalBinding::timesTakenToSafeValues() const
{
    return device_ ? device_->timesTakenToSafeValues() : 0;
}

CSignalDevice& CSignalBinding::boundDevice() const
{
    if (!device_) {
        RVL_THROW(CDeviceAccessException, "Channel " + channel_.getName() + " is not bound to a device");
    }
    return *device_;
}

void CSignalBinding::unbind()
{
    if (device_) {
        device_->unbind(channel_);
        device_ = nullptr;
    }
}

CSignalAnalogInChannel::CSignalAnalogInChannel(const std::string& name, const SDeviceFamily& family)
    : CAnalogInChannel(name), binding_(*this, family)
{}

void CSignalAnalogInChannel::setProperties(const boost::property_tree::ptree& tree)
{
    CAnalogInChannel::setProperties(tree);
    binding_.setProperties(tree);
}

void CSignalAnalogInChannel::connectToDevice()
{
    binding_.bindSensor(*this);
}

CSignalAnalogOutChannel::CSignalAnalogOutChannel(const std::string& name, const SDeviceFamily& family)
    : CAnalogOutChannel(name), binding_(*this, family)
{}

void CSignalAnalogOutChannel::setProperties(const boost::property_tree::ptree& tree)
{
    CAnalogOutChannel::setProperties(tree);
    binding_.setProperties(tree);
}

void CSignalAnalogOutChannel::connectToDevice()
{
    binding_.bindActuator(
        {[this](const auto&) { return getUnscaledValue(safeValue()); }, [this] { restoreOutput(); }});
}

void CSignalAnalogOutChannel::driveOutput(double unscaledValue)
{
    binding_.write(unscaledValue);
}

CSignalDigitalOutChannel::CSignalDigitalOutChannel(const std::string& name, const SDeviceFamily& family)
    : CDigitalOutChannel(name), binding_(*this, family)
{}

void CSignalDigitalOutChannel::setProperties(const boost::property_tree::ptree& tree)
{
    CDigitalOutChannel::setProperties(tree);
    binding_.setProperties(tree);
}

void CSignalDigitalOutChannel::connectToDevice()
{
    binding_.bindActuator({[this](const auto& limits) { return limits.atPercent(safeDutyCycle()); },
                           [this] { restoreOutput(); }});
}

void CSignalDigitalOutChannel::driveOutput(bool on)
{
    SState state = stateOfDevice();
    state.on = on;
    drive(state);
}

void CSignalDigitalOutChannel::drivePWMMode(bool on)
{
    SState state = stateOfDevice();
    state.pwmMode = on;
    drive(state);
}

void CSignalDigitalOutChannel::driveDutyCycle(unsigned percent)
{
    SState state = stateOfDevice();
    state.dutyCycle = percent;
    drive(state);
}

/// A device that has taken its outputs to their safe values in between no longer has the on/off state and the
/// duty cycle: selecting the mode again must not restore the previous ones.
CSignalDigitalOutChannel::SState CSignalDigitalOutChannel::stateOfDevice()
{
    const std::uint64_t times = binding_.timesTakenToSafeValues();
    if (times != timesTakenToSafeValues_) {
        timesTakenToSafeValues_ = times;
        state_.on.reset();
        state_.dutyCycle.reset();
    }
    return state_;
}

void CSignalDigitalOutChannel::drive(const SState& state)
{
    const unsigned onOff = !state.on ? safeDutyCycle() : *state.on ? MaximumDutyCycle : 0;
    binding_.writePercent(state.pwmMode ? state.dutyCycle.value_or(safeDutyCycle()) : onOff);
    state_ = state;
}

CSignalDigitalPortChannel::CSignalDigitalPortChannel(const std::string& name, const SDeviceFamily& family)
    : IIoChannelInterface(name), CNameServerRegistrator(IDigitalOutInterface::NameServer, name, this),
      binding_(*this, family)
{}

void CSignalDigitalPortChannel::setProperties(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface::setProperties(tree);
    const auto safeLines = tree.get_optional<std::string>("<xmlattr>.SafeValue");
    const auto pattern = parseHexadecimal(safeLines.value_or("0"));
    if (!pattern) {
        RVL_THROW(CConfigurationException, "Channel " + getName() + ": the safe value \"" + *safeLines +
                                               "\" is no hexadecimal number");
    }
    safeLines_ = *pattern;
    binding_.setProperties(tree);
}

void CSignalDigitalPortChannel::connectToDevice()
{
    binding_.bindPort(
        {[this](const auto&) { return static_cast<double>(safeLines_); }, [this] { restoreOutput(); }});
}

void CSignalDigitalPortChannel::writeMasked(std::uint32_t mask, std::uint32_t value)
{
    const std::lock_guard lock(mutex_);
    writtenMask_ |= mask;
    written_ = (written_ & ~mask) | (value & mask);
    drive(mask, value);
}

void CSignalDigitalPortChannel::restoreOutput()
{
    const std::lock_guard lock(mutex_);
    if (writtenMask_ != 0) {
        drive(writtenMask_, written_);
    }
}

void CSignalDigitalPortChannel::drive(std::uint32_t mask, std::uint32_t value)
{
    // a device that has taken its outputs to their safe values in between no longer has the other lines'
    // state
    const std::uint64_t times = binding_.timesTakenToSafeValues();
    const std::uint32_t others =
        (times == timesTakenToSafeValues_ ? lines_.value_or(safeLines_) : safeLines_) & ~mask;
    const std::uint32_t portLines = binding_.limits().lines;
    const std::uint32_t lines = (others | (value & mask)) & portLines;
    try {
        binding_.write(lines);
        lines_ = lines;
        timesTakenToSafeValues_ = times;
        setFault((mask & ~portLines) == 0
                     ? ""
                     : "Channel " + getName() + ": the port does not have all lines that were written");
    } catch (const CDeviceAccessException& exception) {
        setFault(exception.what());
    }
}

CSignalPumpChannel::CSignalPumpChannel(const std::string& name, const SDeviceFamily& family)
    : IIoChannelInterface(name), CNameServerRegistrator(IPumpInterface::NameServer, name, this),
      binding_(*this, family)
{}

void CSignalPumpChannel::setProperties(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface::setProperties(tree);
    const double unlimited = std::numeric_limits<double>::max();
    safeFlow_ =
        CDeviceProperties("Channel " + getName(), tree).real("SafeValue", 0.0, {-unlimited, unlimited, ""});
    binding_.setProperties(tree);
}

void CSignalPumpChannel::connectToDevice()
{
    binding_.bindActuator({[this](const auto&) { return safeFlow_; }, [this] { restoreOutput(); }});
}

double CSignalPumpChannel::maximumFlow()
{
    return binding_.limits().maximum;
}

void CSignalPumpChannel::generateFlow(double flow)
{
    const std::lock_guard lock(mutex_);
    writtenFlow_ = flow;
    restoreOutput();
}

void CSignalPumpChannel::restoreOutput()
{
    const std::lock_guard lock(mutex_);
    if (!writtenFlow_) {
        return;
    }
    try {
        binding_.write(*writtenFlow_);
        setFault("");
    } catch (const CDeviceAccessException& exception) {
        setFault(exception.what());
    }
}

} // namespace Rvl
