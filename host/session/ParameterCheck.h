#pragma once

#include "common/LoopGraph.h"
#include "host/types/TypeCatalogue.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

/// The value of a parameter; nothing if the set has none of that key.
std::optional<double> valueOf(const SLoopParameters& parameters, const std::string& key);
std::vector<std::string> keysOf(const SLoopParameters& parameters);
/// The least and the most control value of a loop with these parameters, unscaled: its limits, or its levels.
/// Nothing if it has neither.
std::optional<std::pair<double, double>> controlLimitsOf(const SLoopParameters& parameters);

/// Checks a changed parameter set against the description of the loop's type: the range of each value, and
/// how they go together. Throws CCommandRefused with the key at fault.
void checkDescribed(const STypeDescription& type, const SLoopParameters& parameters);

} // namespace Rvl
