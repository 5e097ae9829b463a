#include "driver/local/controller/common/TimedLoopProcessor.h"

#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/NoFurtherThread.h"

#include <boost/thread/exceptions.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <cerrno>
#include <process.h>
#include <windows.h>
#endif

using namespace Rvl;
using namespace Rvl::Test;
using testing::Each;
using testing::Ge;

namespace {

using Clock = std::chrono::steady_clock;

#if defined(_WIN32)
/// While it lives, no further thread can be started.
class CNoFurtherThread
{
public:
    CNoFurtherThread() { refuse = true; }
    ~CNoFurtherThread() { refuse = false; }
    CNoFurtherThread(const CNoFurtherThread&) = delete;
    CNoFurtherThread& operator=(const CNoFurtherThread&) = delete;

    static std::uintptr_t begin(void* security, unsigned stackSize, _beginthreadex_proc_type start,
                                void* argument, unsigned flags, unsigned* id)
    {
        if (refuse) {
            errno = EAGAIN;
            return 0;
        }
        static const auto system = reinterpret_cast<decltype(&begin)>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("msvcrt.dll"), "_beginthreadex")));
        return system(security, stackSize, start, argument, flags, id);
    }

private:
    static inline std::atomic<bool> refuse{false};
};
#endif

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// A loop that notes when, and on which thread, its steps began and ended.
class WatchedLoop : public FakeControlLoop
{
public:
    struct Step
    {
        Clock::time_point begin;
        Clock::time_point end;
        std::thread::id thread;
    };

    using FakeControlLoop::FakeControlLoop;

    void process() override
    {
        Step step{Clock::now(), {}, std::this_thread::get_id()};
        if (onStep) {
            onStep();
        }
        step.end = Clock::now();
        const std::lock_guard<std::mutex> lock(mutex_);
        steps_.push_back(step);
        changed_.notify_all();
    }

    /// Whether that many steps were made, after waiting for them.
    bool waitForSteps(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return steps_.size() >= count; });
    }
    std::vector<Step> steps() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return steps_;
    }
    std::size_t stepCount() const { return steps().size(); }

    /// From the end of each step to the begin of the next.
    std::vector<double> pauses_ms() const
    {
        const std::vector<Step> all = steps();
        std::vector<double> result;
        for (std::size_t i = 1; i < all.size(); ++i) {
            result.push_back(milliseconds(all[i].begin - all[i - 1].end));
        }
        return result;
    }
    /// From the begin of each step to the begin of the next.
    std::vector<double> periods_ms() const
    {
        const std::vector<Step> all = steps();
        std::vector<double> result;
        for (std::size_t i = 1; i < all.size(); ++i) {
            result.push_back(milliseconds(all[i].begin - all[i - 1].begin));
        }
        return result;
    }

    /// Runs within each step, on the processor's thread. Set it before the loop runs.
    std::function<void()> onStep;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Step> steps_;
};

/// The timers' clock and the test's are not the same one, and the one may be slewed against the other.
double atLeast(double sampleTime_ms)
{
    return sampleTime_ms * 0.95 - 1.0;
}

class TimedLoopProcessorTiming : public testing::Test
{
protected:
    std::shared_ptr<WatchedLoop> addLoop(int sampleTime_ms)
    {
        auto loop = std::make_shared<WatchedLoop>(sampleTime_ms);
        processor->addControlLoop(loop);
        return loop;
    }

    std::unique_ptr<CTimedLoopProcessor> processor = std::make_unique<CTimedLoopProcessor>();
};

} // namespace

#if defined(_WIN32)
// Boost's threads begin through this pointer, which would otherwise be the C runtime's library's
extern "C" const decltype(&CNoFurtherThread::begin) __imp__beginthreadex;
const decltype(&CNoFurtherThread::begin) __imp__beginthreadex = &CNoFurtherThread::begin;
#endif

TEST_F(TimedLoopProcessorTiming, LoopIsCalculatedOncePerSampleTime)
{
    auto loop = addLoop(25);
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(41));
    processor->stopControlLoops();
    EXPECT_THAT(loop->pauses_ms(), Each(Ge(atLeast(25))));
    EXPECT_LT(medianOf(loop->periods_ms()), 45.0) << "far enough from a step every other sample time";
}

TEST_F(TimedLoopProcessorTiming, FirstStepIsDueOneSampleTimeAfterTheStart)
{
    auto loop = addLoop(150);
    const Clock::time_point start = Clock::now();
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(1));
    EXPECT_GE(milliseconds(loop->steps()[0].begin - start), atLeast(150));
    processor->stopControlLoops();
}

TEST_F(TimedLoopProcessorTiming, EachLoopHasItsOwnSampleTime)
{
    auto fast = addLoop(20);
    auto slow = addLoop(100);
    processor->runControlLoops();
    ASSERT_TRUE(slow->waitForSteps(8));
    processor->stopControlLoops();
    EXPECT_THAT(fast->pauses_ms(), Each(Ge(atLeast(20))));
    EXPECT_THAT(slow->pauses_ms(), Each(Ge(atLeast(100))));
    EXPECT_GT(fast->stepCount(), 2 * slow->stepCount());
}

TEST_F(TimedLoopProcessorTiming, NextStepCountsFromTheEndOfTheCalculation)
{
    auto loop = addLoop(40);
    loop->onStep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(60)); };
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(8));
    processor->stopControlLoops();
    EXPECT_THAT(loop->pauses_ms(), Each(Ge(atLeast(40)))) << "the period drifts by the calculation";
    EXPECT_GE(medianOf(loop->periods_ms()), atLeast(100));
}

TEST_F(TimedLoopProcessorTiming, OverrunIsNeverMadeUpFor)
{
    auto loop = addLoop(20);
    loop->onStep = [overran = false]() mutable {
        if (!overran) {
            overran = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
        }
    };
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(12));
    processor->stopControlLoops();
    EXPECT_THAT(loop->pauses_ms(), Each(Ge(atLeast(20))));
}

TEST_F(TimedLoopProcessorTiming, AllLoopsShareOneThreadAndASlowOneDelaysTheOthers)
{
    auto fast = addLoop(20);
    auto slow = addLoop(20);
    slow->onStep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(80)); };
    processor->runControlLoops();
    ASSERT_TRUE(slow->waitForSteps(6));
    processor->stopControlLoops();
    std::set<std::thread::id> threads;
    for (const auto& steps : {fast->steps(), slow->steps()}) {
        for (const auto& step : steps) {
            threads.insert(step.thread);
        }
    }
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
    for (const auto& one : slow->steps()) {
        for (const auto& other : fast->steps()) {
            EXPECT_TRUE(other.end <= one.begin || one.end <= other.begin) << "never at the same time";
        }
    }
    EXPECT_LE(fast->stepCount(), 2 * slow->stepCount() + 2)
        << "an undelayed loop would make five times as many";
}

TEST_F(TimedLoopProcessorTiming, StopWaitsForTheTimerToExpireOnceMore)
{
    auto loop = addLoop(400);
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(1));
    const Clock::time_point begin = Clock::now();
    processor->stopControlLoops();
    const Clock::time_point end = Clock::now();
    EXPECT_FALSE(processor->processorActive());
    EXPECT_GE(milliseconds(end - loop->steps()[0].end), atLeast(400));
    EXPECT_LT(milliseconds(end - begin), 4000.0);
    EXPECT_EQ(loop->stepCount(), 1u);
}

TEST_F(TimedLoopProcessorTiming, NothingIsCalculatedAfterStop)
{
    auto loop = addLoop(20);
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(2));
    processor->stopControlLoops();
    const std::size_t steps = loop->stepCount();
    std::this_thread::sleep_for(
        std::chrono::milliseconds(100)); // five sample times in which nothing must come
    EXPECT_EQ(loop->stepCount(), steps);
    processor->stopControlLoops();
    EXPECT_FALSE(processor->processorActive());
}

TEST_F(TimedLoopProcessorTiming, RunsAgainAfterAStop)
{
    auto loop = addLoop(20);
    for (std::size_t round = 1; round <= 3; ++round) {
        const std::size_t before = loop->stepCount();
        processor->runControlLoops();
        EXPECT_TRUE(processor->processorActive());
        ASSERT_TRUE(loop->waitForSteps(before + 3)) << round;
        processor->stopControlLoops();
        EXPECT_FALSE(processor->processorActive());
    }
}

TEST_F(TimedLoopProcessorTiming, SecondRunWhileActiveChangesNothing)
{
    auto loop = addLoop(30);
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(1));
    for (int i = 0; i < 5; ++i) {
        processor->runControlLoops();
    }
    ASSERT_TRUE(loop->waitForSteps(6));
    processor->stopControlLoops();
    EXPECT_THAT(loop->pauses_ms(), Each(Ge(atLeast(30))));
    for (const auto& step : loop->steps()) {
        EXPECT_EQ(step.thread, loop->steps()[0].thread);
    }
}

TEST_F(TimedLoopProcessorTiming, ChangedSampleTimeTakesEffectFromTheNextPeriod)
{
    auto loop = addLoop(20);
    loop->onStep = [&, count = 0]() mutable {
        ++count;
        if (count == 3) {
            loop->sampleTime = 200;
        } else if (count == 5) {
            loop->sampleTime = 20;
        }
    };
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(10));
    processor->stopControlLoops();
    const std::vector<double> pauses = loop->pauses_ms();
    EXPECT_GE(pauses[2], atLeast(200)) << "after the third step";
    EXPECT_GE(pauses[3], atLeast(200));
    EXPECT_LT(medianOf({pauses.begin() + 4, pauses.end()}), 150.0) << "short again after the fifth";
    EXPECT_LT(medianOf({pauses.begin(), pauses.begin() + 2}), 150.0);
}

TEST_F(TimedLoopProcessorTiming, ParametersMayBeSetWhileTheLoopRuns)
{
    struct Counter : IControlLoopValueListener
    {
        void onActualValue(double) override { ++steps; }
        std::atomic<int> steps{0};
    } counter;
    auto loop = std::make_shared<CPIDControlLoop>();
    CPIDParameters parameters("P");
    loop->setParameters(parameters);
    loop->setInput(std::make_shared<FakeLoopIn>());
    loop->setOutput(std::make_shared<FakeLoopOut>());
    loop->setEnabled(true);
    loop->addActualValueListener(&counter);
    processor->addControlLoop(loop);
    processor->runControlLoops();
    const Clock::time_point giveUp = Clock::now() + std::chrono::seconds(60);
    for (int i = 0; counter.steps < 10 && Clock::now() < giveUp; ++i) {
        parameters.setSampleTime(20 + i % 10);
        parameters.setTi(1 + i % 3);
        loop->setParameters(parameters);
        loop->writeSetpoint(i);
        std::this_thread::yield();
    }
    processor->stopControlLoops();
    EXPECT_GE(counter.steps, 10);
}

TEST_F(TimedLoopProcessorTiming, SampleTimeOfZeroOrBelowRunsBackToBack)
{
    for (int sampleTime_ms : {0, -5}) {
        processor = std::make_unique<CTimedLoopProcessor>();
        auto loop = addLoop(sampleTime_ms);
        processor->runControlLoops();
        ASSERT_TRUE(loop->waitForSteps(500));
        processor->stopControlLoops();
        EXPECT_LT(medianOf(loop->pauses_ms()), 12.0)
            << "the least that a busy machine takes to wake a thread";
    }
}

TEST_F(TimedLoopProcessorTiming, LoopAddedWhileActiveWaitsForTheNextStart)
{
    auto first = addLoop(20);
    processor->runControlLoops();
    ASSERT_TRUE(first->waitForSteps(1));
    auto late = addLoop(20);
    ASSERT_TRUE(first->waitForSteps(6));
    EXPECT_EQ(late->stepCount(), 0u);
    processor->stopControlLoops();
    EXPECT_EQ(late->stepCount(), 0u);
    processor->runControlLoops();
    EXPECT_TRUE(late->waitForSteps(2));
    EXPECT_TRUE(first->waitForSteps(8));
    processor->stopControlLoops();
}

TEST_F(TimedLoopProcessorTiming, DestructionStopsAnActiveProcessorFirst)
{
    auto loop = addLoop(300);
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(1));
    processor.reset();
    EXPECT_GE(milliseconds(Clock::now() - loop->steps()[0].end), atLeast(300));
    EXPECT_EQ(loop.use_count(), 1);
    EXPECT_EQ(loop->stepCount(), 1u);
}

TEST_F(TimedLoopProcessorTiming, StopFromWithinAStepThrows)
{
    auto loop = addLoop(20);
    std::string what;
    loop->onStep = [&] {
        try {
            processor->stopControlLoops();
            what = "no exception";
        } catch (const boost::thread_resource_error& error) {
            what = error.what();
        }
    };
    processor->runControlLoops();
    ASSERT_TRUE(loop->waitForSteps(1));
    EXPECT_TRUE(processor->processorActive());
    processor->stopControlLoops();
    EXPECT_FALSE(processor->processorActive());
    EXPECT_EQ(what, "boost thread: trying joining itself: Resource deadlock avoided");
    EXPECT_EQ(loop->stepCount(), 1u) << "the flags were set before the join failed";
}

TEST_F(TimedLoopProcessorTiming, ThreadThatCannotBeStartedLeavesTheProcessorIdle)
{
    auto loop = addLoop(20);
    {
        const CNoFurtherThread none;
        EXPECT_THROW(processor->runControlLoops(), boost::thread_resource_error);
    }
    EXPECT_FALSE(processor->processorActive());
    EXPECT_EQ(processor->runs(), 0u);
    EXPECT_EQ(loop->stepCount(), 0u);
    processor->runControlLoops();
    EXPECT_TRUE(loop->waitForSteps(2)) << "the failed start left nothing behind";
    processor->stopControlLoops();
}

TEST(TimedLoopProcessorDeathTest, ExceptionOutOfAStepEndsTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            CTimedLoopProcessor processor;
            auto loop = std::make_shared<WatchedLoop>(20);
            loop->onStep = [] { throw std::runtime_error("thrown out of a step"); };
            processor.addControlLoop(loop);
            processor.runControlLoops();
            std::this_thread::sleep_for(std::chrono::seconds(60));
        },
        "thrown out of a step");
}
