#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/Export.h"
#include "platform/rivlink_device/Scalable.h"

namespace Rvl {

/// A controller: set point, actual value, control value, enable and manual mode. Values are scaled ones
/// unless the name says otherwise.
class RIVLINK_DEVICE_EXPORT IControllerChannel
    : public IIoChannelInterface,
      public IScalable,
      public CNameServerRegistrator<IControllerChannel*, CNameServer<IControllerChannel*>>
{
public:
    /// Every live controller channel by name.
    static CNameServer<IControllerChannel*> NameServer;

    /// Registers the name; the set-point range is unlimited. Throws CConfigurationException if another
    /// controller channel has the name.
    explicit IControllerChannel(const std::string& name);
    ~IControllerChannel() override;

    /// Passes the set point, unscaled, to writeSetPointUnscaled(). Throws std::out_of_range, and writes
    /// nothing, if it is not a number or lies outside the set-point range.
    virtual void writeSetPoint(double setPoint);
    virtual double readActualValue();
    virtual void writeSetPointUnscaled(double setPoint) = 0;
    virtual double getSetPoint() = 0;
    virtual double readControlValue() = 0;
    virtual void writeManualControlValue(double controlValue) = 0;
    virtual double readActualValueUnscaled() = 0;
    virtual void setEnabled(bool enable) = 0;
    virtual void setManualMode(bool manual) = 0;
    virtual bool isControlLoopEnabled() = 0;
    virtual void writeManualControlValueUnscaled(double controlValue) = 0;
    virtual double readControlValueUnscaled() = 0;

    /// Limits what writeSetPoint() accepts, both ends included, in scaled units.
    void setSetpointRange(double minimum, double maximum);
    double setpointMinimum() const;
    double setpointMaximum() const;

private:
    double setpointMinimum_;
    double setpointMaximum_;
};

} // namespace Rvl
