#include "runtime/SystemTimeline.h"

#include "runtime/AlternateStack.h"
#include "runtime/MonotonicWait.h"
#include "runtime/TaskQueue.h"
#include "runtime/ThreadName.h"
#include "runtime/TimerSlack.h"

#include <deque>
#include <stdexcept>
#include <thread>
#include <utility>

namespace Rvl {

namespace {

using Clock = std::chrono::steady_clock;

class CSystemWorker : public IWorker
{
public:
    explicit CSystemWorker(std::string name) : name_(std::move(name)), thread_([this] { run(); }) {}

    ~CSystemWorker() override { CSystemWorker::stopAndJoin(); }

    CSystemWorker(const CSystemWorker&) = delete;
    CSystemWorker& operator=(const CSystemWorker&) = delete;

    void post(Task task) override
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) {
                return;
            }
            posted_.push_back(std::move(task));
        }
        changed_.notify_all();
    }

    Ticket after(std::chrono::nanoseconds duration, Task task) override
    {
        const Clock::time_point due = Clock::now() + duration;
        Ticket ticket = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            // (after the end it is never carried out)
            ticket = delayed_.add(due.time_since_epoch(), this, std::move(task));
        }
        // its own thread looks at the queue anyway before it waits
        if (!isCurrent()) {
            changed_.notify_all();
        }
        return ticket;
    }

    void cancel(Ticket ticket) override
    {
        Task cancelled; // destroyed without the lock
        const std::lock_guard<std::mutex> lock(mutex_);
        cancelled = delayed_.cancel(ticket, this);
    }

    void stopAndJoin() override
    {
        if (isCurrent()) {
            throw std::logic_error("a worker cannot wait for the end of its own task");
        }
        CSystemWorker::beginStop();
        // one caller joins, the others wait for that
        const std::lock_guard<std::mutex> joining(joinMutex_);
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void beginStop() override
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
    }

    bool isCurrent() const override { return running_ == this; }

private:
    void run()
    {
        setThreadName(name_);
        minimizeTimerSlack();
        const CAlternateStack alternateStack; // for crashes
        running_ = this;
        std::unique_lock<std::mutex> lock(mutex_);
        while (Task task = next(lock)) {
            lock.unlock();
            task();
            task = nullptr; // what it holds may be destroyed by a task that takes the lock
            lock.lock();
        }
        running_ = nullptr;
    }

    /// The next task, once it is due; none when the worker is to end.
    Task next(std::unique_lock<std::mutex>& lock)
    {
        for (;;) {
            if (!posted_.empty()) {
                Task task = std::move(posted_.front());
                posted_.pop_front();
                return task;
            }
            if (stopping_) {
                return {};
            }
            const auto due = delayed_.nextDue();
            if (!due) {
                changed_.wait(lock);
            } else if (const Clock::time_point moment{*due}; moment <= Clock::now()) {
                return delayed_.takeNext().task;
            } else {
                waitUntil(changed_, lock, moment);
            }
        }
    }

    static thread_local const CSystemWorker* running_;

    const std::string name_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Task> posted_;
    CTaskQueue delayed_;
    bool stopping_ = false;
    std::mutex joinMutex_;
    std::thread thread_; ///< last, as it uses all of the above
};

thread_local const CSystemWorker* CSystemWorker::running_ = nullptr;

} // namespace

CSystemTimeline::~CSystemTimeline() = default;

std::chrono::nanoseconds CSystemTimeline::monotonic() const
{
    return Clock::now().time_since_epoch();
}

std::chrono::system_clock::time_point CSystemTimeline::utc() const
{
    return std::chrono::system_clock::now();
}

std::unique_ptr<IWorker> CSystemTimeline::makeWorker(const std::string& name)
{
    return std::make_unique<CSystemWorker>(name);
}

void CSystemTimeline::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                           const std::function<bool()>& isTrue)
{
    changed.wait(lock, isTrue);
}

} // namespace Rvl
