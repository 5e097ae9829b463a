#pragma once

namespace Rvl {

/// Ends the process at once: no destructor runs and nothing is flushed. For a process with a hung call, for
/// which the usual end would wait without limit.
[[noreturn]] void exitWithoutCleanup(int exitCode);

} // namespace Rvl
