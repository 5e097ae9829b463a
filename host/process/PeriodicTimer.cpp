#include "host/process/PeriodicTimer.h"

namespace Rvl {

CPeriodicTimer::CPeriodicTimer(boost::asio::io_context& context, std::chrono::milliseconds interval,
                               std::function<bool()> call)
    : timer_(context, std::chrono::steady_clock::now()), interval_(interval), call_(std::move(call))
{
    wait();
}

void CPeriodicTimer::wait()
{
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (error || !call_()) {
            return;
        }
        const auto now = std::chrono::steady_clock::now();
        auto next = timer_.expiry() + interval_;
        if (next <= now) {
            next += interval_ * ((now - next) / interval_ + 1);
        }
        timer_.expires_at(next);
        wait();
    });
}

} // namespace Rvl
