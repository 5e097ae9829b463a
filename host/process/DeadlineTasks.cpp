#include "host/process/DeadlineTasks.h"

#include "common/ThreadSafety.h"
#include "runtime/AlternateStack.h"
#include "runtime/MonotonicWait.h"
#include "runtime/ThreadName.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <system_error>
#include <thread>
#include <utility>

namespace Rvl {

struct CDeadlineTasks::SShared
{
    struct STask
    {
        std::string name;
        std::function<void()> action;
        bool ended = false;
    };

    ~SShared()
    {
        // Each thread holds a reference until its last steps. Detached only here, as a thread of Windows does
        // not survive being detached while it begins; this may be one of them.
        for (std::thread& thread : threads) {
            if (thread.joinable()) {
                thread.detach();
            }
        }
    }

    void carryOut(std::size_t index)
    {
        try {
            tasks[index].action();
        } catch (...) {
            // reported by the action itself, if at all
        }
        const CMutexLock lock(mutex);
        tasks[index].ended = true;
        ++endedCount;
        changed.notify_all();
    }

    /// Carries out the next task that has not begun; false if there is none.
    bool carryOutNext()
    {
        const std::size_t index = closed ? tasks.size() : next++;
        if (index >= tasks.size()) {
            return false;
        }
        carryOut(index);
        return true;
    }

    bool allEnded() const RVL_REQUIRES(mutex) { return endedCount == tasks.size(); }

    std::vector<STask> tasks; ///< of each, `ended` under the lock; the rest is constant once it is running
    std::atomic<std::size_t> next{0};
    std::atomic<bool> closed{false}; ///< no task is begun any more
    CMutex mutex;
    std::condition_variable changed;
    std::size_t endedCount RVL_GUARDED_BY(mutex) = 0;
    eState state RVL_GUARDED_BY(mutex) = Collecting;
    std::vector<std::thread> threads; ///< the owner's
};

CDeadlineTasks::CDeadlineTasks(eThreads threads) : threads_(threads), shared_(std::make_shared<SShared>()) {}

CDeadlineTasks::~CDeadlineTasks() = default;

void CDeadlineTasks::add(const std::string& name, std::function<void()> action)
{
    shared_->tasks.push_back({name, std::move(action)});
}

void CDeadlineTasks::beginThread(const std::function<void()>& work)
{
    try {
        // the reference is the thread's own from its beginning
        shared_->threads.emplace_back([shared = shared_, work] {
            setThreadName("deadline task");
            const CAlternateStack alternateStack; // for crashes
            work();
        });
    } catch (const std::system_error&) {
        work(); // there can be no more threads
    }
}

std::vector<std::string> CDeadlineTasks::run(const SShutdownLimits& limits, eOrder order)
{
    if (threads_ == Inline) {
        start();
        return {};
    }
    {
        const CMutexLock lock(shared_->mutex);
        shared_->state = Running;
    }
    beginThread([shared = shared_.get()] {
        while (shared->carryOutNext()) {
        }
    });
    waitInSequence(limits, order);
    finish();
    return unfinished();
}

void CDeadlineTasks::waitInSequence(const SShutdownLimits& limits, eOrder order)
{
    using Clock = std::chrono::steady_clock;
    bool isLastPhase = order == InOrder;
    const Clock::time_point sequenceEnd = Clock::now() + limits.sequence;
    CMutexLock lock(shared_->mutex);
    while (!shared_->allEnded()) {
        const std::size_t before = shared_->endedCount;
        const Clock::time_point now = Clock::now();
        const Clock::time_point end =
            isLastPhase ? now + limits.progress : std::min(now + limits.task, sequenceEnd);
        if (waitUntil(shared_->changed, lock.native(), end,
                      [&]() RVL_REQUIRES(shared_->mutex) { return shared_->endedCount > before; })) {
            continue;
        }
        if (isLastPhase) {
            shared_->closed = order == InOrder;
            return;
        }
        isLastPhase = true;
        lock.unlock();
        for (std::size_t left = shared_->next; left < shared_->tasks.size(); ++left) {
            beginThread([shared = shared_.get()] { shared->carryOutNext(); });
        }
        lock.lock();
    }
}

void CDeadlineTasks::start()
{
    {
        const CMutexLock lock(shared_->mutex);
        shared_->state = Running;
    }
    for (std::size_t index = 0; index < shared_->tasks.size(); ++index) {
        if (threads_ == Inline) {
            shared_->carryOut(index);
        } else {
            beginThread([shared = shared_.get(), index] { shared->carryOut(index); });
        }
    }
    if (threads_ == Inline) {
        finish();
    }
}

bool CDeadlineTasks::wait(std::chrono::milliseconds limit)
{
    {
        CMutexLock lock(shared_->mutex);
        waitFor(shared_->changed, lock.native(), limit,
                [this]() RVL_REQUIRES(shared_->mutex) { return shared_->allEnded(); });
    }
    finish();
    return state() == Ended;
}

void CDeadlineTasks::finish()
{
    {
        const CMutexLock lock(shared_->mutex);
        shared_->state = shared_->allEnded() ? Ended : GivenUp;
        if (shared_->state == GivenUp) {
            return;
        }
    }
    for (std::thread& thread : shared_->threads) {
        thread.join();
    }
    shared_->threads.clear();
    for (SShared::STask& task : shared_->tasks) {
        task.action = nullptr; // with what it refers to
    }
}

CDeadlineTasks::eState CDeadlineTasks::state() const
{
    const CMutexLock lock(shared_->mutex);
    return shared_->state;
}

bool CDeadlineTasks::hasEnded(std::size_t task) const
{
    const CMutexLock lock(shared_->mutex);
    return shared_->tasks[task].ended;
}

std::vector<std::string> CDeadlineTasks::unfinished() const
{
    std::vector<std::string> names;
    const CMutexLock lock(shared_->mutex);
    for (const SShared::STask& task : shared_->tasks) {
        if (!task.ended) {
            names.push_back(task.name);
        }
    }
    return names;
}

} // namespace Rvl
