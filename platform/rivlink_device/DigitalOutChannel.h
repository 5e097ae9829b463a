#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/Export.h"

#include <memory>

namespace Rvl {

/// An output that is on or off, or, in PWM mode, on for a share of the time.
class RIVLINK_DEVICE_EXPORT CDigitalOutChannel
    : public IIoChannelInterface,
      private CNameServerRegistrator<CDigitalOutChannel*, CNameServer<CDigitalOutChannel*>>
{
public:
    /// Every live digital output by name.
    static CNameServer<CDigitalOutChannel*> NameServer;
    /// The largest duty cycle, in percent: always on.
    static constexpr unsigned MaximumDutyCycle = 100;

    /// Registers the name. Throws CConfigurationException if another digital output has it.
    explicit CDigitalOutChannel(const std::string& name);
    ~CDigitalOutChannel() override;

    /// Reads the optional "<xmlattr>.SafeValue". Throws the property tree's bad-data error for what is no
    /// whole number, CConfigurationException for one outside 0 to MaximumDutyCycle.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// Switches the output on or off. If the device fails or is offline, the channel becomes faulty,
    /// until the next write that succeeds; no exception is thrown.
    virtual void writeOutput(bool on);
    /// Selects on/off or pulse-width mode. Failures as with writeOutput().
    virtual void setPWMMode(bool on);
    /// Sets the duty cycle in percent, limited to MaximumDutyCycle; a negative number taken as unsigned,
    /// which is above 2147483647, counts as 0. A channel in on/off mode is switched to pulse-width mode
    /// first. Failures as with writeOutput().
    void safeWritePWMDutyCycle(unsigned percent);

    /// Called by the device when it is online again: sends the mode and the state last written, if any, as
    /// their writer does not repeat them.
    void restoreOutput();

    /// The share of the time, in percent, for which the output is on while it is not driven: 0, as without
    /// setProperties(), is off and MaximumDutyCycle is on, in either mode.
    unsigned safeDutyCycle() const;

    /// The state last sent to the device: on or off, mode and duty cycle in percent.
    bool isOn() const;
    bool isPWMMode() const;
    unsigned dutyCycle() const;

protected:
    /// The three accesses to the device. Each throws CDeviceAccessException if it fails.
    virtual void driveOutput(bool on) = 0;
    virtual void drivePWMMode(bool on) = 0;
    virtual void driveDutyCycle(unsigned percent) = 0;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
