#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace Rvl {

/// How far something with a known end has come, as one line that a terminal draws over the one before it:
/// "[########------------]  40 %  09:36:00 of 24:00:00, 31000 times real time".
///
/// `done` and `all` are times on the timeline of what is under way, `real` the time that passed in the world.
/// The line is cut at `width` characters.
std::string progressLine(std::chrono::nanoseconds done, std::chrono::nanoseconds all,
                         std::chrono::nanoseconds real, std::size_t width);

} // namespace Rvl
