#pragma once

#include "common/Timeline.h"
#include "runtime/Export.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Rvl {

/// Tasks by the time at which they are due; those due at the same time in the order in which they were added.
/// Both timelines keep theirs in it. Not guarded.
///
/// Adding and taking cost O(log n) moves of 24 bytes; tasks stay where they are, and their places are used
/// again.
class RIVLINK_RUNTIME_EXPORT CTaskQueue
{
public:
    using Task = IWorker::Task;
    using Ticket = IWorker::Ticket;

    struct SDue
    {
        std::chrono::nanoseconds due;
        void* owner; ///< as given to add()
        Task task;
    };

    /// The ticket is never 0, and not given again before more than 4,000 million others.
    Ticket add(std::chrono::nanoseconds due, void* owner, Task task);
    /// Takes a task out, and returns it, if it is still there and has that owner; an empty one otherwise. To
    /// be destroyed without a lock that what it holds may take as well.
    [[nodiscard]] Task cancel(Ticket ticket, const void* owner);
    /// Takes out all tasks of an owner.
    [[nodiscard]] std::vector<Task> cancelAll(const void* owner);
    /// When the next task is due; nothing if there is none.
    std::optional<std::chrono::nanoseconds> nextDue();
    /// Takes out the next task. There must be one.
    SDue takeNext();
    /// The same among tasks whose owner is not busy; nothing if there is none. The tasks that are passed over
    /// keep their tickets and their order.
    std::optional<SDue> takeNextUnless(const std::function<bool(const void* owner)>& isBusy);
    /// Whether there is no task.
    bool isEmpty() const { return count_ == 0; }

private:
    struct SEntry
    {
        std::chrono::nanoseconds due;
        std::uint64_t number;
        std::uint32_t place;
    };
    struct SPlace
    {
        Task task;
        void* owner = nullptr;
        std::uint32_t use = 0; ///< how often the place was used, which makes tickets differ
        bool cancelled = false;
    };

    static bool isLater(const SEntry& left, const SEntry& right);
    void dropCancelled();
    Task takeOut(SPlace& place);
    void free(std::uint32_t place);

    std::vector<SEntry> heap_;
    std::vector<SPlace> places_;
    std::vector<std::uint32_t> freePlaces_;
    std::uint64_t lastNumber_ = 0;
    std::size_t count_ = 0; ///< of tasks that are not cancelled
};

} // namespace Rvl
