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

    /// Registers the name. Throws CConfigurationException if another digital output bears it.
    explicit CDigitalOutChannel(const std::string& name);
    ~CDigitalOutChannel() override;

    /// Switches the output on or off. Never throws for a device that fails or is away: the channel is then
    /// marked faulty, and sound again with the next write that succeeds.
    virtual void writeOutput(bool on);
    /// Chooses between on/off and pulse-width operation, with the same promise as writeOutput().
    virtual void setPWMMode(bool on);
    /// Sets the duty cycle in percent, at most MaximumDutyCycle, with the same promise as writeOutput(). Who
    /// sets one means pulse widths: a channel in on/off operation is switched over first.
    void safeWritePWMDutyCycle(unsigned percent);

    /// For the device, once it is back: sends again the mode and the state that were last asked for, if any
    /// were. Whoever asked does not repeat itself.
    void restoreOutput();

    /// What was last sent to the device: on or off, mode and duty cycle in percent.
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
