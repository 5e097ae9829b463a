#pragma once

#include "host/process/ShutdownLimits.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// Tasks of which any may never end, carried out within limits in time. What a task throws is dropped. A task
/// that does not end goes on after the object is gone, so what it uses has to live until it ends.
///
///     CDeadlineTasks tasks;
///     tasks.add("disconnecting Bench", [&] { bench.disconnect(); });
///     for (const std::string& name : tasks.run(limits)) ... // those that did not end
///
/// An object is in one of these states: Collecting (add()), Running (run() or start() was called), Ended (all
/// tasks have), GivenUp (run() returned, or wait() returned false, with tasks unfinished).
class CDeadlineTasks
{
public:
    enum eThreads
    {
        OwnThreads, ///< on other threads than the caller's, unless there can be no more of them
        Inline      ///< on the caller's, in order and without limits: for runs whose objects share one thread
    };
    enum eOrder
    {
        AnyOrder, ///< may be carried out side by side
        InOrder   ///< each needs those before it to have ended
    };
    enum eState
    {
        Collecting,
        Running,
        Ended,
        GivenUp
    };

    explicit CDeadlineTasks(eThreads threads = OwnThreads);
    /// Leaves unfinished tasks behind.
    ~CDeadlineTasks();
    CDeadlineTasks(const CDeadlineTasks&) = delete;
    CDeadlineTasks& operator=(const CDeadlineTasks&) = delete;

    /// Only while Collecting.
    void add(const std::string& name, std::function<void()> action);
    /// Carries the tasks out one after another while that goes well. Once one of them takes longer than
    /// `limits.task`, or all so far longer than `limits.sequence`, all that are left are begun side by side,
    /// unless the order matters. Returns when all have ended, or when none has ended for `limits.progress`:
    /// the names of those that have not. With InOrder nothing is begun any more then.
    std::vector<std::string> run(const SShutdownLimits& limits, eOrder order = AnyOrder);
    /// Begins all tasks side by side (Inline: carries them out), and returns.
    void start();
    /// Whether all tasks have ended, or do so within that time.
    bool wait(std::chrono::milliseconds limit);

    eState state() const;
    /// By number, in the order of add(), whether it has ended.
    bool hasEnded(std::size_t task) const;
    /// The names of the tasks that have not ended, in the order of add().
    std::vector<std::string> unfinished() const;

private:
    struct SShared;
    void beginThread(const std::function<void()>& work);
    void waitInSequence(const SShutdownLimits& limits, eOrder order);
    void finish();

    const eThreads threads_;
    const std::shared_ptr<SShared> shared_; ///< also the threads', which may outlive the object
};

} // namespace Rvl
