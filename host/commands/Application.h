#pragma once

#include <chrono>
#include <ostream>

namespace Rvl {

/// The program rivlink-host: reads the command line, does what it says and returns the exit status, one of
/// eExitCode. The command's result goes to `out`, everything else to `err`. Does not throw.
int runApplication(int argc, const char* const* argv, std::chrono::steady_clock::time_point programStart,
                   std::ostream& out, std::ostream& err);

} // namespace Rvl
