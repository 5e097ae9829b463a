#pragma once

#include "host/types/TypeCatalogue.h"

#include <optional>
#include <string>

namespace Rvl {

/// What a key expects, for people: "a real number of 0 s or more", "true, false, 1 or 0", "one of A, B".
std::string expectation(const SKeyDescription& key);

/// Judges the text given for a key of a plain type: what is wrong with it and what was expected, or nothing
/// if it is sound. At least as strict as the code that reads it. References are only judged not to be empty.
std::optional<std::string> judgeValue(const SKeyDescription& key, const std::string& text);

} // namespace Rvl
