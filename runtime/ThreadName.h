#pragma once

#include <string>

namespace Rvl {

/// Gives the calling thread a name, which the system's tools and debuggers show: at most its first 15
/// characters on Linux. Without effect where the system has no such names.
void setThreadName(const std::string& name);

} // namespace Rvl
