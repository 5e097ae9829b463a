#pragma once

#include "runtime/Export.h"

#include <string>

namespace Rvl {

/// Gives the calling thread a name, which the system's tools and debuggers show: at most its first 15
/// characters on Linux. Without effect where the system has no such names.
RIVLINK_RUNTIME_EXPORT void setThreadName(const std::string& name);

} // namespace Rvl
