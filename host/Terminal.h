#pragma once

#include <cstddef>

namespace Rvl {

/// Prepares standard output for what a live table needs (on systems that must be asked for it), and tells
/// whether it is a terminal at all.
bool setUpTerminal();

/// The number of characters that fit in a line of the terminal; 80 if it does not tell.
std::size_t terminalWidth();

/// Keeps the process alive when whoever reads its output goes away: writing then fails, as to a full disk,
/// instead of ending the process with its actuators driven.
void surviveBrokenPipes();

} // namespace Rvl
