#pragma once

#include "common/ThreadSafety.h"
#include "host/history/HistoryStore.h"
#include "host/process/CallWatch.h"
#include "host/session/Commands.h"
#include "host/session/Snapshot.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace Rvl {

/// Takes snapshots and commands for a history. On real time they are copied into a bounded queue, which a
/// thread of its own empties every 500 ms: a disk that is slow, full or hangs holds up neither the observer
/// nor a loop. While the queue is full, its oldest snapshots are dropped and counted. What cannot be written
/// is tried again, after pauses of up to 10 s.
class CHistorySink : public ISnapshotSink
{
public:
    enum eThreads
    {
        OwnThread, ///< of real time
        Inline     ///< of virtual time: written by the caller, so in the same order and steps each time
    };

    struct SSettings
    {
        std::chrono::milliseconds interval{100};
        eThreads threads = OwnThread;
        /// Of controllers in queued snapshots: about 40 bytes each.
        std::size_t queue = 500'000;
        /// Between two batches; the unit of the pauses after a failure.
        std::chrono::milliseconds flush{500};
    };

    /// A write that hangs is a hung call of "the history". `report` is called, on any thread, with one text
    /// for each change between writing and not being able to. Both must outlive the sink; with a thread of
    /// its own also beyond the sink, if close() returns false.
    CHistorySink(std::unique_ptr<IHistoryStore> store, const SSettings& settings, CCallWatch& calls,
                 std::function<void(const std::string&)> report);
    /// Closes, without a limit, if that has not been done.
    ~CHistorySink() override;
    CHistorySink(const CHistorySink&) = delete;
    CHistorySink& operator=(const CHistorySink&) = delete;

    std::chrono::milliseconds interval() const override { return settings_.interval; }
    bool take(const SSnapshot& snapshot) override;
    /// To be handed to CCommands::addSink(). From any thread.
    void add(const SCommandRecord& command);

    /// Writes what is queued, and that the run has ended at `moment` if that is given; nothing is taken
    /// afterwards. False if that hangs for longer than the limit: the thread is left behind then.
    bool close(std::optional<std::chrono::system_clock::time_point> moment, std::chrono::milliseconds limit);
    /// Whether snapshots have been dropped, or could not be written until the end.
    bool hasLost() const;

private:
    struct SState;
    static void work(SState& state);

    const SSettings settings_;
    std::shared_ptr<SState> state_; ///< shared with the thread, which may outlive the object
    std::thread thread_;
};

} // namespace Rvl
