#pragma once

#include "host/process/Terminal.h"
#include "host/session/ControllerState.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// Shows the controllers on a terminal as a table that stays in its place.
class CLiveTable
{
public:
    /// What draws the table, over the one drawn before, when a terminal is given it. Lines are cut at the
    /// terminal's width, as one that it breaks in two would shift the table; lines for which it has no room
    /// are counted instead.
    std::string draw(const std::vector<SControllerState>& states, const STerminalSize& terminal);

private:
    std::size_t linesDrawn_ = 0;
};

/// All controllers in one line, for output that is no terminal:
/// "TIME  NAME: MODE, set point 60 degC, actual value 59.8 degC, control value 45, STATE; NAME: ...".
std::string stateLine(const std::vector<SControllerState>& states,
                      std::chrono::system_clock::time_point moment);

} // namespace Rvl
