#pragma once

#include "driver/local/controller/common/LoopProcessor.h"
#include "driver/local/Export.h"

#include <cstdint>
#include <memory>
#include <utility> // Boost 1.74's asio uses std::exchange without including it

#include <boost/asio/io_context.hpp>

namespace Rvl {

class IControlLoop;
class IWorker;
class ControlLoopOperationPrivate;

/// The repeated calculation of one loop: a timer on an event loop.
class RIVLINK_LOCAL_EXPORT CControlLoopOperation
{
public:
    /// `loop` must not be empty, and `eventLoop` must outlive the operation. Nothing is armed yet.
    CControlLoopOperation(std::shared_ptr<IControlLoop> loop, boost::asio::io_context& eventLoop);
    /// The event loop must not run any more: a wait still queued is discarded with it.
    virtual ~CControlLoopOperation();
    CControlLoopOperation(const CControlLoopOperation&) = delete;
    CControlLoopOperation& operator=(const CControlLoopOperation&) = delete;

    /// Arms the periodic calculation: the first one is due one sample time from now, and each of the others
    /// one sample time after the end of the one before it, so the period is the sample time plus the time
    /// that calculating and waking up take.
    void execute();
    /// Arms one single calculation, due when the timer was last set to expire: at once if that has passed,
    /// or if it was never set.
    void executeOnce();
    /// Ends the calculation: when the timer expires next it does nothing, and is not armed again.
    void cancel();

private:
    friend class CTimedLoopProcessor;
    void clearCancellation();
    /// execute() with the worker in the timer's place, but for clearing the cancellation. The worker must be
    /// stopped before the operation is destroyed.
    void armOn(IWorker& worker);
    /// Cancels the operation and its timer as well. The handler of a wait still runs, and does nothing.
    void abandon();

    std::unique_ptr<ControlLoopOperationPrivate> d_;
};

/// Calculates its loops on one thread of its own, driven by timers of the system's UTC clock. All loops share
/// the thread: a slow one delays the others. An overrun delays the loop's next step and is never made up for.
///
/// While there is a loopTimeline() (driver/local/LoopTimeline.h), what is started takes a worker of it in
/// place of the thread and the timers: the periods are the same but on the timeline's monotonic clock, which
/// the calendar does not move, and a stop waits for the step under way only.
///
/// A loop must not throw from its step, nor a timer fail: an exception on the thread ends the process.
///
/// All operations but the destructor may be called on any thread at any time. While a thread starts the
/// processor or waits for the end of a stop, others see it as active: a start does nothing, and a stop waits
/// for the end of that start or stop. Only the two wait for anything: a start for the locks of the loops
/// whose sample times it reads, a stop for the steps under way. Neither may be called with a loop's lock
/// held.
class RIVLINK_LOCAL_EXPORT CTimedLoopProcessor : public ILoopProcessor
{
public:
    CTimedLoopProcessor();
    /// Stops the loops first if they run. Must not be called on the processor's own thread.
    ~CTimedLoopProcessor() override;

    /// Adds a loop, which must not be empty. One that is added while the processor is active is not
    /// calculated until the processor is stopped and run again.
    void addControlLoop(std::shared_ptr<IControlLoop> loop) override;
    /// Starts the thread; each loop's first step is due one sample time from now. Does nothing if the
    /// processor is active. Throws boost::thread_resource_error, with the processor as before, if the thread
    /// cannot be started.
    void runControlLoops() override;
    /// Without a timeline: waits until every loop's timer has expired once more without calculating: up to
    /// one sample time of the slowest loop after the steps under way. Does nothing if the processor is not
    /// active. On the processor's own thread, that is from a loop's step, it throws
    /// boost::thread_resource_error, and on a thread that is interrupted, without a timeline,
    /// boost::thread_interrupted; the loops end with their next expiry all the same, and stopControlLoops()
    /// on another thread, or once more, then finishes the stop.
    void stopControlLoops() override;
    /// The part of stopControlLoops() that waits for nothing: no further step begins. The processor is active
    /// until stopControlLoops(), which must follow.
    void beginStop();
    bool processorActive() override;
    /// How often the processor was started. A step belongs to the run whose number it finds.
    std::uint64_t runs() const;

private:
    class Private;
    std::unique_ptr<Private> d_;
};

} // namespace Rvl
