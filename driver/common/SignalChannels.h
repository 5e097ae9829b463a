#pragma once

#include "driver/common/SignalDevice.h"
#include "platform/rivlink_core/DeviceFactory.h"
#include "platform/rivlink_core/IoChannelFactory.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/AnalogOutChannel.h"
#include "platform/rivlink_device/DigitalOutChannel.h"
#include "platform/rivlink_device/DigitalOutInterface.h"
#include "platform/rivlink_device/PumpInterface.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace Rvl {

/// The devices to which the channels of one plug-in can be bound.
struct SDeviceFamily
{
    std::string oneOfThem; ///< for messages: "a simulated device"
    std::string allOfThem; ///< for messages: "simulated devices"
    /// The device as a member of the family, or null.
    CSignalDevice* (*member)(IDeviceInterface* device);
};

/// The device of that name. Throws CConfigurationException, which names the channel and lists the existing
/// devices, if there is none of that name or it is not of the family.
CSignalDevice& findDevice(const std::string& channelName, const std::string& deviceName,
                          const SDeviceFamily& family);

/// The connection of a channel to one signal of its device, from the keys "Device" and "Signal" of its node.
/// The last member of its channel: a channel that is destroyed unbinds itself first.
class CSignalBinding
{
public:
    CSignalBinding(IIoChannelInterface& channel, const SDeviceFamily& family);
    ~CSignalBinding();
    CSignalBinding(const CSignalBinding&) = delete;
    CSignalBinding& operator=(const CSignalBinding&) = delete;

    /// Throws the property tree's bad-path error if a key is missing.
    void setProperties(const boost::property_tree::ptree& tree);
    void bindSensor(CAnalogInChannel& channel);
    void bindActuator(CSignalTable::SActuatorUse use);
    /// As bindActuator(). Throws CConfigurationException if the actuator is no digital port.
    void bindPort(CSignalTable::SActuatorUse use);
    /// Sets the actuator's value. Throws CDeviceAccessException if there is no device yet.
    void write(double value);
    /// Sets the actuator to a share of its maximum, in percent.
    void writePercent(double percent);
    /// The actuator's limits; all are 0 without a device.
    CSignalTable::SActuatorLimits limits() const;
    /// CSignalDevice::timesTakenToSafeValues(), or 0 without a device.
    std::uint64_t timesTakenToSafeValues() const;

private:
    CSignalDevice& boundDevice() const;
    void unbind();

    IIoChannelInterface& channel_;
    const SDeviceFamily& family_;
    std::string deviceName_;
    std::string signal_;
    CSignalDevice* device_ = nullptr;
    std::size_t actuator_ = 0;
};

/// Analog input on a sensor. Bound by connectToDevice(), unbound by its destructor.
class CSignalAnalogInChannel final : public CAnalogInChannel
{
public:
    CSignalAnalogInChannel(const std::string& name, const SDeviceFamily& family);
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;

private:
    CSignalBinding binding_;
};

/// Analog output on an actuator: the unscaled value is the actuator's, limited to the actuator's range.
class CSignalAnalogOutChannel final : public CAnalogOutChannel
{
public:
    CSignalAnalogOutChannel(const std::string& name, const SDeviceFamily& family);
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;

protected:
    void driveOutput(double unscaledValue) override;

private:
    CSignalBinding binding_;
};

/// Digital output on an actuator. On is the actuator's maximum, off is 0; in PWM mode the actuator gets the
/// duty cycle's share of its maximum instead, and on and off have no effect. Until the state of the present
/// mode is written, the actuator has the safe duty cycle's share.
class CSignalDigitalOutChannel final : public CDigitalOutChannel
{
public:
    CSignalDigitalOutChannel(const std::string& name, const SDeviceFamily& family);
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;

protected:
    void driveOutput(bool on) override;
    void drivePWMMode(bool on) override;
    void driveDutyCycle(unsigned percent) override;

private:
    struct SState
    {
        // empty while the actuator has its safe value
        std::optional<bool> on;
        std::optional<unsigned> dutyCycle;
        bool pwmMode = false;
    };
    SState stateOfDevice();
    void drive(const SState& state);

    SState state_; ///< as last sent to the device
    std::uint64_t timesTakenToSafeValues_ = 0;
    CSignalBinding binding_;
};

/// Digital port on an actuator that is one (CSignalDevice::addPort()). Reads the optional pattern
/// "<xmlattr>.SafeValue" of the lines that are on while the port is not driven, by default none. A write to
/// lines that the port does not have sets the other lines and makes the channel faulty. Events are raised on
/// the thread that writes.
class CSignalDigitalPortChannel final
    : public IIoChannelInterface,
      public IDigitalOutInterface,
      private CNameServerRegistrator<IDigitalOutInterface*, CNameServer<IDigitalOutInterface*>>
{
public:
    CSignalDigitalPortChannel(const std::string& name, const SDeviceFamily& family);
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;
    void writeMasked(std::uint32_t mask, std::uint32_t value) override;

private:
    void restoreOutput();
    void drive(std::uint32_t mask, std::uint32_t value);

    std::uint32_t safeLines_ = 0; ///< which lines are on while the port is not driven
    std::recursive_mutex mutex_;
    std::uint32_t writtenMask_ = 0; ///< the lines that were ever written, and the values last written
    std::uint32_t written_ = 0;
    std::optional<std::uint32_t> lines_; ///< as last sent to the device
    std::uint64_t timesTakenToSafeValues_ = 0;
    CSignalBinding binding_;
};

/// Pump on an actuator: its value is the flow, and its maximum the largest flow in either direction. Reads
/// the optional "<xmlattr>.SafeValue", the flow while the pump is not driven, by default 0.
class CSignalPumpChannel final : public IIoChannelInterface,
                                 public IPumpInterface,
                                 private CNameServerRegistrator<IPumpInterface*, CNameServer<IPumpInterface*>>
{
public:
    CSignalPumpChannel(const std::string& name, const SDeviceFamily& family);
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;
    /// 0 before connectToDevice().
    double maximumFlow() override;
    /// NaN is refused and makes the channel faulty; the pump takes its safe value.
    void generateFlow(double flow) override;

private:
    void restoreOutput();

    double safeFlow_ = 0.0;
    std::recursive_mutex mutex_;
    std::optional<double> writtenFlow_;
    CSignalBinding binding_;
};

/// Builds channels that are constructed from a name and a device family.
template <class Channel> class CSignalChannelFactory : public IIoChannelFactory
{
public:
    CSignalChannelFactory(const std::string& typeName, const SDeviceFamily& family)
        : typeName_(typeName), family_(family)
    {}
    std::string getTypeName() override { return typeName_; }

protected:
    IIoChannelInterface* createObjectImpl(const boost::property_tree::ptree& tree) override
    {
        return new Channel(channelNameFromProperties(tree), family_);
    }

private:
    std::string typeName_;
    const SDeviceFamily& family_;
};

/// Builds devices that are constructed from a name.
template <class Device> class CSignalDeviceFactory : public IDeviceFactory
{
public:
    explicit CSignalDeviceFactory(const std::string& typeName) : typeName_(typeName) {}
    std::string getTypeName() override { return typeName_; }

protected:
    IDeviceInterface* createObjectImpl(const boost::property_tree::ptree& tree) override
    {
        return new Device(deviceNameFromProperties(tree));
    }

private:
    std::string typeName_;
};

} // namespace Rvl
