#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace Rvl {

/// The longest time that one stretch of samples spans: bounds how far before a time stretches have to be
/// looked for.
inline constexpr std::int64_t longestStretch_ms = 3'600'000;

/// The file of a history for appending: created if it does not exist or is empty. Throws CHostException
/// (ExitFailure) if it is something else or of another version, which leaves it as it is.
SQLite::Database openHistoryForWriting(const std::filesystem::path& file);
/// The same for reading; also if it does not exist.
SQLite::Database openHistoryForReading(const std::filesystem::path& file);

inline std::int64_t millisecondsOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

inline std::chrono::system_clock::time_point timeOf(std::int64_t time_ms)
{
    return std::chrono::system_clock::time_point(std::chrono::milliseconds(time_ms));
}

/// The samples of a moment or a stretch in a row's column.
inline std::string_view codeIn(const SQLite::Column& column)
{
    const char* const data = static_cast<const char*>(column.getBlob());
    return {data, data == nullptr ? 0 : static_cast<std::size_t>(column.getBytes())};
}

} // namespace Rvl
