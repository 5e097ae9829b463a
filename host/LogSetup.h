#pragma once

#include <string>
#include <vector>

namespace Rvl {

/// The names of the log levels, from the most talkative to "off".
const std::vector<std::string>& logLevels();

/// Sends log records of this level and above to standard error, as "TIME LEVEL [LOGGER] MESSAGE". To be
/// called before anything is logged.
void setUpLogging(const std::string& level);

} // namespace Rvl
