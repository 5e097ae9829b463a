#pragma once

#include "driver/simulated/SimulatedDevice.h"
#include "platform/rivlink_device/DigitalOutChannel.h"

#include <string>

namespace Rvl {

/// A digital output that switches a fault of a simulated device on and off, for everything that can write a
/// named output. Keys "Device", "Kind" and "Signal" (none for DeviceAway). It has no
/// PWM mode. A switch that is destroyed leaves the fault as it is.
class CSimulatedFaultSwitch final : public CDigitalOutChannel
{
public:
    explicit CSimulatedFaultSwitch(const std::string& name);

    /// Throws the property tree's bad-path error if "Device" or "Kind" is missing, CConfigurationException
    /// for an unknown kind.
    void setProperties(const boost::property_tree::ptree& tree) override;
    void connectToDevice() override;

protected:
    void driveOutput(bool on) override;
    void drivePWMMode(bool on) override;
    void driveDutyCycle(unsigned percent) override;

private:
    CSimulatedDevice& boundDevice() const;
    [[noreturn]] void refusePWM() const;

    std::string deviceName_;
    std::string signal_;
    CSimulatedDevice::eFault kind_ = CSimulatedDevice::DeviceAway;
    CSimulatedDevice* device_ = nullptr;
};

} // namespace Rvl
