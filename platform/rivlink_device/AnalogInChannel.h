#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/Export.h"
#include "platform/rivlink_device/Scalable.h"

#include <atomic>

namespace Rvl {

/// A measured quantity. The device publishes values on its own thread; reading returns the newest one and
/// never waits for the device.
class RIVLINK_DEVICE_EXPORT CAnalogInChannel
    : public IIoChannelInterface,
      public IScalable,
      private CNameServerRegistrator<CAnalogInChannel*, CNameServer<CAnalogInChannel*>>
{
public:
    /// Every live analog input by name.
    static CNameServer<CAnalogInChannel*> NameServer;

    /// Registers the name. Throws CConfigurationException if another analog input has it.
    explicit CAnalogInChannel(const std::string& name);
    ~CAnalogInChannel() override;

    /// The newest value, scaled; NaN before the first one.
    virtual double readValue();
    /// The newest value as the device published it.
    double readValueUnscaled() const;

    /// For the device: keeps the (unscaled) value and raises EventNewValue.
    void publishValue(double value);

private:
    std::atomic<double> value_;
};

} // namespace Rvl
