#pragma once

#include "host/history/HistoryWriter.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstdint>

namespace Rvl {

/// Removes from a history what is too old or too much: of what is too much single values first, then the
/// finest level, and so on. In small steps, so that a batch to be written does not have to wait for long.
class CHistoryRetention
{
public:
    /// The database must outlive the object.
    CHistoryRetention(SQLite::Database& database, const SHistoryRetention& retention);

    /// There may be something to remove at this time (milliseconds since 1970).
    void begin(std::int64_t now_ms);
    /// Removes some of it, in a transaction. Does nothing, fast, while nothing is left to be removed. Throws
    /// SQLite::Exception.
    void step();

private:
    int removeOld();
    int removeSurplus();
    int removeOldest(std::int64_t surplus);
    std::int64_t bytesOf(const char* pages);

    SQLite::Database& database_;
    const SHistoryRetention retention_;
    std::int64_t now_ms_ = 0;
    bool isPending_ = false;
};

} // namespace Rvl
