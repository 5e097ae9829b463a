#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/Export.h"
#include "platform/rivlink_device/Scalable.h"

#include <memory>

namespace Rvl {

/// A quantity that can be set continuously. Values are scaled ones unless the name says otherwise.
class RIVLINK_DEVICE_EXPORT CAnalogOutChannel
    : public IIoChannelInterface,
      public IScalable,
      private CNameServerRegistrator<CAnalogOutChannel*, CNameServer<CAnalogOutChannel*>>
{
public:
    /// Every live analog output by name.
    static CNameServer<CAnalogOutChannel*> NameServer;

    /// Registers the name; range unlimited, safe value 0. Throws CConfigurationException if another analog
    /// output has the name.
    explicit CAnalogOutChannel(const std::string& name);
    ~CAnalogOutChannel() override;

    /// Reads the optional "Range.<xmlattr>.Minimum", "Range.<xmlattr>.Maximum" and "<xmlattr>.SafeValue".
    /// Throws the property tree's bad-data error for what is not a number, CConfigurationException for a
    /// minimum above the maximum or a safe value outside the range.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// Clamps the value to the range and sends it to the device. If the device fails or is offline, the
    /// channel becomes faulty, until the next write that succeeds; no exception is thrown. For NaN the safe
    /// value is sent instead, and the channel becomes faulty.
    void safeWriteOutput(double value);
    /// Called by the device when it is online again: sends the last value written, if any, as its writer does
    /// not repeat it.
    void restoreOutput();
    /// The value last sent to the device, or NaN before the first one.
    double outputValue() const;

    double minimum() const;
    double maximum() const;
    /// The value of the output while it is not driven.
    double safeValue() const;
    /// Throws CConfigurationException unless minimum <= safeValue <= maximum.
    void setRange(double minimum, double maximum, double safeValue);

protected:
    /// Sends an unscaled value to the device. Throws CDeviceAccessException if it cannot.
    virtual void driveOutput(double unscaledValue) = 0;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
