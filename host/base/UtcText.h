#pragma once

#include <chrono>
#include <string>

namespace Rvl {

/// The moment in UTC as ISO 8601 with milliseconds: "2026-11-20T18:19:34.123Z".
std::string utcText(std::chrono::system_clock::time_point moment);

} // namespace Rvl
