#pragma once

#include <ctime>
#include <string>

namespace Rvl {

/// Why the calendar's time `now` (s since 1970) cannot be used; empty if it can, which it can from 1970 to
/// 2261: in ns since 1970 later times are beyond 64 bits.
std::string calendarFault(std::time_t now);

} // namespace Rvl
