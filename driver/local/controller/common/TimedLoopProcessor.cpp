#include "driver/local/controller/common/TimedLoopProcessor.h"

#include "common/LoggedThrow.h"
#include "common/ThreadSafety.h"
#include "common/Timeline.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopOperationPrivate.h"
#include "driver/local/LoopTimeline.h"

#include <boost/asio/post.hpp>
#include <boost/bind/bind.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <stdexcept>
#include <system_error>

namespace Rvl {

namespace {

// The record's line identifies the handler that failed to a reader of logs. The numbers are fixed, so that
// they mean the same in every version.
constexpr int periodicErrorRecordLine = 185;
constexpr int oneShotErrorRecordLine = 202;

} // namespace

ControlLoopOperationPrivate::ControlLoopOperationPrivate(std::shared_ptr<IControlLoop> controlLoop,
                                                         boost::asio::io_context& eventLoop)
    : loop(std::move(controlLoop)), timer(eventLoop), cancelled(false),
      periodicHandler(
          boost::bind(&ControlLoopOperationPrivate::calculateControlLoop, this, boost::placeholders::_1)),
      oneShotHandler(
          boost::bind(&ControlLoopOperationPrivate::calculateControlLoopOnce, this, boost::placeholders::_1))
{}

void ControlLoopOperationPrivate::armPeriodically()
{
    if (worker) {
        worker->after(std::chrono::milliseconds(loop->sampleTime_ms()),
                      [this] { calculateControlLoop(boost::system::error_code()); });
        return;
    }
    timer.expires_from_now(boost::posix_time::microseconds(std::int64_t{1000} * loop->sampleTime_ms()));
    timer.async_wait(periodicHandler);
}

void ControlLoopOperationPrivate::calculateControlLoop(const boost::system::error_code& error)
{
    if (cancelled) {
        return;
    }
    if (error) {
        logAndThrow<std::runtime_error>("std::runtime_error", error.message(), __FILE__,
                                        periodicErrorRecordLine, LOG4CPLUS_MACRO_FUNCTION());
    }
    loop->process();
    armPeriodically();
}

void ControlLoopOperationPrivate::calculateControlLoopOnce(const boost::system::error_code& error)
{
    if (cancelled) {
        return;
    }
    if (error) {
        logAndThrow<std::runtime_error>("std::runtime_error", error.message(), __FILE__,
                                        oneShotErrorRecordLine, LOG4CPLUS_MACRO_FUNCTION());
    }
    loop->process();
}

CControlLoopOperation::CControlLoopOperation(std::shared_ptr<IControlLoop> loop,
                                             boost::asio::io_context& eventLoop)
    : d_(std::make_unique<ControlLoopOperationPrivate>(std::move(loop), eventLoop))
{}

CControlLoopOperation::~CControlLoopOperation()
{
    d_->cancelled = true;
    d_->periodicHandler.clear();
    d_->oneShotHandler.clear();
    boost::system::error_code ignored;
    d_->timer.cancel(ignored);
}

void CControlLoopOperation::execute()
{
    clearCancellation();
    d_->worker = nullptr;
    d_->armPeriodically();
}

void CControlLoopOperation::clearCancellation()
{
    d_->cancelled = false;
}

void CControlLoopOperation::armOn(IWorker& worker)
{
    d_->worker = &worker;
    d_->armPeriodically();
}

void CControlLoopOperation::executeOnce()
{
    d_->cancelled = false;
    if (d_->timer.expires_at().is_not_a_date_time()) {
        // the event loop would wait for such a timer for ever
        boost::asio::post(d_->timer.get_executor(),
                          [handler = d_->oneShotHandler] { handler(boost::system::error_code()); });
    } else {
        d_->timer.async_wait(d_->oneShotHandler);
    }
}

void CControlLoopOperation::cancel()
{
    d_->cancelled = true;
}

void CControlLoopOperation::abandon()
{
    cancel();
    boost::system::error_code ignored;
    d_->timer.cancel(ignored);
}

class CTimedLoopProcessor::Private
{
public:
    using Operations = std::list<std::shared_ptr<CControlLoopOperation>>;

    bool isActive() const RVL_REQUIRES(mutex)
    {
        return starting || joining || timelineWorker || (worker && worker->joinable());
    }

    void cancelAll() RVL_REQUIRES(mutex)
    {
        for (const auto& operation : operations) {
            operation->cancel();
        }
    }

    /// Arms the operations on a worker of their own. `starting` is set.
    void startOn(ITimeline& timeline, const Operations& started) RVL_EXCLUDES(mutex)
    {
        std::shared_ptr<IWorker> made;
        try {
            made = timeline.makeWorker("loops");
        } catch (const std::system_error& error) {
            throw boost::thread_resource_error(error.code().value(), error.what());
        }
        {
            const CMutexLock lock(mutex);
            timelineWorker = made;
            ++runs; // before the first step, which asks for it
        }
        try {
            for (const auto& operation : started) {
                operation->armOn(*made);
            }
        } catch (...) {
            made->stopAndJoin();
            const CMutexLock lock(mutex);
            timelineWorker.reset();
            throw;
        }
    }

    /// What stopControlLoops() does with a worker of a timeline: what is not due yet is dropped, so there is
    /// nothing to wait for but a step under way.
    void stopOnTimeline(const std::shared_ptr<IWorker>& stopped) RVL_EXCLUDES(mutex)
    {
        CMutexLock lock(mutex);
        if (timelineWorker != stopped) {
            return;
        }
        cancelAll();
        if (stopped->isCurrent()) {
            throw boost::thread_resource_error(
                static_cast<int>(boost::system::errc::resource_deadlock_would_occur),
                "boost thread: trying joining itself");
        }
        changed.wait(lock.native(),
                     [&]() RVL_REQUIRES(mutex) { return timelineWorker != stopped || !joining; });
        if (timelineWorker != stopped) {
            return;
        }
        joining = true;
        lock.unlock();
        try {
            stopped->stopAndJoin();
        } catch (...) {
            lock.lock();
            end(joining);
            throw;
        }
        lock.lock();
        timelineWorker.reset();
        end(joining);
    }

    /// Sets one of the two marks back, whatever happened under it.
    void end(bool& mark) RVL_REQUIRES(mutex)
    {
        mark = false;
        changed.notify_all();
    }

    void runEventLoop()
    {
        {
            // no step before all that belongs to the run is known
            CMutexLock lock(mutex);
            changed.wait(lock.native(), [this]() RVL_REQUIRES(mutex) { return !starting; });
        }
        eventLoop.run();
    }

    boost::asio::io_context eventLoop;
    // Guards what follows. It is never held while something is waited for or a loop is called: a thread
    // that holds a loop's lock may read the processor's state.
    CMutex mutex;
    std::condition_variable changed;
    bool starting RVL_GUARDED_BY(mutex) = false;
    std::atomic<std::uint64_t> runs{0}; // each step may read it
    // the worker is another thread's to wait for, and must not be touched
    bool joining RVL_GUARDED_BY(mutex) = false;
    std::shared_ptr<boost::thread> worker RVL_GUARDED_BY(mutex);
    // of a run on a timeline, in place of the thread
    std::shared_ptr<IWorker> timelineWorker RVL_GUARDED_BY(mutex);
    // destroyed first: the operations' timers belong to the event loop
    Operations operations RVL_GUARDED_BY(mutex);
};

CTimedLoopProcessor::CTimedLoopProcessor() : d_(std::make_unique<Private>()) {}

CTimedLoopProcessor::~CTimedLoopProcessor()
{
    const boost::this_thread::disable_interruption toTheEnd;
    CTimedLoopProcessor::stopControlLoops();
}

void CTimedLoopProcessor::addControlLoop(std::shared_ptr<IControlLoop> loop)
{
    auto operation = std::make_shared<CControlLoopOperation>(std::move(loop), d_->eventLoop);
    const CMutexLock lock(d_->mutex);
    d_->operations.push_back(std::move(operation));
}

void CTimedLoopProcessor::runControlLoops()
{
    CMutexLock lock(d_->mutex);
    if (d_->isActive()) {
        return;
    }
    const Private::Operations operations = d_->operations;
    d_->starting = true;
    ITimeline* const timeline = loopTimeline();
    if (timeline) {
        // at once: steps may begin during the start, and none shall once the loops are cancelled
        for (const auto& operation : operations) {
            operation->clearCancellation();
        }
    }
    lock.unlock();
    try {
        if (timeline) {
            d_->startOn(*timeline, operations);
            lock.lock();
        } else {
            // an event loop that ran out of work stays stopped until it is restarted
            d_->eventLoop.restart();
            for (const auto& operation : operations) {
                operation->execute();
            }
            auto worker = std::make_shared<boost::thread>(boost::bind(&Private::runEventLoop, d_.get()));
            lock.lock();
            d_->worker = std::move(worker);
            ++d_->runs;
        }
        d_->end(d_->starting);
    } catch (...) {
        // the waits just queued must not be found, aborted, by the thread of a later start
        for (const auto& operation : operations) {
            operation->abandon();
        }
        d_->eventLoop.poll();
        lock.lock();
        d_->end(d_->starting);
        throw;
    }
}

void CTimedLoopProcessor::beginStop()
{
    const CMutexLock lock(d_->mutex);
    d_->cancelAll();
    if (d_->timelineWorker) {
        d_->timelineWorker->beginStop();
    }
}

void CTimedLoopProcessor::stopControlLoops()
{
    CMutexLock lock(d_->mutex);
    d_->changed.wait(lock.native(), [this]() RVL_REQUIRES(d_->mutex) { return !d_->starting; });
    if (const std::shared_ptr<IWorker> timelineWorker = d_->timelineWorker) {
        lock.unlock();
        d_->stopOnTimeline(timelineWorker);
        return;
    }
    const std::shared_ptr<boost::thread> worker = d_->worker;
    const auto hasEnded = [&]() RVL_REQUIRES(d_->mutex) {
        return !worker || d_->worker != worker || (!d_->joining && !worker->joinable());
    };
    if (hasEnded()) {
        return;
    }
    d_->cancelAll();
    if (d_->eventLoop.get_executor().running_in_this_thread()) {
        worker->join(); // throws
    }
    // a wait for the worker may be interrupted, and is left to the next caller
    d_->changed.wait(lock.native(), [&]() RVL_REQUIRES(d_->mutex) { return hasEnded() || !d_->joining; });
    if (hasEnded()) {
        return;
    }
    d_->joining = true;
    lock.unlock();
    try {
        worker->join();
    } catch (...) {
        lock.lock();
        d_->end(d_->joining);
        throw;
    }
    lock.lock();
    d_->end(d_->joining);
}

std::uint64_t CTimedLoopProcessor::runs() const
{
    return d_->runs;
}

bool CTimedLoopProcessor::processorActive()
{
    const CMutexLock lock(d_->mutex);
    return d_->isActive();
}

} // namespace Rvl
