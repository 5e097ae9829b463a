#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Rvl {

/// A size in bytes in text form: a number of 0 or more and one of the units B, kB, MB, GB and TB, each a
/// thousand times the one before, as in "500MB" or "1.5 GB". Nothing if the text is not a size, or larger
/// than a thousand TB.
std::optional<std::uint64_t> parseSize(const std::string& text);

} // namespace Rvl
