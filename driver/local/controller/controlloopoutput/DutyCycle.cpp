#include "driver/local/controller/controlloopoutput/DutyCycle.h"

#include <limits>

namespace Rvl {

std::uint32_t dutyCycleFromControlValue(double controlValue)
{
    constexpr double limit = 9223372036854775808.0; // 2 to the power 63
    const bool fits = controlValue >= -limit && controlValue < limit;
    const std::int64_t whole =
        fits ? static_cast<std::int64_t>(controlValue) : std::numeric_limits<std::int64_t>::min();
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(whole) & 0xffffffffu);
}

} // namespace Rvl
