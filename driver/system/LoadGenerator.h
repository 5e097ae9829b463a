#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace Rvl {

/// Keeps cores busy for a share of the time: each thread works for duty * period, then sleeps until its
/// period is over. The threads' periods begin one after the other, spread evenly over a period, so that the
/// load on the whole computer is smoother than that on one core. A new duty counts from a thread's next
/// period on. Periods are measured on the system's steady clock, whatever clock is installed: the
/// load is real.
class CLoadGenerator
{
public:
    CLoadGenerator() = default;
    ~CLoadGenerator();
    CLoadGenerator(const CLoadGenerator&) = delete;
    CLoadGenerator& operator=(const CLoadGenerator&) = delete;

    /// The share of the time in percent, 0 to 100; begins at 0. Safe from any thread, running or not.
    void setDuty(double percent);
    double duty() const;

    /// Starts the threads (at least 1; they must not be running). Throws std::system_error, with no thread
    /// running, if the system refuses one.
    void start(unsigned threads, std::chrono::milliseconds period);
    /// Ends the threads, at once even in the middle of their work. Nothing happens if none runs.
    void stop();
    std::size_t threadCount() const;

private:
    void run(std::chrono::steady_clock::time_point begin, std::chrono::steady_clock::duration period);

    std::atomic<double> duty_{0.0};
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::vector<std::thread> threads_;
};

} // namespace Rvl
