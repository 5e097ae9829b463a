#include "host/history/HistoryRetention.h"

#include "host/history/HistoryBucket.h"

#include <algorithm>
#include <string>

namespace Rvl {

namespace {

constexpr std::int64_t rowsPerStep = 500;
constexpr int pagesPerStep = 500;
constexpr std::int64_t longerPerLevel = 4;
constexpr std::int64_t longerForEvents = 16;

} // namespace

CHistoryRetention::CHistoryRetention(SQLite::Database& database, const SHistoryRetention& retention)
    : database_(database), retention_(retention)
{}

void CHistoryRetention::begin(std::int64_t now_ms)
{
    now_ms_ = now_ms;
    isPending_ = true;
}

void CHistoryRetention::step()
{
    if (!isPending_) {
        return;
    }
    SQLite::Transaction transaction(database_, SQLite::TransactionBehavior::IMMEDIATE);
    const int removed = removeOld() + removeSurplus();
    transaction.commit();
    isPending_ = removed > 0;
}

/// Up to the begin of a row of the next coarser level, which then has the whole of its time.
int CHistoryRetention::removeOld()
{
    std::int64_t keep_ms = retention_.keep.count();
    const auto before = [&](std::int64_t longer, std::int64_t length_ms) {
        return beginOf(now_ms_ - keep_ms * longer, length_ms);
    };
    SQLite::Statement stretches(database_, "DELETE FROM stretch WHERE end < ? AND id IN "
                                           "(SELECT id FROM stretch ORDER BY id LIMIT ?)");
    stretches.bind(1, before(1, historyLevels_ms.front()));
    stretches.bind(2, rowsPerStep);
    int removed = stretches.exec();
    SQLite::Statement level(database_, "DELETE FROM level WHERE controller = ?1 AND length = ?2 AND begin IN "
                                       "(SELECT begin FROM level WHERE controller = ?1 AND length = ?2 AND "
                                       "begin < ?3 ORDER BY begin LIMIT ?4)");
    std::int64_t longer = 1;
    for (std::size_t i = 0; i < historyLevels_ms.size(); ++i) {
        longer *= longerPerLevel;
        const std::int64_t coarser = historyLevels_ms[std::min(i + 1, historyLevels_ms.size() - 1)];
        SQLite::Statement controllers(database_, "SELECT id FROM controller");
        while (controllers.executeStep()) {
            level.bind(1, controllers.getColumn(0).getInt64());
            level.bind(2, historyLevels_ms[i]);
            level.bind(3, before(longer, coarser));
            level.bind(4, rowsPerStep / 5);
            removed += level.exec();
            level.reset();
        }
    }
    SQLite::Statement events(database_, "DELETE FROM event WHERE id IN "
                                        "(SELECT id FROM event WHERE time < ? ORDER BY time LIMIT ?)");
    events.bind(1, before(longerForEvents, 1));
    events.bind(2, rowsPerStep);
    return removed + events.exec();
}

std::int64_t CHistoryRetention::bytesOf(const char* pages)
{
    return database_.execAndGet("PRAGMA " + std::string(pages)).getInt64() *
           database_.execAndGet("PRAGMA page_size").getInt64();
}

int CHistoryRetention::removeSurplus()
{
    const auto size = static_cast<std::int64_t>(retention_.size);
    const std::int64_t surplus = bytesOf("page_count") - bytesOf("freelist_count") - size;
    const int removed = surplus > 0 ? removeOldest(surplus) : 0;
    if (bytesOf("page_count") > size && bytesOf("freelist_count") > 0) {
        database_.exec("PRAGMA incremental_vacuum(" + std::to_string(pagesPerStep) + ")");
        return removed + 1;
    }
    return removed;
}

int CHistoryRetention::removeOldest(std::int64_t surplus)
{
    const std::int64_t rows = std::clamp<std::int64_t>(surplus / 4096, 1, rowsPerStep);
    SQLite::Statement stretches(
        database_, "DELETE FROM stretch WHERE id IN (SELECT id FROM stretch ORDER BY id LIMIT ?)");
    stretches.bind(1, rows);
    if (const int removed = stretches.exec(); removed > 0) {
        return removed;
    }
    for (const std::int64_t length_ms : historyLevels_ms) {
        SQLite::Statement oldest(database_, "SELECT min(begin) FROM level WHERE length = ?");
        oldest.bind(1, length_ms);
        oldest.executeStep();
        if (oldest.getColumn(0).isNull()) {
            continue;
        }
        SQLite::Statement level(database_, "DELETE FROM level WHERE length = ? AND begin <= ?");
        level.bind(1, length_ms);
        level.bind(2, oldest.getColumn(0).getInt64() + 10 * length_ms);
        return level.exec();
    }
    SQLite::Statement events(database_,
                             "DELETE FROM event WHERE id IN (SELECT id FROM event ORDER BY time LIMIT ?)");
    events.bind(1, rowsPerStep);
    return events.exec();
}

} // namespace Rvl
