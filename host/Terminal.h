#pragma once

#include <cstddef>

namespace Rvl {

/// Prepares standard output for what a live table needs (on systems that must be asked for it), and tells
/// whether it is a terminal at all.
bool setUpTerminal();

/// What a terminal's window holds.
struct STerminalSize
{
    std::size_t width;  ///< characters in a line
    std::size_t height; ///< lines
};

/// The size of the terminal's window; 80 by 24 if it does not tell.
STerminalSize terminalSize();

/// Keeps the process alive when whoever reads its output goes away, or a file reaches the size that it may
/// have: writing then fails, as to a full disk, instead of ending the process with its actuators driven.
void surviveFailedWrites();

} // namespace Rvl
