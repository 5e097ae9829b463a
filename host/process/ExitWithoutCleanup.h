#pragma once

namespace Rvl {

/// Ends the process with nothing destroyed or written any more: for when one of its threads is held up by
/// somebody else, perhaps for ever, and the usual end would wait for it.
[[noreturn]] void exitWithoutCleanup(int exitCode);

} // namespace Rvl
