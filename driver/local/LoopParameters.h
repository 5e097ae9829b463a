#pragma once

#include "common/LoopGraph.h"

#include <vector>

namespace Rvl {

class IControlLoop;

/// The parameter set in force, read under the loop's lock. The values are those stored: a tracking time of 0
/// is 0, whatever the loop makes of it. A loop that is none of this plug-in's types has no values.
SLoopParameters loopParameters(IControlLoop& loop);

/// Replaces the values of the given keys, and leaves the others, in one call of the loop's setParameters()
/// under its lock: what that does to the loop's terms is the loop's own rule. An empty list changes nothing.
/// Throws std::invalid_argument as ILoopGraph::setParameters() does.
void changeLoopParameters(IControlLoop& loop, const std::vector<SLoopParameters::SValue>& values);

} // namespace Rvl
