#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace Rvl {

/// A duration in text form: a number of 0 or more and one of the units ms, s, min, h and d, as in "500ms",
/// "1.5 s" or "30d". Nothing if the text is not a duration, or longer than 100 years.
std::optional<std::chrono::milliseconds> parseDuration(const std::string& text);

} // namespace Rvl
