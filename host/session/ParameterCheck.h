#pragma once

#include "common/LoopGraph.h"
#include "host/configuration/DrivenOutput.h"
#include "host/types/TypeCatalogue.h"

#include <cstddef>
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

/// The description of a loop's type by the name in the configuration; by the loop's own name, which may be
/// another one, if the configuration is not known. Null if there is none.
const STypeDescription* typeOfLoop(const SControllerLoops& loops, std::size_t loop,
                                   const std::string& ownName, const CTypeCatalogue& catalogue);

/// Checks a changed parameter set against the description of the loop's type: the range of each value, and
/// how they go together. Throws CCommandRefused with the key at fault.
void checkDescribed(const STypeDescription& type, const SLoopParameters& parameters);

/// Checks a changed parameter set of a loop (0: the outermost) against the outputs to which its control value
/// goes, as a configuration's is. Throws CCommandRefused with the key at fault.
void checkDriven(const SControllerLoops& loops, std::size_t loop, const SLoopParameters& parameters);
/// The same for a set point and a manual control value of the controller, unscaled; `field` names it.
void checkDrivenSetPoint(const SControllerLoops& loops, double setPoint, const std::string& field);
void checkDrivenManually(const SControllerLoops& loops, double controlValue, const std::string& field);

} // namespace Rvl
