#pragma once

#include "host/history/HistoryStore.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace Rvl {

/// How long and how much a history keeps.
struct SHistoryRetention
{
    /// Of single values; each coarser level is kept four times as long as the one before it.
    std::chrono::milliseconds keep{std::chrono::hours(24 * 30)};
    std::uint64_t size = 2'000'000'000; ///< of the file, in bytes
};

/// Appends to a history: a file of SQLite in its mode of a write-ahead log, so that a process that is killed
/// loses nothing that was committed and never the file, and readers of any process need not wait. Several
/// runs append to one file, also at the same time. docs/history.md describes what is in it.
///
/// To be used by one thread at a time.
class CHistoryWriter : public IHistoryStore
{
public:
    /// Creates the file if it does not exist or is empty. Throws CHostException (ExitFailure) if it is not a
    /// history, is one of another version (it is not touched then), or cannot be created.
    explicit CHistoryWriter(const std::filesystem::path& file, const SHistoryRetention& retention = {});
    ~CHistoryWriter() override;
    CHistoryWriter(const CHistoryWriter&) = delete;
    CHistoryWriter& operator=(const CHistoryWriter&) = delete;

    void define(const std::vector<SHistoryController>& controllers,
                const std::vector<SHealth>& healths) override;
    void write(const SHistoryBatch& batch) override;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
