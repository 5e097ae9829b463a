// The processor on a timeline that was handed in; without one: TimedLoopProcessorTest.
#include "driver/local/controller/common/TimedLoopProcessor.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/LoopTimeline.h"
#include "runtime/SystemTimeline.h"
#include "runtime/VirtualTimeline.h"
#include "tests/support/FakeLoopElements.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/thread/exceptions.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class NotingLoop : public FakeControlLoop
{
public:
    NotingLoop(int sampleTime_ms, std::function<void()> onStep)
        : FakeControlLoop(sampleTime_ms), onStep_(std::move(onStep))
    {}
    void process() override { onStep_(); }

private:
    const std::function<void()> onStep_;
};

/// A timeline in force for loops for as long as it lives.
template <class Timeline> class LoopsOn : public Timeline
{
public:
    template <class... Arguments> explicit LoopsOn(Arguments... arguments) : Timeline(arguments...)
    {
        setLoopTimeline(this);
    }
    ~LoopsOn() override { setLoopTimeline(nullptr); }
};

/// The system's timeline, which counts the workers that begin to stop.
class StopCountingTimeline : public CSystemTimeline
{
public:
    std::unique_ptr<IWorker> makeWorker(const std::string& name) override
    {
        return std::make_unique<Worker>(CSystemTimeline::makeWorker(name), stopping);
    }
    std::atomic<int> stopping{0};

private:
    class Worker : public IWorker
    {
    public:
        Worker(std::unique_ptr<IWorker> worker, std::atomic<int>& stopping)
            : worker_(std::move(worker)), stopping_(stopping)
        {}
        void post(Task task) override { worker_->post(std::move(task)); }
        Ticket after(std::chrono::nanoseconds duration, Task task) override
        {
            return worker_->after(duration, std::move(task));
        }
        void cancel(Ticket ticket) override { worker_->cancel(ticket); }
        void stopAndJoin() override { worker_->stopAndJoin(); }
        void beginStop() override
        {
            ++stopping_;
            worker_->beginStop();
        }
        bool isCurrent() const override { return worker_->isCurrent(); }

    private:
        const std::unique_ptr<IWorker> worker_;
        std::atomic<int>& stopping_;
    };
};

class NoThreadTimeline : public CSystemTimeline
{
public:
    std::unique_ptr<IWorker> makeWorker(const std::string&) override
    {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
};

struct TimedLoopProcessorOnVirtualTime : testing::Test
{
    std::shared_ptr<IControlLoop> loop(int sampleTime_ms, const std::string& name)
    {
        return std::make_shared<NotingLoop>(sampleTime_ms, [this, name] {
            steps.push_back(name + " at " + std::to_string(timeline.monotonic() / 1ms));
        });
    }

    LoopsOn<CVirtualTimeline> timeline{std::chrono::system_clock::time_point()};
    std::vector<std::string> steps;
    CTimedLoopProcessor processor;
};

struct TimedLoopProcessorOnSystemTimeline : testing::Test
{
    LoopsOn<CSystemTimeline> timeline;
    CTimedLoopProcessor processor;
};

} // namespace

TEST_F(TimedLoopProcessorOnVirtualTime, PeriodsAreExact)
{
    processor.addControlLoop(loop(250, "outer"));
    processor.addControlLoop(loop(100, "inner"));
    processor.runControlLoops();
    EXPECT_TRUE(processor.processorActive());
    timeline.runFor(500ms);
    EXPECT_THAT(steps, ElementsAre("inner at 100", "inner at 200", "outer at 250", "inner at 300",
                                   "inner at 400", "outer at 500", "inner at 500"));
}

TEST_F(TimedLoopProcessorOnVirtualTime, StopDropsWhatIsNotDueAndTakesNoTime)
{
    processor.addControlLoop(loop(100, "loop"));
    processor.runControlLoops();
    timeline.runFor(150ms);
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
    EXPECT_EQ(150ms, timeline.monotonic());
    timeline.runFor(1s);
    EXPECT_THAT(steps, ElementsAre("loop at 100"));
}

TEST_F(TimedLoopProcessorOnVirtualTime, CanBeRunAgain)
{
    processor.addControlLoop(loop(100, "loop"));
    processor.runControlLoops();
    processor.stopControlLoops();
    timeline.runFor(50ms);
    processor.runControlLoops();
    EXPECT_EQ(2U, processor.runs());
    timeline.runFor(100ms);
    EXPECT_THAT(steps, ElementsAre("loop at 150"));
}

TEST_F(TimedLoopProcessorOnVirtualTime, DestructionStops)
{
    auto other = std::make_unique<CTimedLoopProcessor>();
    other->addControlLoop(loop(100, "loop"));
    other->runControlLoops();
    other.reset();
    timeline.runFor(1s);
    EXPECT_THAT(steps, IsEmpty());
}

TEST_F(TimedLoopProcessorOnVirtualTime, LagElementGoesByTheTimeline)
{
    boost::property_tree::ptree tree;
    tree.put("TimeConstant_s", "2");
    CPT1Element element(tree);
    element.write(10.0);
    timeline.runFor(500ms);
    EXPECT_DOUBLE_EQ(10.0 * (1.0 - std::exp(-0.25)), element.readInputValue());
}

TEST_F(TimedLoopProcessorOnSystemTimeline, CalculatesEachSampleTimeOnAThreadOfItsOwn)
{
    std::promise<void> done;
    std::atomic<int> steps{0};
    std::thread::id thread;
    const auto begin = timeline.monotonic();
    processor.addControlLoop(std::make_shared<NotingLoop>(5, [&] {
        thread = std::this_thread::get_id();
        if (++steps == 4) {
            done.set_value();
        }
    }));
    processor.runControlLoops();
    ASSERT_EQ(std::future_status::ready, done.get_future().wait_for(30s));
    EXPECT_GE(timeline.monotonic() - begin, 20ms);
    processor.stopControlLoops();
    EXPECT_NE(std::this_thread::get_id(), thread);
}

TEST_F(TimedLoopProcessorOnSystemTimeline, StopDoesNotWaitForAnExpiry)
{
    processor.addControlLoop(std::make_shared<NotingLoop>(600'000, [] {}));
    processor.runControlLoops();
    const auto begin = timeline.monotonic();
    processor.stopControlLoops();
    EXPECT_LT(timeline.monotonic() - begin, 60s);
    EXPECT_FALSE(processor.processorActive());
}

TEST_F(TimedLoopProcessorOnSystemTimeline, StopWaitsForTheStepUnderWay)
{
    std::promise<void> begun;
    std::atomic<int> steps{0};
    std::atomic<bool> ended{false};
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [&] {
        if (++steps == 1) {
            begun.set_value();
            std::this_thread::sleep_for(20ms);
            ended = true;
        }
    }));
    processor.runControlLoops();
    begun.get_future().wait();
    processor.stopControlLoops();
    EXPECT_TRUE(ended);
    EXPECT_EQ(1, steps) << "and for no other";
}

TEST_F(TimedLoopProcessorOnSystemTimeline, BeginOfAStopWaitsForNoStepAndNoFurtherOneIsBegun)
{
    std::promise<void> begun;
    std::promise<void> mayEnd;
    std::atomic<int> steps{0};
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [&] {
        if (++steps == 1) {
            begun.set_value();
            mayEnd.get_future().wait();
        }
    }));
    processor.beginStop(); // of one that does not run: nothing
    processor.runControlLoops();
    begun.get_future().wait();
    processor.beginStop();
    EXPECT_TRUE(processor.processorActive()) << "until it is stopped";
    mayEnd.set_value();
    std::this_thread::sleep_for(20ms); // in which it would calculate further steps
    EXPECT_EQ(1, steps);
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
    processor.runControlLoops();
    while (steps < 3) {
        std::this_thread::yield();
    }
}

TEST(TimedLoopProcessorOnTimeline, BeginOfAStopEndsTheThreadsOfSeveralSideBySide)
{
    LoopsOn<StopCountingTimeline> timeline;
    CTimedLoopProcessor first;
    CTimedLoopProcessor second;
    for (CTimedLoopProcessor* const processor : {&first, &second}) {
        processor->addControlLoop(std::make_shared<NotingLoop>(600'000, [] {}));
        processor->runControlLoops();
    }
    first.beginStop();
    second.beginStop();
    EXPECT_EQ(2, timeline.stopping) << "before either is waited for";
    first.stopControlLoops();
    second.stopControlLoops();
}

TEST_F(TimedLoopProcessorOnSystemTimeline, StepBelongsToTheRunInWhichItIsCalculated)
{
    std::promise<std::uint64_t> run;
    std::atomic<int> steps{0};
    processor.addControlLoop(std::make_shared<NotingLoop>(0, [&] {
        if (++steps == 1) {
            run.set_value(processor.runs());
        }
    }));
    processor.runControlLoops();
    EXPECT_EQ(1U, run.get_future().get());
    processor.stopControlLoops();
}

TEST_F(TimedLoopProcessorOnSystemTimeline, StopFromAStepThrowsAndAnotherOneEndsIt)
{
    std::promise<std::string> message;
    std::atomic<int> steps{0};
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [&] {
        if (++steps == 1) {
            try {
                processor.stopControlLoops();
                message.set_value("");
            } catch (const boost::thread_resource_error& error) {
                message.set_value(error.what());
            }
        }
    }));
    processor.runControlLoops();
    EXPECT_THAT(message.get_future().get(), testing::HasSubstr("boost thread: trying joining itself"));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(1, steps) << "it ended the loops all the same";
    EXPECT_TRUE(processor.processorActive());
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
}

TEST_F(TimedLoopProcessorOnSystemTimeline, SeveralThreadsMayStopAtOnce)
{
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [] { std::this_thread::sleep_for(2ms); }));
    for (int round = 0; round < 20; ++round) {
        processor.runControlLoops();
        std::thread other([&] { processor.stopControlLoops(); });
        processor.stopControlLoops();
        EXPECT_FALSE(processor.processorActive());
        other.join();
    }
}

TEST(TimedLoopProcessorOnTimeline, WithoutAThreadStartThrowsAndLeavesItStopped)
{
    LoopsOn<NoThreadTimeline> timeline;
    CTimedLoopProcessor processor;
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [] {}));
    EXPECT_THROW(processor.runControlLoops(), boost::thread_resource_error);
    EXPECT_FALSE(processor.processorActive());
    processor.stopControlLoops();
    setLoopTimeline(nullptr);
    processor.runControlLoops();
    EXPECT_TRUE(processor.processorActive());
}

TEST(TimedLoopProcessorOnTimeline, RunOfTheSystemsCalendarIsStoppedAsItWasStarted)
{
    CTimedLoopProcessor processor;
    processor.addControlLoop(std::make_shared<NotingLoop>(1, [] {}));
    processor.runControlLoops();
    const LoopsOn<CSystemTimeline> timeline;
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
    processor.runControlLoops();
    EXPECT_TRUE(processor.processorActive());
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
}
