#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace Rvl {

/// The moment in UTC as ISO 8601 with milliseconds: "2026-11-20T18:19:34.123Z".
std::string utcText(std::chrono::system_clock::time_point moment);

/// The moment that such a text names. Seconds and their fraction may be left out, and so may the time of the
/// day with its "Z". Nothing if the text is no moment between the years 1678 and 2261.
std::optional<std::chrono::system_clock::time_point> parseUtc(const std::string& text);

} // namespace Rvl
