// One period of the timed processor: its loops do nothing but read the clock. "bare" does the same with a
// deadline_timer for each, which its handler arms again, relative to its end; "model" adds to that what the
// loop model requires. "timeline" is the processor on a timeline, as the host runs it.
//
// tick_benchmark rivlink|timeline|bare|model LOOPS SECONDS
// prints the CPU time of the thread per tick, and how much longer than the sample time the periods were.

#include "benchmarks/Measuring.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/controller/common/TimedLoopProcessor.h"
#include "driver/local/LoopTimeline.h"
#include "runtime/SystemTimeline.h"

#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/bind/bind.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/function.hpp>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace Rvl::Benchmark {

namespace {

constexpr int sampleTime_ms = 20;

/// What the loops of one thread note.
class CTicks
{
public:
    CTicks(std::size_t loops, int seconds) : last_(loops, 0)
    {
        const std::int64_t now = now_ns();
        begin_ = now + 500'000'000;
        end_ = begin_ + std::int64_t{1'000'000'000} * seconds;
        errors_us_.reserve(loops * static_cast<std::size_t>(seconds) * 50 + loops);
    }

    void note(std::size_t loop)
    {
        const std::int64_t now = now_ns();
        const std::int64_t last = std::exchange(last_[loop], now);
        if (now < begin_ || last == 0 || done) {
            return;
        }
        if (cpuBegin_ == 0) {
            cpuBegin_ = threadCpu_ns();
            return;
        }
        ++ticks_;
        errors_us_.push_back(static_cast<std::int32_t>((now - last) / 1000 - 1000 * sampleTime_ms));
        if (now >= end_) {
            cpuEnd_ = threadCpu_ns();
            done = true;
        }
    }

    void report(std::ostream& out)
    {
        out << "{\"ticks\": " << ticks_
            << ", \"cpu_us\": " << static_cast<double>(cpuEnd_ - cpuBegin_) / 1000.0 / ticks_;
        double sum = 0.0;
        for (const std::int32_t error : errors_us_) {
            sum += error;
        }
        out << ", \"mean_us\": " << sum / static_cast<double>(errors_us_.size())
            << ", \"p50_us\": " << quantile(errors_us_, 0.5) << ", \"p99_us\": " << quantile(errors_us_, 0.99)
            << "}\n";
    }

    std::atomic<bool> done{false};

private:
    std::vector<std::int64_t> last_;
    std::vector<std::int32_t> errors_us_;
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
    std::int64_t cpuBegin_ = 0;
    std::int64_t cpuEnd_ = 0;
    int ticks_ = 0;
};

class CNotingLoop : public IControlLoop
{
public:
    CNotingLoop(CTicks& ticks, std::size_t index) : ticks_(ticks), index_(index) {}
    void process() override { ticks_.note(index_); }
    int sampleTime_ms() const override { return Benchmark::sampleTime_ms; }
    std::string getTypeName() override { return {}; }
    void setParameters(const CControlParameters&) override {}
    CControlParameters& controlParameters() override { return parameters_; }
    double actualValue() const override { return 0.0; }

protected:
    void calculateOutput() override {}

private:
    CTicks& ticks_;
    const std::size_t index_;
    CControlParameters parameters_;
};

void waitFor(const CTicks& ticks)
{
    while (!ticks.done) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void runProcessor(CTicks& ticks, std::size_t loops)
{
    CTimedLoopProcessor processor;
    for (std::size_t i = 0; i < loops; ++i) {
        processor.addControlLoop(std::make_shared<CNotingLoop>(ticks, i));
    }
    processor.runControlLoops();
    waitFor(ticks);
    processor.stopControlLoops();
}

class CBareTimer
{
public:
    CBareTimer(boost::asio::io_context& eventLoop, CTicks& ticks, std::size_t index)
        : timer_(eventLoop), ticks_(ticks), index_(index)
    {}
    void arm()
    {
        timer_.expires_from_now(boost::posix_time::milliseconds(sampleTime_ms));
        timer_.async_wait([this](const boost::system::error_code& error) {
            if (!error && !ticks_.done) {
                ticks_.note(index_);
                arm();
            }
        });
    }

private:
    boost::asio::deadline_timer timer_;
    CTicks& ticks_;
    const std::size_t index_;
};

/// The same with what the loop model requires beyond it: a boost::function is kept and each wait gets a copy
/// of it, and loop and sample time are reached through virtual functions.
class CModelTimer
{
public:
    CModelTimer(boost::asio::io_context& eventLoop, CTicks& ticks, std::size_t index)
        : timer_(eventLoop), ticks_(ticks), loop_(std::make_shared<CNotingLoop>(ticks, index)),
          handler_(boost::bind(&CModelTimer::handle, this, boost::placeholders::_1))
    {}
    void arm()
    {
        timer_.expires_from_now(boost::posix_time::microseconds(std::int64_t{1000} * loop_->sampleTime_ms()));
        timer_.async_wait(handler_);
    }

private:
    void handle(const boost::system::error_code& error)
    {
        if (!error && !ticks_.done) {
            loop_->process();
            arm();
        }
    }

    boost::asio::deadline_timer timer_;
    CTicks& ticks_;
    const std::shared_ptr<IControlLoop> loop_;
    const boost::function<void(const boost::system::error_code&)> handler_;
};

template <class Timer> void runTimers(CTicks& ticks, std::size_t loops)
{
    boost::asio::io_context eventLoop;
    std::list<Timer> timers;
    for (std::size_t i = 0; i < loops; ++i) {
        timers.emplace_back(eventLoop, ticks, i).arm();
    }
    std::thread worker([&] { eventLoop.run(); });
    waitFor(ticks);
    worker.join();
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: tick_benchmark rivlink|timeline|bare|model LOOPS SECONDS\n";
        return EXIT_FAILURE;
    }
    const auto loops = static_cast<std::size_t>(std::stoul(argv[2]));
    Rvl::Benchmark::CTicks ticks(loops, std::stoi(argv[3]));
    if (argv[1] == std::string("rivlink")) {
        Rvl::Benchmark::runProcessor(ticks, loops);
    } else if (argv[1] == std::string("timeline")) {
        Rvl::CSystemTimeline timeline;
        Rvl::setLoopTimeline(&timeline);
        Rvl::Benchmark::runProcessor(ticks, loops);
        Rvl::setLoopTimeline(nullptr);
    } else if (argv[1] == std::string("model")) {
        Rvl::Benchmark::runTimers<Rvl::Benchmark::CModelTimer>(ticks, loops);
    } else {
        Rvl::Benchmark::runTimers<Rvl::Benchmark::CBareTimer>(ticks, loops);
    }
    ticks.report(std::cout);
    return EXIT_SUCCESS;
}
