#pragma once

#include "host/history/HistoryBucket.h"
#include "host/history/HistoryReader.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Rvl {

/// What was added up for stretches of time, by their begin in milliseconds since 1970.
using Buckets = std::map<std::int64_t, SHistoryBucket>;

/// One of them as a row, with the mean of each value; what has no finite value is not a number.
SHistoryRow rowOf(std::int64_t begin_ms, const SHistoryBucket& bucket);
std::vector<SHistoryRow> rowsOf(const Buckets& buckets);

} // namespace Rvl
