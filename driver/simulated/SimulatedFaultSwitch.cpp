#include "driver/simulated/SimulatedFaultSwitch.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CSimulatedFaultSwitch::CSimulatedFaultSwitch(const std::string& name) : CDigitalOutChannel(name) {}

void CSimulatedFaultSwitch::setProperties(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface::setProperties(tree); // no actuator: it has no safe value
    deviceName_ = tree.get<std::string>("Device");
    kind_ = CSimulatedDevice::faultOfName(tree.get<std::string>("Kind"));
    signal_ = tree.get<std::string>("Signal", std::string());
}

void CSimulatedFaultSwitch::connectToDevice()
{
    auto& device = dynamic_cast<CSimulatedDevice&>(findDevice(getName(), deviceName_, simulatedDevices));
    device.checkFault(kind_, signal_);
    device_ = &device;
}

void CSimulatedFaultSwitch::driveOutput(bool on)
{
    boundDevice().setFault(kind_, signal_, on);
}

void CSimulatedFaultSwitch::drivePWMMode(bool on)
{
    if (on) {
        refusePWM();
    }
}

void CSimulatedFaultSwitch::driveDutyCycle(unsigned)
{
    refusePWM();
}

CSimulatedDevice& CSimulatedFaultSwitch::boundDevice() const
{
    if (!device_) {
        RVL_THROW(CDeviceAccessException, "Channel " + getName() + " is not bound to a device");
    }
    return *device_;
}

void CSimulatedFaultSwitch::refusePWM() const
{
    RVL_THROW(CDeviceAccessException,
              "Channel " + getName() + " is a fault switch: it can be on or off, but has no duty cycle");
}

} // namespace Rvl
