#pragma once

#include "common/Timeline.h"
#include "host/session/Session.h"
#include "host/session/Snapshot.h"

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <vector>

namespace Rvl {

/// Reads the controllers of a session and hands the snapshots to sinks, each at its own interval. The
/// intervals of all sinks begin at the same moment, and whenever some are due the controllers are read once
/// for all of these: how often a loop's lock is taken does not grow with sinks of the same interval. Without
/// any sink the controllers are read once a second, so that a hung call is found.
///
/// Snapshots that were missed while a reading or a sink took long are left out.
class CObserver
{
public:
    using FailureHandler = std::function<void(std::exception_ptr)>;

    /// Works as tasks of `worker`. `onFailure` is called with what a channel throws while it is read for a
    /// sink, or what a sink throws; there are no snapshots afterwards. All must outlive the observer.
    CObserver(const CSession& session, const ITimeline& timeline, IWorker& worker, FailureHandler onFailure);
    ~CObserver();
    CObserver(const CObserver&) = delete;
    CObserver& operator=(const CObserver&) = delete;

    /// Before start(). The sink must outlive the observer.
    void add(ISnapshotSink& sink);
    /// The first snapshot is due at once. This and the following: as a task of the worker, or while it is not
    /// running tasks.
    void start();
    void stop();
    /// The last snapshot; nothing before the first.
    const std::optional<SSnapshot>& latest() const { return latest_; }

private:
    struct SEntry
    {
        ISnapshotSink* sink; ///< null for the reading without a sink
        std::chrono::nanoseconds interval;
        std::chrono::nanoseconds due;
    };

    void schedule();
    void observe();
    bool deliver(const std::vector<ISnapshotSink*>& sinks);

    const CSession& session_;
    const ITimeline& timeline_;
    IWorker& worker_;
    const FailureHandler onFailure_;
    std::vector<SEntry> entries_;
    std::optional<SSnapshot> latest_;
    IWorker::Ticket ticket_ = 0;
};

} // namespace Rvl
