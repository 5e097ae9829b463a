#pragma once

#include "platform/rivlink_device/Export.h"

#include <string>

namespace Rvl {

/// Converts between the values of a device or loop (unscaled) and those of the user (scaled).
class RIVLINK_DEVICE_EXPORT IScalingInterface
{
public:
    virtual ~IScalingInterface();

    virtual double scaled(double unscaledValue) const = 0;
    virtual double unscaled(double scaledValue) const = 0;
    /// The unit of the scaled value, such as "degC"; empty if it has none.
    virtual const std::string& unit() const = 0;
};

} // namespace Rvl
