#pragma once

#include "driver/local/Export.h"

#include <cstdint>

namespace Rvl {

/// A control value as a PWM duty cycle: truncated toward zero to a signed 64-bit integer, of which the low
/// 32 bits remain. 99.9 gives 99, -1 gives 4294967295: nothing is rounded or limited here, the channel's safe
/// write does that. What does not fit into 64 bits, and NaN, gives 0: the smallest 64-bit integer, which a
/// processor of the x86-64 family makes of them, has no low bits.
RIVLINK_LOCAL_EXPORT std::uint32_t dutyCycleFromControlValue(double controlValue);

} // namespace Rvl
