#include "host/process/DeadlineTasks.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace Rvl {

void SAttempts::begin(std::function<void()> action)
{
    std::size_t index = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        index = done.size();
        done.push_back(false);
    }
    const auto attempt = [self = shared_from_this(), index, action = std::move(action)] {
        try {
            action();
        } catch (...) {
            // the others are what matters now
        }
        const std::lock_guard<std::mutex> lock(self->mutex);
        self->done[index] = true;
        self->changed.notify_all();
    };
    try {
        threads.emplace_back(attempt);
    } catch (const std::system_error&) {
        attempt(); // there can be no more threads
    }
}

SAttempts::~SAttempts()
{
    // each has what it keeps this by, so that it is on its last steps, perhaps this very one
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.detach();
        }
    }
}

void SAttempts::join()
{
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
}

bool SAttempts::wait(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, limit,
                            [this] { return std::find(done.begin(), done.end(), false) == done.end(); });
}

std::vector<std::size_t> SAttempts::notDone(std::size_t count)
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::size_t> result;
    for (std::size_t index = 0; index < count; ++index) {
        if (!done[index]) {
            result.push_back(index);
        }
    }
    return result;
}

namespace {

struct SSequence
{
    explicit SSequence(std::vector<std::function<void()>> all)
        : actions(std::move(all)), count(actions.size()), done(count, false)
    {}

    /// Does the next one that nobody has begun; false if there is none.
    bool doNext()
    {
        if (givenUp) {
            return false;
        }
        const std::size_t index = next++;
        if (index >= count) {
            return false;
        }
        try {
            actions[index]();
        } catch (...) {
            // told by the action itself, if at all
        }
        const std::lock_guard<std::mutex> lock(mutex);
        done[index] = true;
        ++doneCount;
        changed.notify_all();
        return true;
    }

    std::vector<std::function<void()>> actions;
    const std::size_t count;
    std::atomic<std::size_t> next{0};
    std::atomic<bool> givenUp{false};
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<bool> done;
    std::size_t doneCount = 0;
};

} // namespace

std::vector<std::size_t> doAllPatiently(std::vector<std::function<void()>> actions,
                                        std::chrono::milliseconds patience, eOrder order)
{
    using Clock = std::chrono::steady_clock;
    const auto sequence = std::make_shared<SSequence>(std::move(actions));
    const std::size_t count = sequence->count;
    const auto threads = std::make_shared<SAttempts>();
    threads->begin([sequence] {
        while (sequence->doNext()) {
        }
    });
    bool isLastPhase = order == eOrder::AsGiven;
    const Clock::time_point sequenceEnd = Clock::now() + sequenceLength;
    std::unique_lock<std::mutex> lock(sequence->mutex);
    while (sequence->doneCount < count) {
        const std::size_t before = sequence->doneCount;
        const Clock::time_point now = Clock::now();
        const Clock::time_point limit =
            isLastPhase ? now + patience : std::min(now + sequencePatience, sequenceEnd);
        if (sequence->changed.wait_until(lock, limit, [&] { return sequence->doneCount > before; })) {
            continue;
        }
        if (isLastPhase) {
            sequence->givenUp = order == eOrder::AsGiven;
            break;
        }
        isLastPhase = true;
        lock.unlock();
        for (std::size_t left = sequence->next; left < count; ++left) {
            threads->begin([sequence] { sequence->doNext(); });
        }
        lock.lock();
    }
    if (sequence->doneCount == count) {
        lock.unlock();
        threads->join();
        sequence->actions.clear();
        return {};
    }
    std::vector<std::size_t> notDone;
    for (std::size_t index = 0; index < count; ++index) {
        if (!sequence->done[index]) {
            notDone.push_back(index);
        }
    }
    return notDone;
}

} // namespace Rvl
