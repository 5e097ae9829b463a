#include "driver/system/LoadGenerator.h"

#include "runtime/MonotonicWait.h"
#include "runtime/ThreadName.h"

#include <algorithm>

namespace Rvl {

CLoadGenerator::~CLoadGenerator()
{
    stop();
}

void CLoadGenerator::setDuty(double percent)
{
    duty_ = percent;
}

double CLoadGenerator::duty() const
{
    return duty_;
}

void CLoadGenerator::start(unsigned threads, std::chrono::milliseconds period)
{
    stop_ = false;
    const auto begin = std::chrono::steady_clock::now();
    try {
        for (unsigned i = 0; i < threads; ++i) {
            const auto phase = std::chrono::duration_cast<std::chrono::steady_clock::duration>(period) * i;
            threads_.emplace_back([this, begin, phase, threads, period] {
                setThreadName("load");
                run(begin + phase / threads, period);
            });
        }
    } catch (...) {
        stop();
        throw;
    }
}

void CLoadGenerator::stop()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stopped_.notify_all();
    for (std::thread& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}

std::size_t CLoadGenerator::threadCount() const
{
    return threads_.size();
}

void CLoadGenerator::run(std::chrono::steady_clock::time_point begin,
                         std::chrono::steady_clock::duration period)
{
    using Clock = std::chrono::steady_clock;
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (waitUntil(stopped_, lock, begin, [this] { return stop_.load(); })) {
                return;
            }
        }
        const double share = duty_ / 100.0;
        const auto now = Clock::now();
        const auto busyUntil =
            now + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(period) * share);
        while (Clock::now() < busyUntil && !stop_) {
        }
        // a thread that was not scheduled begins its next period late and does not catch up
        begin = std::max(begin + period, now);
    }
}

} // namespace Rvl
