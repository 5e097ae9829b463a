#pragma once

#include <chrono>

namespace Rvl {

/// Ends the process by std::abort() after the limit, at least a second and in whole seconds, without a
/// thread. Only the first call counts, so that another failure does not extend it. On Windows nothing
/// happens, as there is no timer without a thread.
void abortByAlarmAfter(std::chrono::milliseconds limit);

} // namespace Rvl
