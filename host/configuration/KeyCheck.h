#pragma once

#include "host/types/TypeCatalogue.h"

#include <optional>
#include <string>

namespace Rvl {

/// The values that a key accepts, for messages: "a real number of 0 s or more", "true, false, 1 or 0", "one
/// of A, B".
std::string expectation(const SKeyDescription& key);

/// Checks the text given for a key of a plain type. Returns the error and what was expected, or nothing if
/// the text is valid. At least as strict as the code that reads it. A reference only must not be empty. The
/// minimum of a key that is lenient is not checked.
std::optional<std::string> checkValue(const SKeyDescription& key, const std::string& text);

/// What is hardly meant with a number below the minimum of a key that is lenient; nothing if it is not below.
std::optional<std::string> checkLenientMinimum(const SKeyDescription& key, const std::string& text);

/// Whether a value of the key stands for no limit, and so is not held against other keys.
bool isNoLimit(const SKeyDescription& key, double value);

} // namespace Rvl
