#pragma once

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>

namespace Rvl {

/// Calls a function on an event loop, at once and then every `interval`, without drift: calls missed while
/// the event loop was blocked are skipped. Ends with the object, or when the function returns false.
class CPeriodicTimer
{
public:
    CPeriodicTimer(boost::asio::io_context& context, std::chrono::milliseconds interval,
                   std::function<bool()> call);
    CPeriodicTimer(const CPeriodicTimer&) = delete;
    CPeriodicTimer& operator=(const CPeriodicTimer&) = delete;

private:
    void wait();

    boost::asio::steady_timer timer_;
    const std::chrono::milliseconds interval_;
    const std::function<bool()> call_;
};

} // namespace Rvl
