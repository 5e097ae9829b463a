#include "driver/common/SignalChannels.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <iterator>
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

void CSignalBinding::bindActuator(std::function<void()> restore)
{
    unbind();
    CSignalDevice& device = findDevice(channel_.getName(), deviceName_, family_);
    actuator_ = device.bindActuator(signal_, channel_, std::move(restore));
    device_ = &device;
}

void CSignalBinding::bindPort(std::function<void()> restore)
{
    bindActuator(std::move(restore));
    if (lines() == 0) {
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
    device.writeActuator(actuator_, device.actuatorMaximum(actuator_) * percent / 100.0);
}

double CSignalBinding::maximum() const
{
    return device_ ? device_->actuatorMaximum(actuator_) : 0.0;
}

std::uint32_t CSignalBinding::lines() const
{
    return device_ ? device_->actuatorLines(actuator_) : 0;
}

std::uint64_t CSignalBinding::timesTakenToZero() const
{
    return device_ ? device_->timesTakenToZero() : 0;
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
    binding_.bindActuator([this] { restoreOutput(); });
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
    binding_.bindActuator([this] { restoreOutput(); });
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

/// A device that has set its outputs to 0 in between no longer has the on/off state and the duty cycle:
/// selecting the mode again must not restore the previous ones.
CSignalDigitalOutChannel::SState CSignalDigitalOutChannel::stateOfDevice()
{
    const std::uint64_t times = binding_.timesTakenToZero();
    if (times != timesTakenToZero_) {
        timesTakenToZero_ = times;
        state_.on = false;
        state_.dutyCycle = 0;
    }
    return state_;
}

void CSignalDigitalOutChannel::drive(const SState& state)
{
    const double onOff = state.on ? 100.0 : 0.0;
    binding_.writePercent(state.pwmMode ? static_cast<double>(state.dutyCycle) : onOff);
    state_ = state;
}

CSignalDigitalPortChannel::CSignalDigitalPortChannel(const std::string& name, const SDeviceFamily& family)
    : IIoChannelInterface(name), CNameServerRegistrator(IDigitalOutInterface::NameServer, name, this),
      binding_(*this, family)
{}

void CSignalDigitalPortChannel::setProperties(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface::setProperties(tree);
    binding_.setProperties(tree);
}

void CSignalDigitalPortChannel::connectToDevice()
{
    binding_.bindPort([this] { restoreOutput(); });
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
    // a device that has set its outputs to 0 in between no longer has the state of the other lines
    const std::uint64_t times = binding_.timesTakenToZero();
    const std::uint32_t others = times == timesTakenToZero_ ? lines_ & ~mask : 0;
    const std::uint32_t lines = (others | (value & mask)) & binding_.lines();
    try {
        binding_.write(lines);
        lines_ = lines;
        timesTakenToZero_ = times;
        setFault((mask & ~binding_.lines()) == 0
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
    binding_.setProperties(tree);
}

void CSignalPumpChannel::connectToDevice()
{
    binding_.bindActuator([this] { restoreOutput(); });
}

double CSignalPumpChannel::maximumFlow()
{
    return binding_.maximum();
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
