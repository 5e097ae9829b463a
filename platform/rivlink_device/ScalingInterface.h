#pragma once

#include "platform/rivlink_device/Export.h"

#include <string>

namespace Rvl {

/// Converts between what a device or loop works with (unscaled) and what people read and write (scaled).
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
