#pragma once

#include "host/history/HistorySample.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// A controller in a history.
struct SHistoryChannel
{
    std::string name;
    std::string unit; ///< of set point and actual value, in the latest run; empty if they have none
};

/// A stretch of time; both ends belong to it.
struct SHistoryRange
{
    std::chrono::system_clock::time_point from;
    std::chrono::system_clock::time_point to;
};

/// One value over the time of a row: all three are equal in a row of a single value, and not a number where
/// the time has no finite value.
struct SHistoryValues
{
    double minimum;
    double mean;
    double maximum;
};

/// A controller over a stretch of time that begins at `time`, or at that moment.
struct SHistoryRow
{
    std::chrono::system_clock::time_point time;
    SHistoryValues setPoint;
    SHistoryValues actualValue;
    SHistoryValues controlValue;
    bool enabled = false;         ///< at any time of the row
    bool manual = false;          ///< at any time of the row
    EHealth health = EHealth::Ok; ///< the worst of the row, in the order of the enumeration
};

/// What a screen shows of a controller.
struct SHistoryTrend
{
    std::chrono::milliseconds resolution{0}; ///< length of a row's time; 0 if rows are single values
    std::vector<SHistoryRow> rows;           ///< in the order of time; times without values have none
};

/// Reads a history, also while it is written by this or another process: every call sees what was committed
/// before it, and blocks no writer. To be used by one thread at a time. What the file does not permit throws
/// CHostException (ExitFailure).
///
///     CHistoryReader history("bench.history");
///     const SHistoryTrend week = history.read("Vessel", now - std::chrono::hours(168), now, 1000);
class CHistoryReader
{
public:
    /// Throws CHostException (ExitFailure) if the file does not exist, is not a history, or is one of another
    /// version.
    explicit CHistoryReader(const std::filesystem::path& file);
    ~CHistoryReader();
    CHistoryReader(const CHistoryReader&) = delete;
    CHistoryReader& operator=(const CHistoryReader&) = delete;

    /// In the order in which they first appeared.
    std::vector<SHistoryChannel> channels() const;
    /// From the first value of any controller to the last one; nothing if there are no values.
    std::optional<SHistoryRange> range() const;
    /// The same of the times for which single values are kept.
    std::optional<SHistoryRange> sampleRange() const;

    /// A controller from `from` to `to` in at most about `points` rows (1 or more): its single values if
    /// these are no more than that, otherwise rows of equal length, made from the coarsest level that is fine
    /// enough. For times whose finer values are not kept any more there are fewer and longer rows. Empty if
    /// there is no such controller.
    SHistoryTrend read(const std::string& channel, std::chrono::system_clock::time_point from,
                       std::chrono::system_clock::time_point to, std::size_t points) const;
    /// The time of the next single value of any controller after `time`, or one before that; nothing if
    /// there is none.
    std::optional<std::chrono::system_clock::time_point>
    nextSample(std::chrono::system_clock::time_point time) const;
    /// Hands every single value that is kept to `take`, in the order of time.
    void forEachSample(const std::string& channel, const SHistoryRange& range,
                       const std::function<void(const SHistorySample&)>& take) const;
    /// What happened, in the order of time; with a name only what concerns that controller or the whole run.
    /// At most the last `limit`.
    std::vector<SHistoryEvent> events(const SHistoryRange& range, const std::string& channel = {},
                                      std::size_t limit = 10'000) const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
