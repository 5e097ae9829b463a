#include "runtime/TaskQueue.h"

#include <algorithm>
#include <utility>

namespace Rvl {

bool CTaskQueue::isLater(const SEntry& left, const SEntry& right)
{
    return left.due != right.due ? left.due > right.due : left.number > right.number;
}

CTaskQueue::Ticket CTaskQueue::add(std::chrono::nanoseconds due, void* owner, Task task)
{
    if (freePlaces_.empty()) {
        freePlaces_.push_back(static_cast<std::uint32_t>(places_.size()));
        places_.emplace_back();
    }
    const std::uint32_t index = freePlaces_.back();
    freePlaces_.pop_back();
    SPlace& place = places_[index];
    place.task = std::move(task);
    place.owner = owner;
    place.cancelled = false;
    if (++place.use == 0) {
        ++place.use; // no ticket is 0
    }
    heap_.push_back({due, ++lastNumber_, index});
    std::push_heap(heap_.begin(), heap_.end(), &isLater);
    ++count_;
    return (Ticket{place.use} << 32) | index;
}

CTaskQueue::Task CTaskQueue::cancel(Ticket ticket, const void* owner)
{
    const auto index = static_cast<std::uint32_t>(ticket);
    if (index < places_.size()) {
        SPlace& place = places_[index];
        if (place.use == ticket >> 32 && place.owner == owner) {
            return takeOut(place);
        }
    }
    return {};
}

std::vector<CTaskQueue::Task> CTaskQueue::cancelAll(const void* owner)
{
    std::vector<Task> cancelled;
    for (SPlace& place : places_) {
        if (place.owner == owner) {
            cancelled.push_back(takeOut(place));
        }
    }
    return cancelled;
}

/// The entry stays in the heap until it comes to its top: only there can it be taken out at once.
CTaskQueue::Task CTaskQueue::takeOut(SPlace& place)
{
    place.owner = nullptr;
    place.cancelled = true;
    --count_;
    return std::exchange(place.task, nullptr);
}

void CTaskQueue::free(std::uint32_t place)
{
    places_[place].owner = nullptr;
    freePlaces_.push_back(place);
}

void CTaskQueue::dropCancelled()
{
    while (!heap_.empty() && places_[heap_.front().place].cancelled) {
        const std::uint32_t place = heap_.front().place;
        std::pop_heap(heap_.begin(), heap_.end(), &isLater);
        heap_.pop_back();
        free(place);
    }
}

std::optional<std::chrono::nanoseconds> CTaskQueue::nextDue()
{
    dropCancelled();
    return heap_.empty() ? std::nullopt : std::optional(heap_.front().due);
}

CTaskQueue::SDue CTaskQueue::takeNext()
{
    dropCancelled();
    const SEntry entry = heap_.front();
    std::pop_heap(heap_.begin(), heap_.end(), &isLater);
    heap_.pop_back();
    SPlace& place = places_[entry.place];
    SDue next{entry.due, place.owner, std::exchange(place.task, nullptr)};
    free(entry.place);
    --count_;
    return next;
}

std::optional<CTaskQueue::SDue>
CTaskQueue::takeNextUnless(const std::function<bool(const void* owner)>& isBusy)
{
    std::vector<SEntry> passedOver;
    for (dropCancelled(); !heap_.empty() && isBusy(places_[heap_.front().place].owner); dropCancelled()) {
        std::pop_heap(heap_.begin(), heap_.end(), &isLater);
        passedOver.push_back(heap_.back());
        heap_.pop_back();
    }
    std::optional<SDue> next;
    if (!heap_.empty()) {
        next = takeNext();
    }
    for (const SEntry& entry : passedOver) {
        heap_.push_back(entry);
        std::push_heap(heap_.begin(), heap_.end(), &isLater);
    }
    return next;
}

} // namespace Rvl
