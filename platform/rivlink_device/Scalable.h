#pragma once

#include "platform/rivlink_device/Export.h"

#include <memory>
#include <string>

namespace Rvl {

class IScalingInterface;

/// Part of a channel that converts between unscaled and scaled values. Without a scaling, or while software
/// scaling is switched off, both are the same. Safe from any thread.
class RIVLINK_DEVICE_EXPORT IScalable
{
public:
    virtual ~IScalable();
    IScalable(const IScalable&) = delete;
    IScalable& operator=(const IScalable&) = delete;

    /// Installs a scaling, of which the channel takes ownership; null is removeScaling(). The first one
    /// installed is the default.
    virtual void setScaling(IScalingInterface* scaling);
    virtual void removeScaling();
    /// The scaling installed, or null. Valid until another one is installed.
    virtual const IScalingInterface* scaling() const;
    /// Switches the conversion on (as at the start) or off; the scaling stays installed.
    virtual void setSwScalingOn(bool on);
    /// Installs the default scaling again, if there ever was one.
    virtual void resetDefaultScaling();

    double getScaledValue(double unscaledValue) const;
    double getUnscaledValue(double scaledValue) const;
    /// The unit of the scaled value; empty without a scaling.
    std::string unit() const;

protected:
    IScalable();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
