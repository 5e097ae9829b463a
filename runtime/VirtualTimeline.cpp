#include "runtime/VirtualTimeline.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Rvl {

/// A worker's tasks stand in the timeline's queue, one entry each. While one of them waits, its worker's
/// others stay there.
class CVirtualTimeline::CVirtualWorker : public IWorker
{
public:
    explicit CVirtualWorker(CVirtualTimeline& timeline) : timeline_(timeline) {}
    ~CVirtualWorker() override
    {
        try {
            CVirtualWorker::stopAndJoin();
        } catch (...) {
            // of a task that nothing waits for any more
        }
    }
    CVirtualWorker(const CVirtualWorker&) = delete;
    CVirtualWorker& operator=(const CVirtualWorker&) = delete;

    void post(Task task) override
    {
        if (!stopped_) {
            posted_.push_back(std::move(task));
            timeline_.queue_.add(timeline_.now_, this, [this] { runPosted(); });
        }
    }

    Ticket after(std::chrono::nanoseconds duration, Task task) override
    {
        if (stopped_) {
            return std::numeric_limits<Ticket>::max(); // of no task
        }
        return timeline_.queue_.add(timeline_.now_ + std::max(duration, std::chrono::nanoseconds(0)), this,
                                    std::move(task));
    }

    void cancel(Ticket ticket) override { const Task cancelled = timeline_.queue_.cancel(ticket, this); }

    void stopAndJoin() override
    {
        if (running_) {
            throw std::logic_error("a worker cannot wait for the end of its own task");
        }
        CVirtualWorker::beginStop();
        const std::vector<Task> carriedOutNow = timeline_.queue_.cancelAll(this);
        while (!posted_.empty()) {
            run([this] { runPosted(); });
        }
    }

    /// What was posted stays in the queue.
    void beginStop() override
    {
        stopped_ = true;
        const std::vector<Task> cancelled = timeline_.queue_.cancelAll(this);
        for (std::size_t i = 0; i < posted_.size(); ++i) {
            timeline_.queue_.add(timeline_.now_, this, [this] { runPosted(); });
        }
    }

    bool isCurrent() const override { return timeline_.current_ == this; }

    /// Whether one of its tasks is under way; it may be waiting while other workers' tasks are carried out.
    bool isRunning() const { return running_; }

    void run(const Task& task)
    {
        const CRunning running(*this);
        task();
    }

private:
    /// Marks the worker as running, and as the current one.
    class CRunning
    {
    public:
        explicit CRunning(CVirtualWorker& worker)
            : worker_(worker), before_(std::exchange(worker.timeline_.current_, &worker))
        {
            worker_.running_ = true;
        }
        ~CRunning()
        {
            worker_.running_ = false;
            worker_.timeline_.current_ = before_;
        }
        CRunning(const CRunning&) = delete;
        CRunning& operator=(const CRunning&) = delete;

    private:
        CVirtualWorker& worker_;
        const CVirtualWorker* const before_;
    };

    void runPosted()
    {
        const Task task = std::move(posted_.front());
        posted_.pop_front();
        task();
    }

    CVirtualTimeline& timeline_;
    std::deque<Task> posted_; ///< apart from the delayed ones, as stopAndJoin() carries out only these
    bool running_ = false;
    bool stopped_ = false;
};

CVirtualTimeline::CVirtualTimeline(std::chrono::system_clock::time_point start) : start_(start) {}

CVirtualTimeline::~CVirtualTimeline() = default;

std::chrono::nanoseconds CVirtualTimeline::monotonic() const
{
    return now_;
}

std::chrono::system_clock::time_point CVirtualTimeline::utc() const
{
    return start_ + std::chrono::duration_cast<std::chrono::system_clock::duration>(now_);
}

std::unique_ptr<IWorker> CVirtualTimeline::makeWorker(const std::string&)
{
    return std::make_unique<CVirtualWorker>(*this);
}

void CVirtualTimeline::wait(std::unique_lock<std::mutex>& lock, std::condition_variable&,
                            const std::function<bool()>& isTrue)
{
    while (!isTrue()) {
        if (stopRequested_) {
            throw std::runtime_error("stopped while waiting on virtual time");
        }
        auto next = queue_.takeNextUnless(
            [](const void* owner) { return static_cast<const CVirtualWorker*>(owner)->isRunning(); });
        if (!next) {
            throw std::runtime_error("waiting on virtual time for something that cannot happen any more");
        }
        lock.unlock();
        carryOut(*next);
        lock.lock();
    }
}

void CVirtualTimeline::runFor(std::chrono::nanoseconds duration)
{
    const std::chrono::nanoseconds end = now_ + duration;
    while (!stopRequested_.load(std::memory_order_relaxed)) {
        const auto due = queue_.nextDue();
        if (!due || *due > end) {
            now_ = end;
            return;
        }
        carryOut(queue_.takeNext());
    }
}

void CVirtualTimeline::carryOut(const CTaskQueue::SDue& task)
{
    now_ = std::max(now_, task.due);
    ++taskCount_;
    static_cast<CVirtualWorker*>(task.owner)->run(task.task);
}

} // namespace Rvl
