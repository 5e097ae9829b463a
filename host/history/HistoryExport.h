#pragma once

#include "host/history/HistoryReader.h"

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace Rvl {

/// Is given how much of the time is done, and all of it. Returns false to end what is under way.
using HistoryProgress = std::function<bool(std::chrono::nanoseconds done, std::chrono::nanoseconds all)>;

/// Writes the single values of a history as CSV with the columns of a record, in the order of time.
/// `channels` are those wanted, in this order. Returns false if the output does not take it, or `progress`
/// ends it.
bool exportHistory(const CHistoryReader& reader, const SHistoryRange& range,
                   const std::vector<SHistoryChannel>& channels, std::ostream& out,
                   const HistoryProgress& progress);

} // namespace Rvl
