#pragma once

#include "host/process/Terminal.h"
#include "host/session/ControllerState.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// Shows the controllers on a terminal as a table that is redrawn in place.
class CLiveTable
{
public:
    /// The text, with escape sequences, that draws the table over the one drawn before. Lines are cut at the
    /// terminal's width, as a wrapped line would shift the table; lines that do not fit into its height are
    /// counted instead.
    std::string draw(const std::vector<SControllerState>& states, const STerminalSize& terminal);

private:
    std::size_t linesDrawn_ = 0;
};

/// All controllers in one line, for output that is no terminal:
/// "TIME  NAME: MODE, set point 60 degC, actual value 59.8 degC, control value 45, STATE; NAME: ...".
std::string stateLine(const std::vector<SControllerState>& states,
                      std::chrono::system_clock::time_point moment);

} // namespace Rvl
