#pragma once

#include <optional>
#include <string>

namespace Rvl {

/// The values that an actuator takes, in the units of the channel that is bound to it. A limit that is not
/// known is absent.
struct SActuatorRange
{
    std::string actuator;
    std::optional<double> minimum;
    std::optional<double> maximum;

    bool contains(double value) const;
    /// "one from 0 to 100".
    std::string expected() const;
};

} // namespace Rvl
