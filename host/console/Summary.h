#pragma once

#include "host/session/ControllerState.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The summary of a run: the timing of its loops, the final state of each controller, and the time from the
/// program's start to the first step of a loop, if there was one.
std::string summary(const std::vector<SControllerState>& states,
                    std::optional<std::chrono::microseconds> untilFirstStep);

} // namespace Rvl
