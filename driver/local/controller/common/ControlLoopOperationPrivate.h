#pragma once

#include <atomic>
#include <memory>
#include <utility> // Boost 1.74's asio uses std::exchange without including it

#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/function.hpp>
#include <boost/system/error_code.hpp>

namespace Rvl {

class IControlLoop;
class IWorker;

/// What belongs to CControlLoopOperation. The handlers point to it, so it stays where it is.
class ControlLoopOperationPrivate
{
public:
    ControlLoopOperationPrivate(std::shared_ptr<IControlLoop> controlLoop,
                                boost::asio::io_context& eventLoop);
    ControlLoopOperationPrivate(const ControlLoopOperationPrivate&) = delete;
    ControlLoopOperationPrivate& operator=(const ControlLoopOperationPrivate&) = delete;

    /// Sets the timer to expire one sample time from now and waits for it with the periodic handler; on a
    /// worker of a timeline, has that call the handler instead.
    void armPeriodically();

    /// The timer's periodic handler: calculates the loop and arms the timer again. Does nothing if the
    /// operation is cancelled; otherwise throws std::runtime_error if `error` is set.
    void calculateControlLoop(const boost::system::error_code& error);
    /// The timer's one-shot handler: the same without arming the timer again.
    void calculateControlLoopOnce(const boost::system::error_code& error);

    std::shared_ptr<IControlLoop> loop;
    boost::asio::deadline_timer timer;
    std::atomic<bool> cancelled;
    IWorker* worker = nullptr; ///< takes the timer's place if there is one
    // small enough for boost::function's own buffer, so that the copies made for each wait need no memory
    boost::function<void(const boost::system::error_code&)> periodicHandler;
    boost::function<void(const boost::system::error_code&)> oneShotHandler;
};

} // namespace Rvl
