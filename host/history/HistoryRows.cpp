#include "host/history/HistoryRows.h"

#include "host/history/HistoryFile.h"

#include <algorithm>
#include <limits>

namespace Rvl {

namespace {

SHistoryValues valuesOf(const SValueSum& sum)
{
    if (sum.count == 0) {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        return {nan, nan, nan};
    }
    // rounding must not take the mean beyond the values
    return {sum.minimum, std::clamp(sum.sum / static_cast<double>(sum.count), sum.minimum, sum.maximum),
            sum.maximum};
}

} // namespace

SHistoryRow rowOf(std::int64_t begin_ms, const SHistoryBucket& bucket)
{
    return {timeOf(begin_ms),
            valuesOf(bucket.setPoint),
            valuesOf(bucket.actualValue),
            valuesOf(bucket.controlValue),
            bucket.enabled,
            bucket.manual,
            bucket.health};
}

std::vector<SHistoryRow> rowsOf(const Buckets& buckets)
{
    std::vector<SHistoryRow> rows;
    rows.reserve(buckets.size());
    for (const auto& [begin_ms, bucket] : buckets) {
        rows.push_back(rowOf(begin_ms, bucket));
    }
    return rows;
}

} // namespace Rvl
