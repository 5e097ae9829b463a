#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace Rvl {

/// A thread that carries out tasks one after another, as seen through a timeline. On real time it is a thread
/// of its own; on virtual time all workers share the thread that runs the timeline.
///
/// On real time all operations may be called from any thread, also from a task of the worker; on virtual time
/// from the thread that runs the timeline.
class IWorker
{
public:
    using Task = std::function<void()>;
    /// Names a delayed task. Never 0, and never used again by the same worker.
    using Ticket = std::uint64_t;

    /// Stops and joins as stopAndJoin() does. Not from one of the worker's own tasks.
    virtual ~IWorker() = default;

    /// Carries out the task as soon as those before it are done. A task must not throw: on real time that
    /// ends the process. Without effect after stopAndJoin().
    virtual void post(Task task) = 0;
    /// Carries out the task `duration` from now on the monotonic clock; at the next opportunity if that is
    /// not positive. Tasks that are due at the same moment are carried out in the order of these calls.
    virtual Ticket after(std::chrono::nanoseconds duration, Task task) = 0;
    /// Takes back a delayed task that has not begun. Nothing happens for one that has, or for a ticket of
    /// another worker.
    virtual void cancel(Ticket ticket) = 0;
    /// Carries out what has been posted, drops what is not due yet, and returns when no task is under way any
    /// more. A second call does nothing. Throws std::logic_error from one of the worker's own tasks.
    virtual void stopAndJoin() = 0;
    /// Has the worker end as stopAndJoin() does, without waiting for it: many workers so end side by side.
    /// stopAndJoin() must still follow. Also from one of the worker's own tasks.
    virtual void beginStop() = 0;
    /// Whether the caller is one of the worker's tasks.
    virtual bool isCurrent() const = 0;
};

/// The one seam for what time it is, for waiting, and for threads. Whatever lives in laboratory time goes
/// through it, so that the same objects run on the system's time and on a virtual one.
class ITimeline
{
public:
    virtual ~ITimeline() = default;

    /// Time since an arbitrary start. Never goes back, whatever happens to the calendar.
    virtual std::chrono::nanoseconds monotonic() const = 0;
    /// The calendar's time.
    virtual std::chrono::system_clock::time_point utc() const = 0;
    /// A worker of its own, named after what it does (shown by the system's tools where they can; at most 15
    /// characters of it). The timeline must outlive it. Throws std::system_error if there can be no thread.
    virtual std::unique_ptr<IWorker> makeWorker(const std::string& name) = 0;
    /// Waits until `isTrue`, which is called with the lock held, first at once. On real time that is a wait
    /// on the condition variable, which must be notified when the result changes; on virtual time the queue
    /// is run, and time advances, until the result is true. Throws std::runtime_error if nothing is left to
    /// run on virtual time before that.
    virtual void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                      const std::function<bool()>& isTrue) = 0;
};

} // namespace Rvl
