#pragma once

#include "common/LoopGraph.h"
#include "host/session/ControllerState.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The loops behind one controller.
struct SObservedLoops
{
    std::string channel;
    std::vector<SLoopStatus> loops; ///< the outermost first
};

/// What a run came to: how its loops kept their time, how each controller stood in the end, and how long the
/// first step of a loop took from the start of the program, if there was one.
std::string summary(const std::vector<SObservedLoops>& observed, const std::vector<SControllerState>& states,
                    std::optional<std::chrono::microseconds> untilFirstStep);

} // namespace Rvl
