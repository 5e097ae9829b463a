// Many controller channels of 20 ms in one process. "bare" is as many threads with nothing but an event loop
// and a deadline_timer each, which its handler arms again, relative to its end.
//
// scale_benchmark rivlink|bare CHANNELS SECONDS [busy [realtime]]
// prints what that takes of the machine, and how late the steps were. "busy" leaves it one core, on which
// four other programs are at work all the time; "realtime" has the threads served first, as the host does,
// and fails where the system refuses that.

#include "benchmarks/Measuring.h"
#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/LocalControllerChannel.h"
#include "host/process/ThreadPriority.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Rvl::Benchmark {

namespace {

constexpr int sampleTime_ms = 20;

std::atomic<bool> measuring{false};
std::atomic<bool> ending{false};

/// What one channel's thread notes.
struct STicks
{
    explicit STicks(int seconds)
    {
        // touched now, so that the memory is not counted as the channel's
        late_us.resize(static_cast<std::size_t>(seconds) * 50 + 50);
        late_us.clear();
    }
    void note()
    {
        const std::int64_t now = now_ns();
        const std::int64_t before = std::exchange(last, now);
        if (measuring && before != 0 && late_us.size() < late_us.capacity()) {
            late_us.push_back(static_cast<std::int32_t>((now - before) / 1000 - 1000 * sampleTime_ms));
        }
    }

    std::int64_t last = 0;
    std::vector<std::int32_t> late_us;
};

class CInput : public ILoopIn
{
public:
    double readInputValue() override { return 44.0; }
};

class COutput : public ILoopOut
{
public:
    void writeOutputValue(double newValue) override { value = newValue; }
    std::atomic<double> value{0.0};
};

/// A controller channel of one PID loop.
class CChannel : public IControlLoopValueListener
{
public:
    CChannel(std::size_t index, STicks& ticks)
        : ticks_(ticks), loop_(std::make_shared<CPIDControlLoop>()),
          channel_("Channel " + std::to_string(index), wired())
    {
        channel_.setEnabled(true);
    }
    void onActualValue(double) override { ticks_.note(); }

private:
    std::shared_ptr<IControlLoop> wired()
    {
        CPIDParameters parameters("p");
        parameters.setK(10.0);
        parameters.setTi(1000.0); // so that the control value changes in every step
        parameters.setTd(0.1);
        parameters.setDerivativeGainLimit(20.0);
        parameters.setMaxU(1e9);
        parameters.setSampleTime(sampleTime_ms);
        loop_->setInput(std::make_shared<CInput>());
        loop_->setOutput(std::make_shared<COutput>());
        loop_->setParameters(parameters);
        loop_->writeSetpoint(45.0);
        loop_->addActualValueListener(this);
        return loop_;
    }

    STicks& ticks_;
    const std::shared_ptr<CPIDControlLoop> loop_;
    CLocalControllerChannel channel_;
};

class CBareThread
{
public:
    CBareThread(std::size_t, STicks& ticks) : ticks_(ticks), timer_(eventLoop_)
    {
        arm();
        thread_ = std::thread([this] { eventLoop_.run(); });
    }
    ~CBareThread() { thread_.join(); }

private:
    void arm()
    {
        timer_.expires_from_now(boost::posix_time::milliseconds(sampleTime_ms));
        timer_.async_wait([this](const boost::system::error_code& error) {
            if (!error && !ending) {
                ticks_.note();
                arm();
            }
        });
    }

    STicks& ticks_;
    boost::asio::io_context eventLoop_;
    boost::asio::deadline_timer timer_;
    std::thread thread_;
};

/// Programs that need all they can get of the core on which this one has to be from now on.
class CBusyCore
{
public:
    CBusyCore()
    {
        cpu_set_t core;
        CPU_ZERO(&core);
        CPU_SET(0, &core);
        sched_setaffinity(0, sizeof core, &core);
        for (pid_t& child : children_) {
            child = fork();
            if (child == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (volatile unsigned turn = 0;;) {
                    const unsigned next = turn + 1;
                    turn = next;
                }
            }
        }
    }
    ~CBusyCore()
    {
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

private:
    std::array<pid_t, 4> children_{};
};

/// False if it was to be served first and the system refuses that: the figures are none then.
template <class Made> bool measure(std::size_t count, int seconds, bool realtime)
{
    std::list<STicks> ticks;
    for (std::size_t i = 0; i < count; ++i) {
        ticks.emplace_back(seconds);
    }
    raiseDescriptorLimit();
    const std::int64_t residentBefore = residentBytes();
    const std::int64_t descriptorsBefore = openDescriptors();
    std::list<Made> made;
    std::size_t index = 0;
    bool refused = false;
    const auto start = [&] {
        for (STicks& each : ticks) {
            made.emplace_back(index++, each);
        }
    };
    if (realtime) {
        for (const auto& refusals : {raisePriority(start), lockMemory()}) {
            for (const std::string& refusal : refusals) {
                std::cerr << refusal << '\n';
                refused = true;
            }
        }
    } else {
        start();
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const auto perChannel = [count](std::int64_t total) {
        return static_cast<double>(total) / static_cast<double>(count);
    };
    const double resident = perChannel(residentBytes() - residentBefore);
    const double descriptors = perChannel(openDescriptors() - descriptorsBefore);

    const std::int64_t cpuBegin = processCpu_ns();
    const std::int64_t begin = now_ns();
    measuring = true;
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    measuring = false;
    const auto wall = static_cast<double>(now_ns() - begin);
    const auto cpu = static_cast<double>(processCpu_ns() - cpuBegin);
    ending = true;
    CEnvironment::getInstance()->aboutToDisconnect()();
    made.clear();

    std::vector<std::int32_t> late_us;
    for (const STicks& each : ticks) {
        late_us.insert(late_us.end(), each.late_us.begin(), each.late_us.end());
    }
    const double nominal = wall / 1e6 / sampleTime_ms * static_cast<double>(count);
    std::cout << "{\"cpu_percent\": " << 100.0 * cpu / wall << ", \"resident_kib\": " << resident / 1024.0
              << ", \"descriptors\": " << descriptors
              << ", \"delivered_percent\": " << 100.0 * static_cast<double>(late_us.size()) / nominal
              << ", \"p50_us\": " << quantile(late_us, 0.5) << ", \"p99_us\": " << quantile(late_us, 0.99)
              << ", \"p999_us\": " << quantile(late_us, 0.999) << "}\n";
    return !refused;
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    if (argc < 4 || argc > 6) {
        std::cerr << "usage: scale_benchmark rivlink|bare CHANNELS SECONDS [busy [realtime]]\n";
        return EXIT_FAILURE;
    }
    const auto channels = static_cast<std::size_t>(std::stoul(argv[2]));
    const int seconds = std::stoi(argv[3]);
    std::optional<Rvl::Benchmark::CBusyCore> busyCore;
    if (argc > 4) {
        busyCore.emplace();
    }
    const bool realtime = argc > 5;
    const bool measured =
        argv[1] == std::string("rivlink")
            ? Rvl::Benchmark::measure<Rvl::Benchmark::CChannel>(channels, seconds, realtime)
            : Rvl::Benchmark::measure<Rvl::Benchmark::CBareThread>(channels, seconds, realtime);
    return measured ? EXIT_SUCCESS : EXIT_FAILURE;
}
